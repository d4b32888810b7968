// Options, tokens, time and error texts, the system's name.

#include "supos_services.h"

#include "supos_services_int.h"

#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "capture.h"
#include "plat_sys.h"
#include "ring_reader.h"
#include "scratch_root.h"

namespace
{

// A command line with the scanner at its beginning.
struct commandLine {
    std::vector<std::string> Words;
    std::vector<char *> Argv;

    commandLine(std::initializer_list<const char *> words) : Words(words.begin(), words.end())
    {
        for (std::string &word : Words) Argv.push_back(word.data());
        Argv.push_back(nullptr);
        optind = 1;
    }
    int Next(const char *options) { return SupOS_Getopt(static_cast<i32>(Words.size()), Argv.data(), options); }
};

std::string optionArgument()
{
    return optarg == nullptr ? "(null)" : optarg;
}

} // namespace

TEST(SupOS_Getopt, StartsWithTheWordsOfPosix)
{
    EXPECT_EQ(optind, 1);
    EXPECT_EQ(opterr, 1);
    EXPECT_EQ(optarg, nullptr);
}

TEST(SupOS_Getopt, TakesFlagsAndArguments)
{
    commandLine line = {"prog", "-a", "-o", "value", "-bvalue2", "-c", "operand", "-a"};
    EXPECT_EQ(line.Next("ab:co:"), 'a');
    EXPECT_EQ(optionArgument(), "(null)");
    EXPECT_EQ(optind, 2);
    EXPECT_EQ(line.Next("ab:co:"), 'o');
    EXPECT_EQ(optionArgument(), "value");
    EXPECT_EQ(optind, 4);
    EXPECT_EQ(line.Next("ab:co:"), 'b');
    EXPECT_EQ(optionArgument(), "value2");
    EXPECT_EQ(optind, 5);
    EXPECT_EQ(line.Next("ab:co:"), 'c');
    EXPECT_EQ(optionArgument(), "(null)"); // cleared by an option without one
    EXPECT_EQ(optind, 6);
    EXPECT_EQ(line.Next("ab:co:"), -1);
    EXPECT_EQ(line.Next("ab:co:"), -1);
    EXPECT_EQ(optind, 6);
}

TEST(SupOS_Getopt, DropsOneLeadingColonOfAnArgument)
{
    commandLine line = {"prog", "-o", ":x", "-o::y", "-o", ":", "-o:z"};
    EXPECT_EQ(line.Next("o:"), 'o');
    EXPECT_EQ(optionArgument(), "x");
    EXPECT_EQ(line.Next("o:"), 'o');
    EXPECT_EQ(optionArgument(), ":y");
    EXPECT_EQ(line.Next("o:"), 'o');
    EXPECT_EQ(optionArgument(), "");
    EXPECT_EQ(line.Next("o:"), 'o');
    EXPECT_EQ(optionArgument(), "z");
    EXPECT_EQ(line.Next("o:"), -1);
}

TEST(SupOS_Getopt, StepsOnceForJoinedFlags)
{
    commandLine line = {"prog", "-ab", "-c"};
    EXPECT_EQ(line.Next("abc"), 'a');
    EXPECT_EQ(optind, 1);
    EXPECT_EQ(line.Next("abc"), 'b');
    EXPECT_EQ(optind, 2);
    EXPECT_EQ(line.Next("abc"), 'c');
    EXPECT_EQ(optind, 3);
    EXPECT_EQ(line.Next("abc"), -1);
}

TEST(SupOS_Getopt, TellsAMissingArgument)
{
    commandLine line = {"prog", "-o"};
    int result = 0;
    EXPECT_EQ(Capture_Stderr([&] { result = line.Next("o:"); }), "option requires an argument -- o\n");
    EXPECT_EQ(result, '?');
    EXPECT_EQ(optind, 2);
    EXPECT_EQ(line.Next("o:"), -1);
}

TEST(SupOS_Getopt, TellsNothingWithOpterrZero)
{
    commandLine line = {"prog", "-o"};
    opterr = 0;
    int result = 0;
    EXPECT_EQ(Capture_Stderr([&] { result = line.Next("o:"); }), "");
    EXPECT_EQ(result, '?');
}

TEST(SupOS_Getopt, GoesOnWithinTheArgumentOfAnUnknownOption)
{
    commandLine line = {"prog", "-xa", "-y", "-:a", "-b"};
    std::string told;
    int results[6];
    told = Capture_Stderr([&] {
        for (int &result : results) result = line.Next("ab");
    });
    EXPECT_EQ(told, "");
    EXPECT_EQ(results[0], '?'); // x, and the scan stays
    EXPECT_EQ(results[1], 'a');
    EXPECT_EQ(results[2], '?'); // y ends its argument
    EXPECT_EQ(results[3], '?'); // a colon is no option
    EXPECT_EQ(results[4], 'a');
    EXPECT_EQ(results[5], 'b');
    EXPECT_EQ(optind, 5);
    EXPECT_EQ(line.Next("ab"), -1);
}

TEST(SupOS_Getopt, TakesAColonForNoOption)
{
    commandLine line = {"prog", "-:"};
    EXPECT_EQ(line.Next("a:b"), '?');
    EXPECT_EQ(optind, 2);
}

TEST(SupOS_Getopt, TakesTwoDashesForTheOptionDash)
{
    commandLine line = {"prog", "--", "-a"};
    EXPECT_EQ(line.Next("a-"), '-');
    EXPECT_EQ(optind, 2);
    EXPECT_EQ(line.Next("a-"), 'a');

    commandLine unknown = {"prog", "--", "-a"};
    EXPECT_EQ(unknown.Next("a"), '?');
    EXPECT_EQ(unknown.Next("a"), 'a');
}

TEST(SupOS_Getopt, EndsAtALoneDashAndAtTheEnd)
{
    commandLine line = {"prog", "-", "-a"};
    EXPECT_EQ(line.Next("a"), -1);
    EXPECT_EQ(optind, 1);
    optind = 2; // the caller steps over an operand and goes on
    EXPECT_EQ(line.Next("a"), 'a');
    EXPECT_EQ(line.Next("a"), -1);
    EXPECT_EQ(line.Next("a"), -1);

    commandLine empty = {"prog"};
    EXPECT_EQ(empty.Next("a"), -1);
    commandLine blank = {"prog", "", "-a"};
    EXPECT_EQ(blank.Next("a"), -1);
}

TEST(SupOS_Getopt, GivesALetterBeyondAsciiAsPositive)
{
    commandLine line = {"prog", "-\xe9"};
    EXPECT_EQ(line.Next("\xe9"), 0xe9);
    EXPECT_EQ(optind, 2);
}

TEST(SupOS_Getopt, Traces)
{
    Ring_TraceOn();
    commandLine line = {"prog", "-x", "-a", "-ov", "-o"};
    opterr = 0;
    const u32 points[] = {2, 3, 5, 4, 1};
    for (const u32 point : points) {
        line.Next("ao:");
        EXPECT_EQ(Ring_LastExitPoint("SupOS_Getopt"), point);
    }
}

TEST(SupOS_strtok_r, TakesTokens)
{
    char text[] = ",,one, two,,three,";
    char *context = nullptr;
    EXPECT_STREQ(SupOS_strtok_r(text, ",", &context), "one");
    EXPECT_STREQ(SupOS_strtok_r(nullptr, ", ", &context), "two");
    EXPECT_STREQ(SupOS_strtok_r(nullptr, ",", &context), "three");
    char *const place = context;
    ASSERT_NE(place, nullptr);
    EXPECT_EQ(SupOS_strtok_r(nullptr, ",", &context), nullptr);
    EXPECT_EQ(context, place); // left as it was
}

TEST(SupOS_strtok_r, EndsWithNullInItsContext)
{
    char text[] = "one";
    char *context = text;
    EXPECT_EQ(SupOS_strtok_r(text, ",", &context), text);
    EXPECT_EQ(context, nullptr);
    EXPECT_EQ(SupOS_strtok_r(nullptr, ",", &context), nullptr);
    EXPECT_EQ(context, nullptr);
}

TEST(SupOS_strtok_r, FindsNothingInDelimitersOnly)
{
    char text[] = ",,,", marker[] = "marker";
    char *context = marker;
    EXPECT_EQ(SupOS_strtok_r(text, ",", &context), nullptr);
    EXPECT_EQ(context, marker);
    EXPECT_STREQ(text, ",,,");
    char empty[] = "";
    EXPECT_EQ(SupOS_strtok_r(empty, ",", &context), nullptr);
    EXPECT_EQ(context, marker);
}

TEST(SupOS_strtok_r, TakesTheWholeTextWithoutDelimiters)
{
    char text[] = "a b";
    char *context;
    EXPECT_STREQ(SupOS_strtok_r(text, "", &context), "a b");
    EXPECT_EQ(context, nullptr);
}

TEST(SupOS_strtok_r, Traces)
{
    Ring_TraceOn();
    char text[] = "a,";
    char *context;
    SupOS_strtok_r(text, ",", &context);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_strtok_r"), 3u);
    SupOS_strtok_r(nullptr, ",", &context);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_strtok_r"), 2u);
    context = nullptr;
    SupOS_strtok_r(nullptr, ",", &context);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_strtok_r"), 1u);
}

TEST(SupOS_ctime_r, GivesTheLocalTime)
{
    setenv("TZ", "UTC", 1);
    const time_t moment = 86399;
    char text[32];
    memset(text, '#', sizeof text);
    EXPECT_EQ(SupOS_ctime_r(&moment, text, sizeof text), 0);
    EXPECT_STREQ(text, "Thu Jan  1 23:59:59 1970\n");
    EXPECT_EQ(text[31], 0); // filled up
}

TEST(SupOS_ctime_r, CutsWithoutATerminator)
{
    setenv("TZ", "UTC", 1);
    const time_t moment = 0;
    char text[32];
    memset(text, '#', sizeof text);
    EXPECT_EQ(SupOS_ctime_r(&moment, text, 10), 0);
    EXPECT_EQ(std::string(text, 11), "Thu Jan  1#");
    memset(text, '#', sizeof text);
    EXPECT_EQ(SupOS_ctime_r(&moment, text, 25), 0);
    EXPECT_EQ(std::string(text, 26), "Thu Jan  1 00:00:00 1970\n#");
    EXPECT_EQ(SupOS_ctime_r(&moment, text, 0), 0);
    EXPECT_EQ(text[0], 'T');
}

TEST(SupOS_ctime_r, IsEmptyForATimeBeyondAllYears)
{
    const time_t moment = static_cast<time_t>(1) << 62;
    char text[4] = "###";
    EXPECT_EQ(SupOS_ctime_r(&moment, text, sizeof text), 0);
    EXPECT_EQ(std::string(text, 4), std::string(4, '\0'));
}

TEST(SupOS_ctime_r, Traces)
{
    Ring_TraceOn();
    const time_t moment = 0;
    char text[32], wanted[64];
    SupOS_ctime_r(&moment, text, sizeof text);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ctime_r"), 1u);
    snprintf(wanted, sizeof wanted, "(%p,%d)", static_cast<const void *>(&moment), 32);
    for (const Ring_Record &record : Ring_Records()) {
        if (record.Function != "SupOS_ctime_r" || record.Header.Class >= 0x100) continue;
        EXPECT_EQ(record.Header.Class, 0x80u);
        EXPECT_EQ(record.Text, wanted);
    }
}

TEST(SupOS_ProcessAlive, TellsLiveFromEnded)
{
    EXPECT_EQ(SupOS_ProcessAlive(static_cast<u32>(getpid())), 0);
    EXPECT_EQ(SupOS_ProcessAlive(1), 0); // it need not be a child, nor ours

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        close(ends[1]);
        char byte;
        _exit(read(ends[0], &byte, 1) == 0 ? 0 : 1); // until the other end is closed
    }
    close(ends[0]);
    EXPECT_EQ(SupOS_ProcessAlive(static_cast<u32>(child)), 0);
    close(ends[1]);
    siginfo_t info = {};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(SupOS_ProcessAlive(static_cast<u32>(child)), -1); // ended, and not reaped yet
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_EQ(SupOS_ProcessAlive(static_cast<u32>(child)), -1);
    EXPECT_EQ(SupOS_ProcessAlive(0x7FFFFFFF), -1);
    EXPECT_EQ(SupOS_ProcessAlive(0), -1);
}

TEST(SupOS_ProcessAlive, Traces)
{
    Ring_TraceOn();
    SupOS_ProcessAlive(0x7FFFFFFF);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ProcessAlive"), 1u);
    SupOS_ProcessAlive(1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_ProcessAlive"), 2u);
}

TEST(SupOS_uname, NamesTheSystem)
{
    SupOS_utsname names;
    memset(&names, '#', sizeof names);
    EXPECT_EQ(SupOS_uname(&names), 0);
    struct utsname host;
    uname(&host);
    unsigned major = 0, minor = 0;
    ASSERT_EQ(sscanf(host.release, "%u.%u", &major, &minor), 2);
    EXPECT_STREQ(names.sysname, "NT");
    EXPECT_EQ(names.release, std::to_string(minor));
    EXPECT_EQ(names.version, std::to_string(major));
    EXPECT_STREQ(names.machine, "");

    std::string node = host.nodename;
    node = node.substr(0, node.find('.')).substr(0, 15);
    for (char &letter : node) letter = static_cast<char>(toupper(static_cast<u8>(letter)));
    EXPECT_EQ(names.nodename, node);
}

TEST(SupOS_uname, HasFieldsOf32Bytes)
{
    EXPECT_EQ(sizeof(SupOS_utsname), 160u);
    EXPECT_EQ(offsetof(SupOS_utsname, nodename), 32u);
    EXPECT_EQ(offsetof(SupOS_utsname, release), 64u);
    EXPECT_EQ(offsetof(SupOS_utsname, version), 96u);
    EXPECT_EQ(offsetof(SupOS_utsname, machine), 128u);
}

TEST(SupOS_uname, FailsWhereTheSystemFails)
{
    Ring_TraceOn();
    SupOS_utsname names;
    EXPECT_EQ(SupOS_uname(&names), 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_uname"), 3u);

    Plat_Sys.Gethostname = [](char *, size_t) {
        errno = EPERM;
        return -1;
    };
    EXPECT_EQ(SupOS_uname(&names), -1);
    EXPECT_STREQ(names.sysname, "NT");
    EXPECT_EQ(Ring_LastExitPoint("SupOS_uname"), 2u);

    Plat_Sys.Uname = [](struct utsname *) {
        errno = EFAULT;
        return -1;
    };
    EXPECT_EQ(SupOS_uname(&names), -1);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_uname"), 1u);
}

namespace
{

const i32 catalogueErrors[] = {2, 12, 13, 17, 28};

// Makes a catalogue of the test's own and points the process at it.
void useCatalogue(const std::string &source)
{
    const std::string root = Scratch_MakeRoot();
    Scratch_WriteFile(root + "/vela.msg", source);
    ASSERT_EQ(system(("gencat " + root + "/vela.cat " + root + "/vela.msg").c_str()), 0);
    setenv("NLSPATH", (root + "/%N").c_str(), 1);
}

} // namespace

TEST(SupOS_GetErroString, TakesFiveTextsFromTheCatalogue)
{
    useCatalogue("$set 186\n64 no file\n65 no access\n66 no memory\n67 no space\n68 there already\n");
    const char *const texts[] = {"no file", "no memory", "no access", "there already", "no space"};
    for (size_t i = 0; i < 5; ++i) {
        char text[200] = "";
        EXPECT_EQ(SupOS_GetErroString(catalogueErrors[i], text, sizeof text), 0);
        EXPECT_STREQ(text, texts[i]);
    }
}

TEST(SupOS_GetErroString, FindsItsTextsInTheInstalledCatalogue)
{
    Ring_TraceOn();
    for (const i32 error : catalogueErrors) {
        char text[200] = "";
        EXPECT_EQ(SupOS_GetErroString(error, text, sizeof text), 0);
        EXPECT_GT(strlen(text), 0u);
        EXPECT_EQ(Ring_LastExitPoint("SupOS_GetErroString"), 2u);
    }
}

TEST(SupOS_GetErroString, TakesAllOthersFromTheSystem)
{
    Scratch_MakeRoot();
    for (const i32 error : {0, 1, 3, 11, 14, 22, 27, 29, 9999, -1}) {
        char text[200] = "";
        EXPECT_EQ(SupOS_GetErroString(error, text, sizeof text), 0);
        EXPECT_STREQ(text, strerror(error));
    }
}

TEST(SupOS_GetErroString, FallsBackToTheSystemWithoutItsTexts)
{
    useCatalogue("$set 1\n1 nothing\n");
    for (const i32 error : catalogueErrors) {
        char text[200] = "";
        EXPECT_EQ(SupOS_GetErroString(error, text, sizeof text), 0);
        EXPECT_STREQ(text, strerror(error));
    }
}

TEST(SupOS_GetErroString, CutsASystemText)
{
    Scratch_MakeRoot();
    const std::string whole = strerror(22);
    char text[64];
    for (u32 length = 1; length <= whole.size() + 2; ++length) {
        memset(text, '#', sizeof text);
        EXPECT_EQ(SupOS_GetErroString(22, text, length), 0);
        EXPECT_EQ(text, whole.substr(0, length - 1));
        EXPECT_EQ(text[length], '#');
    }
    memset(text, '#', sizeof text);
    EXPECT_EQ(SupOS_GetErroString(22, text, 0), -1);
    EXPECT_EQ(text[0], '#');
}

// The message facility does not cut: a room that is too small for a text of the catalogue ends the process.
TEST(SupOS_GetErroString, EndsTheProcessWhereACatalogueTextDoesNotFit)
{
    Scratch_MakeRoot();
    char text[2];
    EXPECT_EXIT(SupOS_GetErroString(2, text, sizeof text), testing::ExitedWithCode(0), "Message buffer overflow");
}

TEST(SupOS_GetErroString, Traces)
{
    Ring_TraceOn();
    char text[200], wanted[64];
    SupOS_GetErroString(22, text, 0);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetErroString"), 1u);
    SupOS_GetErroString(2, text, sizeof text);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetErroString"), 2u);
    Ring_Clear();
    SupOS_GetErroString(22, text, sizeof text);
    EXPECT_EQ(Ring_LastExitPoint("SupOS_GetErroString"), 4u);
    snprintf(wanted, sizeof wanted, "(%d,%p,%d)", 22, static_cast<void *>(text), 200);
    const std::vector<Ring_Record> records = Ring_Records();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].Text, wanted);
    EXPECT_EQ(records[0].Header.Class, 0x80u);
}
