// The specification language: single rules with their reports, and 100,000 hostile texts against a second reading of
// the same rules.

#include <map>

#include "component_rows.h"
#include "trace_case.h"

using Levels = std::vector<int>;

static Levels currentLevels()
{
    const auto &master = InfTR_MasterTraceArea;
    const u8 *const table = master.TraceSpecTable[master.SpecTableInUse == 1 ? 0 : 1];
    return Levels(table, table + INFTR_COMPONENT_COUNT);
}

// Applies a specification and returns what was reported.
static std::string apply(const std::string &Specification)
{
    snprintf(InfTR_MasterTraceArea.TraceSystemSpec, sizeof InfTR_MasterTraceArea.TraceSystemSpec, "%s",
             Specification.c_str());
    return Case_Stderr([] { InfTR_UpdateTraceSpecTable(&InfTR_MasterTraceArea); });
}

static Levels levelsOf(const std::map<u32, int> &Given, int Rest = 0)
{
    Levels levels(INFTR_COMPONENT_COUNT, Rest);
    for (const auto &[component, level] : Given) levels[component] = level;
    return levels;
}

static Levels levelsOfGroup(const char *Group, int Level)
{
    Levels levels(INFTR_COMPONENT_COUNT, 0);
    for (const ComponentRow &row : componentRows) {
        if (strcmp(row.Group, Group) == 0) levels[row.Number] = Level;
    }
    return levels;
}

struct Specification : testing::Test {
    void SetUp() override { Case_Start(nullptr); }
};

TEST_F(Specification, AllFillsEveryByte)
{
    for (int level = 0; level <= 5; ++level) {
        EXPECT_EQ(apply("ALL=" + std::to_string(level)), "");
        EXPECT_EQ(currentLevels(), Levels(INFTR_COMPONENT_COUNT, level));
    }
    EXPECT_EQ(apply("all=3"), "");
    EXPECT_EQ(currentLevels(), Levels(INFTR_COMPONENT_COUNT, 3));
}

TEST_F(Specification, OnlyTheComponentBytesAreTouched)
{
    auto &master = InfTR_MasterTraceArea;
    memset(master.TraceSpecTable, 0xAA, sizeof master.TraceSpecTable);
    apply("ALL=1");
    apply("ALL=2");
    for (auto &table : master.TraceSpecTable) {
        for (size_t at = INFTR_COMPONENT_COUNT; at < sizeof table; ++at) ASSERT_EQ(table[at], 0xAA);
    }
}

TEST_F(Specification, EachUpdateTakesTheOtherTable)
{
    auto &master = InfTR_MasterTraceArea;
    EXPECT_EQ(master.SpecTableInUse, 1u);
    apply("ALL=1");
    EXPECT_EQ(master.SpecTableInUse, 2u);
    EXPECT_EQ(master.TraceSpecTable[1][5], 1);
    EXPECT_EQ(master.TraceSpecTable[0][5], 0);
    apply("ALL=2");
    EXPECT_EQ(master.SpecTableInUse, 1u);
    EXPECT_EQ(master.TraceSpecTable[0][5], 2);
    EXPECT_EQ(master.TraceSpecTable[1][5], 1);
    master.SpecTableInUse = 77;
    apply("ALL=3");
    EXPECT_EQ(master.SpecTableInUse, 1u);
}

TEST_F(Specification, EveryComponentHasItsByte)
{
    for (const ComponentRow &row : componentRows) {
        EXPECT_EQ(apply(std::string(row.Name) + "=4"), "");
        EXPECT_EQ(currentLevels(), levelsOf({{row.Number, 4}})) << row.Name;
    }
}

TEST_F(Specification, AThreeLetterKeyReachesTheFirstGroupItDoesNotName)
{
    EXPECT_EQ(apply("COM=3"), "");
    EXPECT_EQ(currentLevels(), levelsOfGroup("ADM", 3));
    EXPECT_EQ(apply("ADM=3"), "");
    EXPECT_EQ(currentLevels(), levelsOfGroup("COM", 3));
    for (const char *key : {"DAM", "INF", "CON", "PIN", "REG", "STO", "SUP", "TAS", "TER", "XYZ", "A1!"}) {
        EXPECT_EQ(apply(std::string(key) + "=2"), "");
        EXPECT_EQ(currentLevels(), levelsOfGroup("ADM", 2)) << key;
    }
}

TEST_F(Specification, TermsApplyFromLeftToRight)
{
    EXPECT_EQ(apply("ALL=1,SUPOS+TERBM=4,TERBM=2"), "");
    EXPECT_EQ(currentLevels(), levelsOf({{58, 4}, {62, 2}}, 1));
    EXPECT_EQ(apply("SUPOS=4,ALL=0"), "");
    EXPECT_EQ(currentLevels(), levelsOf({}));
    EXPECT_EQ(apply("ADMDB+ALL+TASTA=5"), "");
    EXPECT_EQ(currentLevels(), levelsOf({}, 5));
}

TEST_F(Specification, AFaultyTermIsReportedAndSkipped)
{
    const struct {
        const char *Text;
        const char *Said;
    } rows[] = {
        {"=3", "ERZ049001E/0101: The term '=3' "},
        {"=", "ERZ049001E/0101: The term '=' "},
        {"SUPOS", "ERZ049001E/0102: The term 'SUPOS' "},
        {"SUPOS=", "ERZ049001E/0102: The term 'SUPOS=' "},
        {"SUPOS=1=2", "ERZ049001E/0103: The term 'SUPOS=1=2' "},
        {"SUPOS=6", "ERZ049004E/0106: The trace level '6' "},
        {"SUPOS=-1", "ERZ049004E/0106: The trace level '-1' "},
        {"SUPOS=99999999999999999999", "ERZ049004E/0106: The trace level '99999999999999999999' "},
        {"ALL=6", "ERZ049004E/0106: The trace level '6' "},
        {"NOSUCH=1", "ERZ049006E/0108: The component 'NOSUCH' "},
        {"SUPXX=1", "ERZ049006E/0108: The component 'SUPXX' "},
        {"AB=1", "ERZ049006E/0108: The component 'AB' "},
        {"SUPOSX=1", "ERZ049006E/0108: The component 'SUPOSX' "},
        {"PROC=XX", "ERZ049002E/0104: The process name 'XX' "},
        {"PROC=AS", "ERZ049002E/0104: The process name 'AS' "},
        {"DEBUG=SUPOS_LOG", "ERZ049003E/0105: The word 'SUPOS_LOG' "},
        {"DEBUG=SUPOS", "ERZ049003E/0105: The word 'SUPOS' "},
        {"debug=x", "ERZ049003E/0105: The word 'X' "},
    };
    for (const auto &row : rows) {
        EXPECT_THAT(apply(row.Text), HasSubstr(row.Said)) << row.Text;
        EXPECT_EQ(currentLevels(), levelsOf({})) << row.Text;
        const std::string said = apply("TERBM=3," + std::string(row.Text) + ",SUPER=2");
        EXPECT_THAT(said, HasSubstr(row.Said));
        EXPECT_EQ(currentLevels(), levelsOf({{62, 3}, {57, 2}})) << row.Text;
    }
}

TEST_F(Specification, TextThatIsNoNumberIsLevelZero)
{
    EXPECT_EQ(apply("ALL=5,SUPOS=x,TERBM=3x,SUPER=%"), "");
    EXPECT_EQ(currentLevels(), levelsOf({{58, 0}, {62, 3}, {57, 0}}, 5));
}

TEST_F(Specification, AProcTermChecksNamesAndChangesNothing)
{
    EXPECT_EQ(apply("SUPOS=4,PROC=VELA+ALL"), "");
    EXPECT_EQ(currentLevels(), levelsOf({{58, 4}}));
    const std::string said = apply("PROC=VELA+LD+ALL+NP");
    EXPECT_THAT(said, HasSubstr("'LD'"));
    EXPECT_THAT(said, HasSubstr("'NP'"));
    EXPECT_THAT(said, Not(HasSubstr("'VELA'")));
}

TEST_F(Specification, EveryDebugWordIsReported)
{
    size_t reported = 0;
    for (const ComponentRow &row : componentRows) {
        const std::string name = row.Name;
        const std::string said = apply("DEBUG=" + name + "+" + name + "_ALL");
        reported += said.find("/0105: The word '" + name + "'") != std::string::npos ? 1 : 0;
        reported += said.find("/0105: The word '" + name + "_ALL'") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(reported, 2 * std::size(componentRows));
    EXPECT_EQ(currentLevels(), levelsOf({}));
}

TEST_F(Specification, EmptyPartsAreNothing)
{
    EXPECT_EQ(apply(""), "");
    EXPECT_EQ(currentLevels(), levelsOf({}));
    EXPECT_EQ(apply(",,,SUPOS=2,,"), "");
    EXPECT_EQ(currentLevels(), levelsOf({{58, 2}}));
    EXPECT_EQ(apply("+SUPOS++TERBM+=2"), "");
    EXPECT_EQ(currentLevels(), levelsOf({{58, 2}, {62, 2}}));
    EXPECT_EQ(apply("+++=2"), "");
    EXPECT_EQ(currentLevels(), levelsOf({}));
}

TEST_F(Specification, AFullAreaWithoutATerminatorIsRead)
{
    memset(InfTR_MasterTraceArea.TraceSystemSpec, ',', sizeof InfTR_MasterTraceArea.TraceSystemSpec);
    memcpy(InfTR_MasterTraceArea.TraceSystemSpec + 240, "ALL=3", 5);
    InfTR_UpdateTraceSpecTable(&InfTR_MasterTraceArea);
    EXPECT_EQ(currentLevels(), levelsOf({}, 3));
}

// ---- a second reading of the rules ----

static std::vector<std::string> split(const std::string &Text, char At)
{
    std::vector<std::string> parts;
    std::string part;
    for (char c : Text + At) {
        if (c != At)
            part += c;
        else if (!part.empty())
            parts.push_back(std::exchange(part, ""));
    }
    return parts;
}

struct Reading {
    Levels Result = Levels(INFTR_COMPONENT_COUNT, 0);
    std::vector<int> Reports;
};

static void readKey(Reading *To, const std::string &Key, int Level)
{
    if (Key == "ALL") {
        To->Result.assign(INFTR_COMPONENT_COUNT, Level);
        return;
    }
    bool found = false;
    for (const ComponentRow &row : componentRows) {
        const char *const reached = Key == "ADM" ? "COM" : "ADM";
        const bool takes = Key.size() == 3 ? strcmp(row.Group, reached) == 0 : Key == row.Name;
        if (takes) To->Result[row.Number] = Level;
        found |= takes;
    }
    if (!found) To->Reports.push_back(108);
}

static Reading readSpecification(std::string Text)
{
    Reading reading;
    for (char &c : Text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    for (const std::string &term : split(Text, ',')) {
        const std::vector<std::string> parts = split(term, '=');
        if (term[0] == '=')
            reading.Reports.push_back(101);
        else if (parts.size() < 2)
            reading.Reports.push_back(102);
        else if (parts.size() > 2)
            reading.Reports.push_back(103);
        else if (parts[0] == "PROC") {
            for (const std::string &name : split(parts[1], '+')) {
                if (name != "ALL" && name != "VELA") reading.Reports.push_back(104);
            }
        } else if (parts[0] == "DEBUG") {
            reading.Reports.insert(reading.Reports.end(), split(parts[1], '+').size(), 105);
        } else {
            const long level = strtol(parts[1].c_str(), nullptr, 10);
            if (level < 0 || level > 5)
                reading.Reports.push_back(106);
            else
                for (const std::string &key : split(parts[0], '+')) readKey(&reading, key, static_cast<int>(level));
        }
    }
    return reading;
}

static u32 randomState;

static u32 random(u32 Below)
{
    randomState ^= randomState << 13;
    randomState ^= randomState >> 17;
    randomState ^= randomState << 5;
    return randomState % Below;
}

static std::string randomSpecification()
{
    static const char *const words[] = {"ALL",   "ADM",   "COM",   "SUP",  "PROC",  "DEBUG", "VELA", "SUPOS",
                                        "TERBM", "supos", "=",     "=",    ",",     "+",     "0",    "3",
                                        "5",     "6",     "-1",    "%s%n", "99999", "é",     "_ALL", "X",
                                        "\t",    "ADMDB", "TASTA", "=4,",  "=2,",   "+"};
    std::string text;
    const size_t length = random(12);
    while (text.size() < 250 && length > 0) {
        if (random(8) == 0)
            text += static_cast<char>(1 + random(255));
        else
            text += words[random(std::size(words))];
        if (random(static_cast<u32>(length)) == 0) break;
    }
    return text.substr(0, 255);
}

// Reports reach the ring as error records, which show their serial numbers.
static std::vector<int> reportsInRing()
{
    std::vector<int> reports;
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Header.Class == INFTR_CLASS_ERROR) reports.push_back(static_cast<int>(record.Value));
    }
    return reports;
}

TEST(SpecificationAtRandom, AgreesWithASecondReading)
{
    Scratch_MakeRoot();
    setenv("SORREL_EVENTLOG", "/dev/null", 1);
    Case_Start("-b 8192 -B ON -M ON -S ON");
    randomState = 20240607;
    Case_Stderr([] {
        for (int round = 0; round < 100000; ++round) {
            const std::string text = randomSpecification();
            const Reading expected = readSpecification(text);
            auto &master = InfTR_MasterTraceArea;
            memcpy(master.TraceSystemSpec, text.c_str(), text.size() + 1);
            // the log's error records alone: in the table that stays in use meanwhile
            u8 *const inUse = master.TraceSpecTable[master.SpecTableInUse == 1 ? 0 : 1];
            memset(inUse, 0, INFTR_COMPONENT_COUNT);
            inUse[INFTR_COMPONENT_SUPER] = 1;
            InfTR_UpdateTraceSpecTable(&master);
            ASSERT_EQ(currentLevels(), expected.Result) << "round " << round << ": " << text;
            if (round % 16 == 0 || !expected.Reports.empty()) {
                const std::vector<int> reports = reportsInRing();
                ASSERT_EQ(reports, expected.Reports) << "round " << round << ": " << text;
            }
            Ring_Clear();
        }
    });
}
