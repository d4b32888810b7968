// Auxiliary files as a whole: what stands in them byte by byte, how they wrap, what a full disk does, and the commands
// that reach the files of all threads.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>

#include "trace_case.h"

#include "tks_memory.h"

static auto &master = InfTR_MasterTraceArea;
static const std::string header = "REG     prog    ";

struct Aux : testing::Test {
    void SetUp() override { Start("0"); }
    void TearDown() override
    {
        unsetenv("VELATRACE_DISABLE_AUX_LOOPING");
        unsetenv("VELATRACE_LOOP_ON_NOSPC");
    }

    void Start(const std::string &Limit)
    {
        Directory = Case_Directory();
        Case_Start(("-A ON -M ON -S ON -t ALL=0 -d " + Directory + " -a " + Limit).c_str(), "prog", "REG");
    }

    std::string PathOfThread() const
    {
        return Directory + "/prog.p" + std::to_string(InfTR_CachePtr->ProcessId) + ".t" +
               std::to_string(tks_ThreadSelf()) + ".velatrc";
    }

    std::string Directory;
};

// An event whose record has this many bytes in all, its data filled from its id.
static void writeEvent(u32 Id, u32 RecordSize)
{
    const std::string data(RecordSize - 60, static_cast<char>(Id));
    InfTR_TraceEvent(58, Id, RecordSize - 60, data.data());
}

static std::vector<Ring_Record> recordsOf(const std::string &Content)
{
    if (Content.size() < 16) return {};
    return Ring_RecordsOfBytes(reinterpret_cast<const u8 *>(Content.data()) + 16, Content.size() - 16);
}

static std::vector<u32> idsOf(const std::string &Content)
{
    std::vector<u32> ids;
    for (const Ring_Record &record : recordsOf(Content)) ids.push_back(record.Point);
    return ids;
}

static TraceFile *threadFile()
{
    return static_cast<TraceFile *>(tks_ThreadGetData(InfTR_FileSlot));
}

TEST_F(Aux, HoldsTheRecordsInWriteOrder)
{
    Case_InThread([this] {
        TraceRecord *const record = InfTR_GetRecord();
        std::string expected = header;
        for (u32 id = 1; id <= 20; ++id) {
            writeEvent(id, 60 + 4 * id);
            expected.append(reinterpret_cast<const char *>(record), 60 + 4 * id);
        }
        const std::string content = Scratch_ReadFile(PathOfThread());
        EXPECT_EQ(content, expected); // unbuffered: nothing waits for a close
        const std::vector<Ring_Record> records = recordsOf(content);
        ASSERT_EQ(records.size(), 20u);
        for (u32 at = 0; at < 20; ++at) {
            EXPECT_EQ(records[at].Point, at + 1);
            EXPECT_EQ(records[at].Header.SequenceNumber, at + 1);
        }
        EXPECT_EQ(threadFile()->SequenceNumber, 20u);
    });
}

TEST_F(Aux, WithoutALimitNothingIsCounted)
{
    Case_InThread([this] {
        for (u32 id = 0; id < 3000; ++id) writeEvent(id, 4092);
        EXPECT_EQ(std::filesystem::file_size(PathOfThread()), 16u + 3000u * 4092u);
        EXPECT_EQ(threadFile()->BytesLeft, 0);
        EXPECT_EQ(threadFile()->MaximumSize, 0);
    });
}

TEST_F(Aux, TheSmallestLimitHoldsOneLargestRecord)
{
    Start("100");
    EXPECT_EQ(master.TraceMaxSizeAux, 4112);
    Case_InThread([this] {
        writeEvent(1, 4092);
        writeEvent(2, 4092);
        EXPECT_EQ(std::filesystem::file_size(PathOfThread()), 16u + 4092u);
        EXPECT_EQ(idsOf(Scratch_ReadFile(PathOfThread())), std::vector<u32>{2});
        TraceRecord largest = *InfTR_GetRecord();
        largest.TraceHeader.DataLength = 4040;
        InfTR_WriteTraceToAuxFile(&largest);
        EXPECT_EQ(std::filesystem::file_size(PathOfThread()), 4112u);
        InfTR_WriteTraceToAuxFile(&largest);
        EXPECT_EQ(std::filesystem::file_size(PathOfThread()), 4112u);
        EXPECT_EQ(largest.TraceHeader.SequenceNumber, 4u);
    });
}

TEST_F(Aux, ARecordThatFitsExactlyDoesNotWrap)
{
    Start("5016");
    Case_InThread([this] {
        for (u32 id = 1; id <= 5; ++id) writeEvent(id, 1000); // fills the limit to the byte
        EXPECT_EQ(threadFile()->BytesLeft, 0);
        EXPECT_EQ(idsOf(Scratch_ReadFile(PathOfThread())), (std::vector<u32>{1, 2, 3, 4, 5}));
        writeEvent(6, 400);
        EXPECT_EQ(threadFile()->BytesLeft, 4600);
        EXPECT_EQ(std::filesystem::file_size(PathOfThread()), 5016u);
        const std::string content = Scratch_ReadFile(PathOfThread());
        EXPECT_EQ(content.substr(0, 16), header);
        EXPECT_EQ(idsOf(content)[0], 6u);
        EXPECT_EQ(idsOf(content).back(), 5u);
    });
}

// The file as a string, by the same law: cut behind the newest record, go on behind the header.
struct ModelFile {
    std::string Content = header;
    size_t Offset = 16;
    i32 Maximum = 0;
    i32 Left = 0;

    void Put(const std::string &Record)
    {
        const i32 size = static_cast<i32>(Record.size());
        if (Maximum != 0 && size > Left) {
            Content.resize(Offset);
            Offset = 16;
            Left = Maximum - 16;
        }
        if (Content.size() < Offset + Record.size()) Content.resize(Offset + Record.size());
        Content.replace(Offset, Record.size(), Record);
        Offset += Record.size();
        Left -= size;
    }
};

TEST_F(Aux, WrapsAsTheLawSaysByteByByte)
{
    for (i32 limit : {4112, 4113, 5000, 9999, 20000}) {
        Start(std::to_string(limit));
        Case_InThread([&] {
            ModelFile model;
            model.Maximum = limit;
            model.Left = limit - 16;
            u32 random = static_cast<u32>(limit);
            for (u32 id = 0; id < 600; ++id) {
                random = random * 1664525 + 1013904223;
                const u32 size = 60 + ((random >> 10) % (id % 5 == 0 ? 4033 : 600) & ~3u);
                writeEvent(id, size);
                model.Put(std::string(reinterpret_cast<const char *>(InfTR_GetRecord()), size));
                if (id % 13 == 0) InfTR_ControlAux(INFTR_COMMAND_CLOSE_FILES);
                ASSERT_EQ(Scratch_ReadFile(PathOfThread()), model.Content) << "limit " << limit << " record " << id;
            }
            EXPECT_EQ(threadFile()->BytesLeft, model.Left);
            EXPECT_EQ(threadFile()->SequenceNumber, 600u);
        });
    }
}

TEST_F(Aux, ANewestEndIsWhereTheSequenceNumberFalls)
{
    Start("6000");
    Case_InThread([this] {
        for (u32 id = 1; id <= 100; ++id) writeEvent(id, 500);
        const std::vector<Ring_Record> records = recordsOf(Scratch_ReadFile(PathOfThread()));
        size_t falls = 0;
        for (size_t at = 1; at < records.size(); ++at) {
            falls += records[at].Header.SequenceNumber < records[at - 1].Header.SequenceNumber ? 1 : 0;
        }
        EXPECT_EQ(falls, 1u);
    });
}

TEST_F(Aux, WithLoopingDisabledAFullFileStops)
{
    Start("5016");
    setenv("VELATRACE_DISABLE_AUX_LOOPING", "", 1); // any value counts
    Case_InThread([this] {
        for (u32 id = 1; id <= 9; ++id) writeEvent(id, 1000);
        EXPECT_EQ(idsOf(Scratch_ReadFile(PathOfThread())), (std::vector<u32>{1, 2, 3, 4, 5}));
        EXPECT_EQ(threadFile()->FileStatus, INFTR_FILESTATUS_STOPPED);
        InfTR_ControlAux(INFTR_COMMAND_CLOSE_FILES);
        unsetenv("VELATRACE_DISABLE_AUX_LOOPING");
        writeEvent(10, 100); // final for the thread
        EXPECT_EQ(threadFile()->FileStatus, INFTR_FILESTATUS_STOPPED);
        EXPECT_EQ(std::filesystem::file_size(PathOfThread()), 5016u);
    });
}

// ---- failures ----

static int failFtruncate(int, off_t)
{
    errno = EIO;
    return -1;
}

static ssize_t failWrite(int, const void *, size_t)
{
    errno = EIO;
    return -1;
}

TEST_F(Aux, AFileThatCannotBeCutFails)
{
    Start("5016");
    Case_InThread([this] {
        for (u32 id = 1; id <= 5; ++id) writeEvent(id, 1000);
        Case_Faults faults;
        Plat_Sys.Ftruncate = failFtruncate;
        writeEvent(6, 1000);
        EXPECT_EQ(threadFile()->FileStatus, INFTR_FILESTATUS_FAILED);
        EXPECT_EQ(threadFile()->LastError, EIO);
        EXPECT_EQ(threadFile()->SequenceNumber, 5u);
        writeEvent(7, 1000);
        EXPECT_EQ(std::filesystem::file_size(PathOfThread()), 5016u);
    });
}

TEST_F(Aux, AWriteThatFailsStopsTheFileAndNothingElse)
{
    char ring[] = "-B ON";
    InfTR_UpdateMasterTrace(&master, ring, 0);
    Case_InThread([this] {
        writeEvent(1, 1000);
        setenv("VELATRACE_LOOP_ON_NOSPC", "1", 1); // for a full disk alone
        const std::string said = Case_Stderr([] {
            Case_Faults faults;
            Plat_Sys.Write = failWrite;
            writeEvent(2, 1000);
            EXPECT_EQ(threadFile()->FileStatus, INFTR_FILESTATUS_FAILED);
            EXPECT_EQ(threadFile()->LastError, EIO);
            EXPECT_EQ(threadFile()->SequenceNumber, 1u);
        });
        EXPECT_EQ(said, "");
        writeEvent(3, 1000);
        EXPECT_EQ(idsOf(Scratch_ReadFile(PathOfThread())), std::vector<u32>{1});
        EXPECT_EQ(Case_LastRecord().Point, 3u); // the ring goes on
        EXPECT_EQ(master.TraceFlagAux, 1u);
    });
}

// Runs Body in a process whose files may have at most this many bytes.
static int withFileLimit(size_t Bytes, const std::function<bool()> &Body)
{
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const struct rlimit limit = {Bytes, Bytes};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(2);
        _exit(Body() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(Aux, AFullDiskFailsTheFile)
{
    const std::string directory = Directory;
    EXPECT_EQ(withFileLimit(3300,
                            [] {
                                for (u32 id = 1; id <= 9; ++id) writeEvent(id, 1000);
                                const TraceFile *const file = threadFile();
                                const bool error = file->LastError == ENOSPC || file->LastError == EFBIG;
                                return file->FileStatus == INFTR_FILESTATUS_FAILED && error &&
                                       file->SequenceNumber == 3;
                            }),
              0);
}

TEST_F(Aux, AFullDiskWrapsWhenAskedTo)
{
    setenv("VELATRACE_LOOP_ON_NOSPC", "", 1);
    for (const char *limit : {"0", "50000"}) {
        Start(limit);
        EXPECT_EQ(withFileLimit(3300,
                                [this, limit] {
                                    ModelFile model;
                                    for (u32 id = 1; id <= 20; ++id) {
                                        writeEvent(id, 1000);
                                        const std::string record(reinterpret_cast<const char *>(InfTR_GetRecord()),
                                                                 1000);
                                        if (model.Offset + 1000 > 3300) { // what was half written is cut off again
                                            model.Content.resize(model.Offset);
                                            model.Offset = 16;
                                        }
                                        model.Put(record);
                                        if (Scratch_ReadFile(PathOfThread()) != model.Content) return false;
                                    }
                                    const TraceFile *const file = threadFile();
                                    const i32 left = strcmp(limit, "0") == 0 ? 0 : 50000 - 16 - 2000;
                                    return file->FileStatus == INFTR_FILESTATUS_OPEN && file->SequenceNumber == 20 &&
                                           file->BytesLeft == left;
                                }),
                  0)
            << limit;
    }
}

static int noSpaceLeft;

static ssize_t noSpace(int Descriptor, const void *Data, size_t Size)
{
    if (noSpaceLeft == 0) return write(Descriptor, Data, Size);
    --noSpaceLeft;
    errno = ENOSPC;
    return -1;
}

TEST_F(Aux, ASecondFailureOnAFullDiskFailsTheFile)
{
    setenv("VELATRACE_LOOP_ON_NOSPC", "1", 1);
    Case_InThread([] {
        writeEvent(1, 1000);
        Case_Faults faults;
        Plat_Sys.Write = noSpace;
        noSpaceLeft = 2;
        writeEvent(2, 1000);
        EXPECT_EQ(threadFile()->FileStatus, INFTR_FILESTATUS_FAILED);
        EXPECT_EQ(threadFile()->LastError, ENOSPC);
        EXPECT_EQ(threadFile()->SequenceNumber, 1u);
    });
    Start("0");
    Case_InThread([] {
        writeEvent(1, 1000);
        Case_Faults faults;
        Plat_Sys.Write = noSpace;
        Plat_Sys.Ftruncate = failFtruncate;
        noSpaceLeft = 1;
        writeEvent(2, 1000);
        EXPECT_EQ(threadFile()->FileStatus, INFTR_FILESTATUS_FAILED);
        EXPECT_EQ(threadFile()->LastError, EIO);
        EXPECT_EQ(threadFile()->SequenceNumber, 1u);
    });
    unsetenv("VELATRACE_LOOP_ON_NOSPC");
    Start("0");
    Case_InThread([] {
        writeEvent(1, 1000);
        Case_Faults faults;
        Plat_Sys.Write = noSpace;
        noSpaceLeft = 1;
        writeEvent(2, 1000);
        EXPECT_EQ(threadFile()->FileStatus, INFTR_FILESTATUS_FAILED);
    });
}

TEST_F(Aux, AFileDoesNotPassTheRangeOfItsOffsets)
{
    Case_InThread([] {
        writeEvent(1, 1000);
        threadFile()->Offset = 0x7FFFFFFF - 999;
        writeEvent(2, 1000);
        EXPECT_EQ(threadFile()->FileStatus, INFTR_FILESTATUS_FAILED);
        EXPECT_EQ(threadFile()->LastError, EFBIG);
    });
}

// ---- which threads have a file ----

TEST_F(Aux, WithoutMemoryForTheBlockAuxiliaryTraceIsTurnedOff)
{
    Case_InThread([] {
        Case_MakeMessageData();
        InfTR_GetRecord();
        TraceFile other = {}; // another thread's file, open
        tks_MutexInit(&other.Lock);
        InfTR_OpenAuxTraceFile(&other);
        InfTR_CachePtr->ThreadFileList = &other;
        tks_TestFailMalloc(1);
        const std::string said = Case_Stderr([] { writeEvent(1, 100); });
        tks_TestFailMalloc(0);
        EXPECT_THAT(said, HasSubstr("ERZ049010E/0354: "));
        EXPECT_THAT(said, HasSubstr("ERZ049011I/0355: The trace attribute TraceFlagSystem is now 'OFF'"));
        EXPECT_LT(said.find("0354"), said.find("0355"));
        EXPECT_EQ(master.TraceFlagAux, 0u);
        EXPECT_EQ(master.TraceFlagSystem, 1u); // whatever the message says
        EXPECT_EQ(other.FileStatus, INFTR_FILESTATUS_CLOSED);
        EXPECT_EQ(threadFile(), nullptr);
        InfTR_CachePtr->ThreadFileList = nullptr;
    });
}

TEST_F(Aux, ARecordOfADeadThreadTurnsAuxiliaryTraceOff)
{
    Case_InThread([] {
        writeEvent(1, 100);
        TraceFile *const file = threadFile();
        std::thread([file] {
            tks_ThreadSetData(InfTR_FileSlot, INFTR_SLOT_DEAD, nullptr);
            writeEvent(2, 100);
            EXPECT_EQ(master.TraceFlagAux, 0u);
            EXPECT_EQ(file->FileStatus, INFTR_FILESTATUS_CLOSED);
            InfTR_ThreadExit(49, "F", 1);
        }).join();
        // without the system flag the files of the others stay open
        master.TraceFlagAux = 1;
        writeEvent(3, 100);
        EXPECT_EQ(file->FileStatus, INFTR_FILESTATUS_OPEN);
        std::thread([file] {
            tks_ThreadSetData(InfTR_FileSlot, INFTR_SLOT_DEAD, nullptr);
            master.TraceFlagSystem = 0;
            writeEvent(4, 100);
            master.TraceFlagSystem = 1;
            EXPECT_EQ(master.TraceFlagAux, 0u);
            EXPECT_EQ(file->FileStatus, INFTR_FILESTATUS_OPEN);
            InfTR_ThreadExit(49, "F", 1);
        }).join();
    });
}

TEST_F(Aux, AThreadThatNeverHadABufferTurnsItOffToo)
{
    std::thread([] {
        Case_MakeMessageData();
        tks_TestFailMalloc(1);
        Case_Stderr([] { writeEvent(1, 100); }); // no buffer, but its mark made a file
        EXPECT_NE(threadFile(), nullptr);
        EXPECT_EQ(tks_ThreadGetData(InfTR_RecordSlot), nullptr);
        InfTR_ThreadExit(49, "F", 1);
        EXPECT_EQ(tks_ThreadGetData(InfTR_RecordSlot), nullptr);
        writeEvent(2, 100);
        EXPECT_EQ(master.TraceFlagAux, 0u);
        InfTR_ThreadExit(49, "F", 1);
    }).join();
}

TEST_F(Aux, NoFileIsMadeWhenTheProcessIsEnding)
{
    Case_InThread([this] {
        InfTR_CachePtr->TerminateFlag = 1;
        writeEvent(1, 100);
        EXPECT_EQ(threadFile(), nullptr);
        EXPECT_EQ(InfTR_CachePtr->ThreadFileList, nullptr);
        EXPECT_FALSE(std::filesystem::exists(PathOfThread()));
        InfTR_CachePtr->TerminateFlag = 0;
        writeEvent(2, 100);
        EXPECT_EQ(idsOf(Scratch_ReadFile(PathOfThread())), std::vector<u32>{2});
    });
}

TEST_F(Aux, AllThreeFlagsAreNeeded)
{
    for (u32 *flag : {&master.TraceFlagMaster, &master.TraceFlagSystem, &master.TraceFlagAux}) {
        Start("0");
        Case_InThread([this, flag] {
            TraceRecord *const record = InfTR_GetRecord();
            record->TraceHeader.DataLength = 4;
            for (u32 value : {0u, 2u}) {
                *flag = value;
                InfTR_WriteTraceToAuxFile(record);
                EXPECT_EQ(threadFile()->FileStatus, INFTR_FILESTATUS_UNINIT);
                EXPECT_FALSE(std::filesystem::exists(PathOfThread()));
            }
            *flag = 1;
            InfTR_WriteTraceToAuxFile(record);
            EXPECT_EQ(threadFile()->FileStatus, INFTR_FILESTATUS_OPEN);
        });
    }
}

TEST_F(Aux, EachThreadHasItsFile)
{
    std::vector<std::string> paths(4);
    for (u32 thread = 0; thread < 4; ++thread) {
        Case_InThread([&, thread] {
            for (u32 id = 0; id < 10; ++id) writeEvent(100 * thread + id, 60);
            paths[thread] = PathOfThread();
        });
    }
    for (u32 thread = 0; thread < 4; ++thread) {
        std::vector<u32> expected;
        for (u32 id = 0; id < 10; ++id) expected.push_back(100 * thread + id);
        EXPECT_EQ(idsOf(Scratch_ReadFile(paths[thread])), expected);
    }
}

TEST_F(Aux, ALostRecordStandsInTheFileAsABareHeader)
{
    Case_InThread([this] {
        writeEvent(1, 100);
        InfTR_TraceFnEntry(58, "F", INFTR_CLASS_ENTRY, nullptr);
        writeEvent(2, 100);
        const std::vector<Ring_Record> records = recordsOf(Scratch_ReadFile(PathOfThread()));
        ASSERT_EQ(records.size(), 3u);
        EXPECT_TRUE(records[1].Lost);
        EXPECT_EQ(records[1].Header.SequenceNumber, 2u);
        EXPECT_EQ(records[2].Header.SequenceNumber, 3u);
    });
}

// ---- commands ----

TEST_F(Aux, CloseFilesReachesAllThreadsAndTheyGoOn)
{
    Case_InThread([this] {
        writeEvent(1, 100);
        TraceFile *const outer = threadFile();
        const std::string outerPath = PathOfThread();
        Case_InThread([this, outer] {
            writeEvent(2, 100);
            TraceFile *const inner = threadFile();
            InfTR_ControlAux(5);
            EXPECT_EQ(outer->FileStatus, INFTR_FILESTATUS_CLOSED);
            EXPECT_EQ(inner->FileStatus, INFTR_FILESTATUS_CLOSED);
            writeEvent(3, 100);
            EXPECT_EQ(inner->FileStatus, INFTR_FILESTATUS_OPEN);
            EXPECT_EQ(idsOf(Scratch_ReadFile(PathOfThread())), (std::vector<u32>{2, 3}));
        });
        writeEvent(4, 100);
        EXPECT_EQ(idsOf(Scratch_ReadFile(outerPath)), (std::vector<u32>{1, 4}));
        EXPECT_EQ(outer->SequenceNumber, 2u);
        InfTR_ControlAux(0xABCD0005); // the high half is an argument
        EXPECT_EQ(outer->FileStatus, INFTR_FILESTATUS_CLOSED);
        unlink(outerPath.c_str());
        writeEvent(5, 100);
        EXPECT_EQ(idsOf(Scratch_ReadFile(outerPath)), (std::vector<u32>{5}));
        EXPECT_EQ(outer->SequenceNumber, 1u);
        InfTR_ControlAux(4);
        InfTR_ControlAux(0);
        InfTR_ControlAux(77);
        EXPECT_EQ(outer->FileStatus, INFTR_FILESTATUS_OPEN);
    });
}

TEST_F(Aux, ControlIsTracedOutsideItsLocks)
{
    char options[] = "-A OFF -B ON -t INFTR=4";
    InfTR_UpdateMasterTrace(&master, options, 0);
    Ring_Clear();
    Case_InThread([] {
        for (u32 command : {0u, 4u, 5u, 6u}) InfTR_ControlAux(command);
        EXPECT_EQ(Ring_Count("InfTR_ControlAux"), 8u);
        EXPECT_EQ(Ring_LastExitPoint("InfTR_ControlAux"), 1u);
    });
}
