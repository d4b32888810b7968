// Dumps: an exact image of the ring, where the file lies, what is reported, and what an empty ring does.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>

#include "trace_case.h"

static auto &master = InfTR_MasterTraceArea;

struct Dump : testing::Test {
    void SetUp() override
    {
        Directory = Case_Directory();
        Case_Start(("-b 5000 -B ON -M ON -S ON -t ALL=0 -d " + Directory).c_str(), "prog", "REG");
    }

    std::string Path(const std::string &Index, const std::string &Below = "") const
    {
        return Directory + Below + "/prog.p" + std::to_string(getpid()) + "." + Index + ".veladmp";
    }

    std::string Image() const
    {
        const char *const ring = reinterpret_cast<const char *>(InfTR_CachePtr) + offsetof(InfTR_ProcessCache, Ring);
        return std::string(ring, 36u + 5000u);
    }

    std::string Directory;
};

static std::string dump(u32 Index, const char *SubDirectory = nullptr)
{
    return Case_Stderr([=] { InfTR_DumpRingBuffer(Index, SubDirectory); });
}

static void fill(u32 Count)
{
    Case_InThread([Count] {
        for (u32 id = 0; id < Count; ++id) InfTR_TraceEvent(58, id, 40, std::string(40, 'd').data());
    });
}

TEST_F(Dump, IsAnExactImageOfTheRing)
{
    for (u32 count : {1u, 20u, 100u}) { // not yet full, and wrapped
        fill(count);
        EXPECT_THAT(dump(count), HasSubstr("ERZ049008I/0202: "));
        char index[16];
        snprintf(index, sizeof index, "%03u", count);
        const std::string content = Scratch_ReadFile(Path(index));
        EXPECT_EQ(content, Image());
        EXPECT_EQ(content.substr(0, 8), "ERZ49RNG");
        EXPECT_EQ(content.substr(20, 16), "REG     prog    ");
        EXPECT_EQ(Ring_RecordsOfImage(content.data(), content.size()).size(), Ring_Records().size());
    }
}

TEST_F(Dump, TheIndexHasAtLeastThreeDigits)
{
    fill(1);
    dump(0);
    dump(1234567);
    EXPECT_TRUE(std::filesystem::exists(Path("000")));
    EXPECT_TRUE(std::filesystem::exists(Path("1234567")));
}

TEST_F(Dump, AnExistingFileIsReplaced)
{
    fill(1);
    Scratch_WriteFile(Path("003"), std::string(20000, 'o'));
    dump(3);
    EXPECT_EQ(Scratch_ReadFile(Path("003")), Image());
}

TEST_F(Dump, AnEmptyRingWritesNoFile)
{
    EXPECT_THAT(dump(static_cast<u32>(InfTR_GetNextDumpIndex())), HasSubstr(": No trace data in RingBuffers\n"));
    EXPECT_TRUE(std::filesystem::is_empty(Directory));
    EXPECT_EQ(InfTR_GetNextDumpIndex(), 1); // it used an index up

    InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, nullptr); // a mark alone counts as nothing
    EXPECT_THAT(dump(2), HasSubstr("No trace data in RingBuffers"));
    fill(1);
    dump(2);
    EXPECT_TRUE(std::filesystem::exists(Path("002")));
}

TEST_F(Dump, AnEyeCatcherAtAnyPlaceCounts)
{
    u8 *const data = InfTR_CachePtr->RingData;
    for (size_t at : {0u, 1u, 777u, 4995u, 4996u}) {
        Ring_Clear();
        memcpy(data + at, InfTR_RecordEyeCatcher, 4);
        EXPECT_THAT(dump(1), HasSubstr("0202"));
    }
    Ring_Clear();
    memcpy(data + 4997, InfTR_RecordEyeCatcher, 3);
    data[0] = InfTR_RecordEyeCatcher[3]; // split over the end
    data[100] = 0x06;
    data[101] = 0x0A;
    data[102] = 0x06;
    EXPECT_THAT(dump(1), HasSubstr("No trace data"));
}

TEST_F(Dump, ASubDirectoryIsMadeFromItsFirstPart)
{
    fill(1);
    const std::string said = dump(5, "TRAN.0001.txt");
    EXPECT_EQ(Scratch_ReadFile(Path("005", "/TRAN_TRACE")), Image());
    EXPECT_THAT(said,
                HasSubstr("'" + Directory + "\\TRAN_TRACE\\\\prog.p" + std::to_string(getpid()) + ".005.veladmp'"));
    dump(6, "TRAN"); // it exists now
    EXPECT_EQ(Scratch_ReadFile(Path("006", "/TRAN_TRACE")), Image());
    dump(7, ".hidden");
    EXPECT_EQ(Scratch_ReadFile(Path("007", "/_TRACE")), Image());
    dump(8, "");
    EXPECT_EQ(Scratch_ReadFile(Path("008", "/_TRACE")), Image());
}

TEST_F(Dump, OnlyTheNameTakesTheRegion)
{
    std::filesystem::create_directory(Directory + "/REG");
    snprintf(master.TraceDirectorySystem, sizeof master.TraceDirectorySystem, "%s", (Directory + "/%R").c_str());
    fill(1);
    dump(1);
    EXPECT_EQ(Scratch_ReadFile(Path("001", "/REG")), Image());
    std::filesystem::create_directory(Directory + "/%R");
    dump(2, "SUB");
    EXPECT_EQ(Scratch_ReadFile(Path("002", "/%R/SUB_TRACE")), Image());
}

TEST_F(Dump, AFileThatCannotBeOpenedIsReported)
{
    fill(1);
    snprintf(master.TraceDirectorySystem, sizeof master.TraceDirectorySystem, "%s", (Directory + "/none").c_str());
    EXPECT_THAT(dump(1), HasSubstr("ERZ049007E/0201: Cannot open the trace dump file '" + Directory + "/none\\prog.p" +
                                   std::to_string(getpid()) + ".001.veladmp': error 2"));
    const std::string tooLong(5000, 'l');
    EXPECT_THAT(dump(1, tooLong.c_str()), HasSubstr("ERZ049007E/0201"));
    EXPECT_THAT(dump(1, tooLong.c_str()), HasSubstr("error 36"));
}

static ssize_t failWrite(int Descriptor, const void *Data, size_t Size)
{
    if (Descriptor <= 2 || Size < 5000) return write(Descriptor, Data, Size);
    errno = EIO;
    return -1;
}

TEST_F(Dump, AFileThatCannotBeWrittenIsReported)
{
    fill(1);
    Case_Faults faults;
    Plat_Sys.Write = failWrite;
    EXPECT_THAT(dump(1), HasSubstr("ERZ049007E/0203: Cannot write the trace dump file '" + Directory + "\\prog.p" +
                                   std::to_string(getpid()) + ".001.veladmp': error 5"));
}

TEST_F(Dump, AFullDiskIsReported)
{
    fill(1);
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const struct rlimit limit = {3000, 3000};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
        InfTR_DumpRingBuffer(1, nullptr);
        _exit(Ring_LastExitPoint("InfTR_DumpRingBuffer") == 0xFFFFFFFFu ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(std::filesystem::file_size(Path("001")), 3000u);
}

TEST_F(Dump, TheDescriptorStaysOpen)
{
    const auto descriptors = [] {
        size_t count = 0;
        for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
        return count;
    };
    fill(1);
    dump(0);
    const size_t before = descriptors();
    dump(1);
    dump(2);
    EXPECT_EQ(descriptors(), before + 2);
}

TEST_F(Dump, EveryWayOutHasItsPoint)
{
    char options[] = "-t INFTR=4";
    InfTR_UpdateMasterTrace(&master, options, 0);
    const auto point = [](const char *SubDirectory) {
        Ring_Clear();
        dump(1, SubDirectory);
        return Ring_LastExitPoint("InfTR_DumpRingBuffer");
    };
    EXPECT_EQ(point(nullptr), 5u);
    EXPECT_EQ(Case_LastRecord().Header.Component, 49);
    EXPECT_EQ(point("a/b/c"), 3u);
    {
        Case_Faults faults;
        Plat_Sys.Write = failWrite;
        EXPECT_EQ(point(nullptr), 4u);
    }
    // Its own entry record fills the ring, so that only the auxiliary file can show the way out of an empty one.
    Case_InThread([this] {
        char toFile[] = "-B OFF -A ON";
        InfTR_UpdateMasterTrace(&master, toFile, 0);
        Ring_Clear();
        EXPECT_THAT(dump(1), HasSubstr("No trace data"));
        const TraceFile *const file = static_cast<TraceFile *>(tks_ThreadGetData(InfTR_FileSlot));
        ASSERT_NE(file, nullptr);
        std::string content;
        for (const auto &entry : std::filesystem::directory_iterator(Directory)) {
            if (entry.path().extension() == ".velatrc") content = Scratch_ReadFile(entry.path());
        }
        const std::vector<Ring_Record> records =
            Ring_RecordsOfBytes(reinterpret_cast<const u8 *>(content.data()) + 16, content.size() - 16);
        ASSERT_FALSE(records.empty());
        EXPECT_EQ(records.back().Function, "InfTR_DumpRingBuffer");
        EXPECT_EQ(records.back().Point, 2u);
        char toRing[] = "-B ON -A OFF";
        InfTR_UpdateMasterTrace(&master, toRing, 0);
    });

    // no trace state
    InfTR_ProcessCache *const cache = InfTR_CachePtr;
    InfTR_CachePtr = nullptr;
    EXPECT_EQ(dump(1), "");
    InfTR_CachePtr = cache;
    const auto tracePtr = InfTR_TracePtr;
    InfTR_TracePtr = nullptr;
    EXPECT_EQ(dump(1), "");
    InfTR_TracePtr = tracePtr;
}

TEST_F(Dump, ControlDumpsWithItsHighHalfAsIndex)
{
    fill(1);
    Case_Stderr([] {
        InfTR_ControlAux(2);
        InfTR_ControlAux(0x002A0002);
        InfTR_ControlAux(0xFFFF0002);
    });
    EXPECT_EQ(Scratch_ReadFile(Path("000")), Image());
    EXPECT_EQ(Scratch_ReadFile(Path("042")), Image());
    EXPECT_EQ(Scratch_ReadFile(Path("65535")), Image());
}
