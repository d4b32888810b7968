// Options: what each sets, what is reported, and what the environment makes of the defaults.

#include <sys/wait.h>

#include "trace_case.h"

static auto &master = InfTR_MasterTraceArea;

// Applies options and returns what was reported.
static std::string update(const std::string &Options, i32 LogChanges = 0)
{
    std::string text = Options;
    return Case_Stderr([&] { InfTR_UpdateMasterTrace(&master, text.data(), LogChanges); });
}

static u8 levelOf(u32 Component)
{
    return master.TraceSpecTable[master.SpecTableInUse == 1 ? 0 : 1][Component];
}

struct Options : testing::Test {
    void SetUp() override { Case_Start(nullptr); }
};

// ---- the start ----

// Trace files of a start with the default directory lie in the current one.
static void removeTraceFiles()
{
    for (const auto &file : std::filesystem::directory_iterator(".")) {
        if (file.path().extension() == ".velatrc") std::filesystem::remove(file.path());
    }
}

TEST(Start, VelatraceOfOneTracesAllToTheFiles)
{
    Case_InThread([] { Case_Start("1"); });
    EXPECT_EQ(master.TraceFlagAux, 1u);
    EXPECT_EQ(master.TraceFlagBuffer, 0u);
    EXPECT_EQ(master.TraceFlagExternal, 0u);
    EXPECT_EQ(master.TraceFlagMaster, 1u);
    EXPECT_EQ(master.TraceFlagSystem, 1u);
    for (u32 component = 0; component < INFTR_COMPONENT_COUNT; ++component) EXPECT_EQ(levelOf(component), 5);
    EXPECT_EQ(master.SpecTableInUse, 1u);
    removeTraceFiles();
}

TEST(Start, VelatraceOfOptionsOverridesTheDefaults)
{
    Case_Start("-B ON -M ON -S ON -t SUPOS=4");
    EXPECT_EQ(master.TraceFlagAux, 0u);
    EXPECT_EQ(master.TraceFlagBuffer, 1u);
    EXPECT_EQ(master.TraceFlagMaster, 1u);
    for (u32 component = 0; component < INFTR_COMPONENT_COUNT; ++component) {
        EXPECT_EQ(levelOf(component), component == 58 ? 4 : 0);
    }
    EXPECT_EQ(master.SpecTableInUse, 1u); // one rebuild for two specifications
    EXPECT_TRUE(Ring_Records().empty());
}

TEST(Start, TheExternalVariableCountsWithoutOptions)
{
    const struct {
        const char *Trace;
        const char *External;
        u32 Aux, Ext, Master;
        int Level;
    } rows[] = {
        {nullptr, nullptr, 0, 0, 0, 0}, {nullptr, "1", 0, 1, 1, 5}, {nullptr, "", 0, 1, 1, 5},
        {"1", nullptr, 1, 0, 1, 5},     {"1", "x", 1, 1, 1, 5},     {"", "1", 0, 0, 0, 0},
        {"-U ON", "1", 0, 0, 0, 0},     {"", nullptr, 0, 0, 0, 0},
    };
    for (const auto &row : rows) {
        if (Scratch_Root().empty()) Scratch_MakeRoot();
        if (row.External != nullptr) setenv("VELAEXTERNALTRACE", row.External, 1);
        Case_InThread([&row] { Case_Start(row.Trace); });
        unsetenv("VELAEXTERNALTRACE");
        EXPECT_EQ(master.TraceFlagAux, row.Aux);
        EXPECT_EQ(master.TraceFlagExternal, row.Ext);
        EXPECT_EQ(master.TraceFlagMaster, row.Master);
        EXPECT_EQ(master.TraceFlagSystem, row.Master);
        EXPECT_EQ(levelOf(1), row.Level);
        removeTraceFiles();
    }
}

TEST(Start, AnyLengthOfVelatraceIsTaken)
{
    for (size_t length : {0u, 800u, 900u, 920u, 930u, 940u, 950u, 1000u, 5000u, 100000u}) {
        std::string options = "-U ON";
        while (options.size() < length) options += " -U OFF -U ON";
        options += " -b 6000 -t SUPOS=2";
        Case_Start(options.c_str());
        EXPECT_EQ(master.TraceFlagUser, 1u) << length;
        EXPECT_EQ(master.TraceMaxSizeBuffer, 6000);
        EXPECT_EQ(levelOf(58), 2);
    }
}

static void *failLong(size_t Size)
{
    return Size > 5000 && Size < 50000 ? nullptr : malloc(Size);
}

TEST(Start, WithoutMemoryForALongVelatraceTheDefaultsHold)
{
    Scratch_MakeRoot();
    Case_Faults faults;
    Plat_Sys.Malloc = failLong;
    Case_Start(("-U ON -t SUPOS=2" + std::string(20000, ' ')).c_str());
    EXPECT_EQ(master.TraceFlagUser, 0u);
    EXPECT_STREQ(master.TraceSystemSpec, "ALL=0");
    EXPECT_NE(InfTR_CachePtr, nullptr);
}

TEST(Start, VelatraceItselfStaysAsItIs)
{
    Scratch_MakeRoot();
    setenv("VELATRACE", "-U ON -t SUPOS=2", 1);
    Case_KeepCache();
    char program[] = "p";
    char region[] = "TESTREG";
    InfTR_SInit(program, region);
    EXPECT_STREQ(getenv("VELATRACE"), "-U ON -t SUPOS=2");
    unsetenv("VELATRACE");
}

TEST(Start, ErrorsAreReportedBeforeTheTraceIsThere)
{
    const std::string said = Case_Stderr([] { Case_Start("-q ON -B maybe nonsense -U ON"); });
    EXPECT_THAT(said, HasSubstr("ERZ049034E/0846"));
    EXPECT_THAT(said, HasSubstr("ERZ049037E/0826"));
    EXPECT_THAT(said, HasSubstr("ERZ049034E/0812: 'nonsense'"));
    EXPECT_EQ(master.TraceFlagUser, 1u);
}

TEST(Start, LeavesOnlyItsExitsInTheRing)
{
    Case_InThread([] { Case_Start("-B ON -M ON -S ON -t INFTR=4"); });
    std::vector<Ring_Record> records = Ring_Records();
    records.pop_back(); // the end of the thread
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].Function, "InfTR_InitProcess");
    EXPECT_EQ(records[1].Function, "InfTR_SInit");
    EXPECT_EQ(records[1].Point, 1u);
    EXPECT_EQ(records[1].Header.Depth, 0);
    EXPECT_EQ(records[1].Header.Component, 49);
}

// ---- flags ----

static const struct {
    const char *Option;
    const char *Attribute;
    u32 *Flag;
    i32 Off, On, Bad;
} flagRows[] = {
    {"-A", "TraceFlagAux", &master.TraceFlagAux, 818, 819, 820},
    {"-B", "TraceFlagBuffer", &master.TraceFlagBuffer, 824, 825, 826},
    {"-E", "TraceFlagExec", &master.TraceFlagExec, 827, 828, 829},
    {"-X", "TraceFlagExternal", &master.TraceFlagExternal, 830, 831, 832},
    {"-M", "TraceFlagMaster", &master.TraceFlagMaster, 833, 833, 833},
    {"-S", "TraceFlagSystem", &master.TraceFlagSystem, 836, 837, 838},
    {"-U", "TraceFlagUser", &master.TraceFlagUser, 839, 840, 841},
};

static std::string line(const char *Identifier, i32 MSN, const std::string &Text)
{
    char head[64];
    snprintf(head, sizeof head, "%s/%04d: ", Identifier, MSN);
    return head + Text + "\n";
}

static std::string changed(i32 MSN, const std::string &Attribute, const std::string &Value)
{
    return line("ERZ049011I", MSN, "The trace attribute " + Attribute + " is now '" + Value + "'");
}

TEST_F(Options, FlagsTakeFourSpellings)
{
    for (const auto &row : flagRows) {
        const std::string option = row.Option;
        EXPECT_EQ(update(option + " ON"), "");
        EXPECT_EQ(*row.Flag, 1u) << option;
        EXPECT_EQ(update(option + " off"), "");
        EXPECT_EQ(*row.Flag, 0u);
        EXPECT_EQ(update(option + " on", 1), changed(row.On, row.Attribute, "on"));
        EXPECT_EQ(*row.Flag, 1u);
        EXPECT_EQ(update(option + " OFF", 1), changed(row.Off, row.Attribute, "OFF"));
        EXPECT_EQ(*row.Flag, 0u);
        EXPECT_EQ(update(option + " ON", 7), changed(row.On, row.Attribute, "ON"));
        for (const char *bad : {"On", "oN", "Off", "oFF", "1", "yes", "ONN", "O"}) {
            const std::string said = update(option + " " + bad);
            EXPECT_EQ(said, line("ERZ049037E", row.Bad,
                                 "The value '" + std::string(bad) + "' of the trace attribute " + row.Attribute +
                                     " is neither ON nor OFF"));
            EXPECT_EQ(*row.Flag, 1u);
        }
        *row.Flag = 0;
    }
}

// ---- sizes ----

TEST_F(Options, AuxiliarySizes)
{
    const struct {
        const char *Text;
        i32 Size;
    } rows[] = {
        {"0", 0},
        {"1", 4112},
        {"100", 4112},
        {"4111", 4112},
        {"4112", 4112},
        {"4113", 4113},
        {"5001", 5001},
        {"-1", 4112},
        {"-99999", 4112},
        {"text", 0},
        {"12x", 4112},
        {"99999x", 99999},
        {"2147483647", 2147483647},
        {"99999999999999999999", 2147483647},
        {"-99999999999999999999", 4112},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(update("-a " + std::string(row.Text), 1), changed(842, "TraceMaxSizeAux", std::to_string(row.Size)));
        EXPECT_EQ(master.TraceMaxSizeAux, row.Size) << row.Text;
    }
}

TEST_F(Options, RingSizes)
{
    const struct {
        const char *Text;
        i32 Size;
    } rows[] = {
        {"5", 4096},
        {"0", 4096},
        {"-7", 4096},
        {"4095", 4096},
        {"4096", 4096},
        {"4097", 4100},
        {"5001", 5004},
        {"5004", 5004},
        {"text", 4096},
        {"131072", 131072},
        {"2147483644", 0x7FFFFFFC},
        {"2147483645", 0x7FFFFFFC},
        {"2147483647", 0x7FFFFFFC},
        {"99999999999", 0x7FFFFFFC},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(update("-b " + std::string(row.Text), 1),
                  changed(843, "TraceMaxSizeBuffer", std::to_string(row.Size)));
        EXPECT_EQ(master.TraceMaxSizeBuffer, row.Size) << row.Text;
    }
}

// ---- directories ----

static std::string longDirectory(size_t Length)
{
    std::string path = Case_Directory();
    while (path.size() + 60 < Length) path += "/" + std::string(40, 'd');
    path += "/" + std::string(Length - path.size() - 1, 'e');
    std::filesystem::create_directories(path);
    return path;
}

TEST_F(Options, DirectoriesMustExistAndFit)
{
    const struct {
        const char *Option;
        const char *Attribute;
        const char *Field;
        const char *Fallback;
        i32 Set, TooLong;
    } rows[] = {
        {"-d ", "TraceDirectorySystem", master.TraceDirectorySystem, ".", 815, 814},
        {"-u ", "TraceDirectoryUser", master.TraceDirectoryUser, "C:\\TEMP", 817, 816},
    };
    for (const auto &row : rows) {
        const std::string option = row.Option;
        const std::string good = Case_Directory();
        EXPECT_EQ(update(option + good), "");
        EXPECT_EQ(row.Field, good);
        EXPECT_EQ(update(option + good, 1), changed(row.Set, row.Attribute, good));

        EXPECT_EQ(update(option + good + "/none", 1), changed(row.Set, row.Attribute, row.Fallback));
        EXPECT_STREQ(row.Field, row.Fallback);

        const std::string fits = longDirectory(255);
        EXPECT_EQ(update(option + fits), "");
        EXPECT_EQ(row.Field, fits);

        const std::string tooLong = longDirectory(256);
        const std::string said =
            line("ERZ049036E", row.TooLong,
                 "The value of the trace attribute " + std::string(row.Attribute) + " is longer than 255 characters");
        EXPECT_EQ(update(option + tooLong), said);
        EXPECT_STREQ(row.Field, row.Fallback);
        EXPECT_EQ(update(option + tooLong, 1), said + changed(row.Set, row.Attribute, row.Fallback));
    }
}

TEST_F(Options, DirectoriesMustBeWritable)
{
    const std::string directory = Case_Directory();
    std::filesystem::permissions(directory, std::filesystem::perms(0555));
    std::filesystem::permissions(Scratch_Root(), std::filesystem::perms(0755));
    const pid_t child = fork();
    if (child == 0) {
        if (getuid() == 0 && setuid(65534) != 0) _exit(2);
        update("-d " + directory + " -u " + directory);
        const bool fellBack =
            strcmp(master.TraceDirectorySystem, ".") == 0 && strcmp(master.TraceDirectoryUser, "C:\\TEMP") == 0;
        _exit(fellBack ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    std::filesystem::permissions(directory, std::filesystem::perms(0755));
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

// ---- specifications ----

TEST_F(Options, ASpecificationHasAtMost255Characters)
{
    const u32 inUse = master.SpecTableInUse;
    std::string text = "SUPOS=4";
    while (text.size() < 255) text += ",";
    EXPECT_EQ(update("-t " + text, 1), changed(845, "TraceSystemSpec", text));
    EXPECT_STREQ(master.TraceSystemSpec, text.c_str());
    EXPECT_EQ(levelOf(58), 4);
    EXPECT_NE(master.SpecTableInUse, inUse);

    const u32 now = master.SpecTableInUse;
    EXPECT_EQ(
        update("-t ALL=1," + text.substr(0, 250) + " -U ON"),
        line("ERZ049036E", 844, "The value of the trace attribute TraceSystemSpec is longer than 255 characters"));
    EXPECT_STREQ(master.TraceSystemSpec, text.c_str());
    EXPECT_EQ(master.SpecTableInUse, now);
    EXPECT_EQ(levelOf(58), 4);
    EXPECT_EQ(master.TraceFlagUser, 1u); // the words behind it count
}

TEST_F(Options, TheTableIsRebuiltOnceAndOnlyForASpecification)
{
    EXPECT_EQ(master.SpecTableInUse, 1u);
    update("-A ON -A OFF -a 0 -b 5000");
    EXPECT_EQ(master.SpecTableInUse, 1u);
    update("-t ALL=1 -t SUPOS=2 -t TERBM=3");
    EXPECT_EQ(master.SpecTableInUse, 2u);
    EXPECT_EQ(levelOf(62), 3);
    EXPECT_EQ(levelOf(58), 0);
    EXPECT_THAT(update("-t ALL=6"), HasSubstr("ERZ049004E/0106: The trace level '6'"));
    EXPECT_EQ(master.SpecTableInUse, 1u);
    EXPECT_EQ(levelOf(62), 0);
}

// ---- the scanner ----

TEST_F(Options, WordsThatAreNoOptionAreReportedAndPassedOver)
{
    for (const char *word : {"x", "-", "-AB", "-region", "ON", "--help", "-A\tON"}) {
        const std::string said = update(std::string(word) + " -U ON");
        EXPECT_EQ(said, line("ERZ049034E", 812, "'" + std::string(word) + "' is not a trace option"));
        EXPECT_EQ(master.TraceFlagUser, 1u) << word;
        update("-U OFF");
    }
}

TEST_F(Options, UnknownLettersTakeTheirValueAlong)
{
    for (char letter = '!'; letter <= '~'; ++letter) {
        if (strchr("ABEXMSUabdut", letter) != nullptr) continue;
        const std::string option = std::string("-") + letter;
        EXPECT_EQ(update(option + " value -U ON"), line("ERZ049034E", 846, "'" + option + "' is not a trace option"));
        EXPECT_EQ(master.TraceFlagUser, 1u);
        update("-U OFF");
    }
    EXPECT_THAT(update("-F ON"), HasSubstr("/0846: '-F'")); // in the utility's table, not here
    EXPECT_THAT(update("-L ON"), HasSubstr("/0846: '-L'"));
    EXPECT_THAT(update("-\xE9 ON"), HasSubstr("/0846: '-\xE9'"));
}

TEST_F(Options, AnOptionWithoutItsValueEndsTheScan)
{
    EXPECT_EQ(update("-U ON -t SUPOS=3 -A"),
              line("ERZ049035E", 813, "The trace option '-A' has no value in '-U ON -t SUPOS=3 -A'"));
    EXPECT_EQ(master.TraceFlagUser, 1u);
    EXPECT_EQ(levelOf(58), 3); // what was accepted takes effect
    EXPECT_THAT(update("-q"), HasSubstr("ERZ049035E/0813")); // before the letter is looked at
    EXPECT_EQ(update(""), "");
    EXPECT_EQ(update("     "), "");
}

TEST_F(Options, ValuesEndAtBlanksTabsAndNewLines)
{
    EXPECT_EQ(update("-U \t\nON -E\n ON"), line("ERZ049034E", 812, "'-E\n' is not a trace option") +
                                               line("ERZ049034E", 812, "'ON' is not a trace option"));
    EXPECT_EQ(master.TraceFlagUser, 1u);
    EXPECT_EQ(update("-U OFF\t-E ON"), "");
    EXPECT_EQ(master.TraceFlagUser, 0u);
    EXPECT_EQ(master.TraceFlagExec, 1u);
    EXPECT_EQ(update("   -U   ON   "), "");
    EXPECT_EQ(master.TraceFlagUser, 1u);
    EXPECT_THAT(update("-U -A"), HasSubstr("ERZ049037E/0841: The value '-A'"));
}

TEST_F(Options, TheLaterOfTwoWins)
{
    EXPECT_EQ(update("-U ON -U OFF -a 5000 -a 6000", 1),
              changed(840, "TraceFlagUser", "ON") + changed(839, "TraceFlagUser", "OFF") +
                  changed(842, "TraceMaxSizeAux", "5000") + changed(842, "TraceMaxSizeAux", "6000"));
    EXPECT_EQ(master.TraceFlagUser, 0u);
    EXPECT_EQ(master.TraceMaxSizeAux, 6000);
}

TEST_F(Options, AnotherAreaCanBeUpdated)
{
    auto other = std::make_unique<std::remove_reference_t<decltype(InfTR_MasterTraceArea)>>();
    char options[] = "-U ON -t SUPOS=4";
    InfTR_UpdateMasterTrace(other.get(), options, 0);
    EXPECT_EQ(other->TraceFlagUser, 1u);
    EXPECT_EQ(other->SpecTableInUse, 1u);
    EXPECT_EQ(other->TraceSpecTable[0][58], 4);
    EXPECT_EQ(master.TraceFlagUser, 0u);
    EXPECT_STREQ(options, "-U"); // cut in place
}

TEST(OptionsAtRandom, HostileStringsDoNoHarm)
{
    Scratch_MakeRoot();
    setenv("SORREL_EVENTLOG", "/dev/null", 1);
    Case_Start(nullptr);
    u32 state = 987654321;
    const auto random = [&state](u32 Below) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state % Below;
    };
    static const char *const words[] = {"-A",       "-B", "-E",         "-X", "-M", "-S", "-U",  "-a",
                                        "-b",       "-d", "-u",         "-t", "-q", "ON", "off", "%s%n%d",
                                        "ALL=5",    "-1", "9999999999", ".",  "/",  "\t", "\n",  "SUPOS=3,COM=1=",
                                        "C:\\TEMP", "=",  "--",         "-"};
    Case_Stderr([&] {
        for (int round = 0; round < 100000; ++round) {
            std::string text;
            for (u32 count = random(8); count > 0; --count) {
                if (random(6) == 0)
                    text += static_cast<char>(1 + random(255));
                else
                    text += words[random(std::size(words))];
                if (random(4) != 0) text += ' ';
                if (random(2000) == 0) text += std::string(300 + random(3000), 'w');
            }
            InfTR_UpdateMasterTrace(&master, text.data(), round % 64 == 0);
            for (const auto &row : flagRows) ASSERT_LE(*row.Flag, 1u) << round;
            ASSERT_TRUE(master.TraceMaxSizeAux == 0 || master.TraceMaxSizeAux >= 4112);
            ASSERT_TRUE(master.TraceMaxSizeBuffer >= 4096 && master.TraceMaxSizeBuffer % 4 == 0);
            ASSERT_TRUE(master.SpecTableInUse == 1 || master.SpecTableInUse == 2);
            ASSERT_NE(memchr(master.TraceSystemSpec, 0, 256), nullptr);
            ASSERT_NE(memchr(master.TraceDirectorySystem, 0, 256), nullptr);
            ASSERT_NE(memchr(master.TraceDirectoryUser, 0, 256), nullptr);
            for (u32 component = 0; component < INFTR_COMPONENT_COUNT; ++component) ASSERT_LE(levelOf(component), 5);
            master.TraceFlagMaster = 0; // what is being tested is not the files
        }
    });
}
