// Trace files: names, and a thread's file from open to close and open again.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>

#include "trace_case.h"

static auto &master = InfTR_MasterTraceArea;

static std::string nameOf(i32 FileType, u32 DumpIndex = 0)
{
    char name[INFTR_FILENAME_SIZE];
    InfTR_GetFileName(name, FileType, DumpIndex);
    return name;
}

static void setSystemDirectory(const std::string &Directory)
{
    snprintf(master.TraceDirectorySystem, sizeof master.TraceDirectorySystem, "%s", Directory.c_str());
}

struct FileNames : testing::Test {
    void SetUp() override { Case_Start(nullptr, "myprogram", "MYREGION"); }
    std::string Process = std::to_string(getpid());
    std::string Thread = std::to_string(tks_ThreadSelf());
};

TEST_F(FileNames, HaveTheFormOfTheirType)
{
    setSystemDirectory("/dir");
    EXPECT_EQ(nameOf(1), "/dir\\myprogra.p" + Process + ".t" + Thread + ".velafmt");
    EXPECT_EQ(nameOf(2), "/dir\\myprogra.p" + Process + ".t" + Thread + ".velatrc");
    EXPECT_EQ(nameOf(3, 0), "/dir\\myprogra.p" + Process + ".000.veladmp");
    EXPECT_EQ(nameOf(3, 7), "/dir\\myprogra.p" + Process + ".007.veladmp");
    EXPECT_EQ(nameOf(3, 999), "/dir\\myprogra.p" + Process + ".999.veladmp");
    EXPECT_EQ(nameOf(3, 12345), "/dir\\myprogra.p" + Process + ".12345.veladmp");
    EXPECT_EQ(nameOf(7), "\\\\.\\PIPE\\.MYREGION.fifo");
}

TEST_F(FileNames, ASeparatorIsAlwaysAdded)
{
    setSystemDirectory("C:\\trace\\");
    EXPECT_EQ(nameOf(3), "C:\\trace\\\\myprogra.p" + Process + ".000.veladmp");
    setSystemDirectory("");
    EXPECT_EQ(nameOf(3), "\\myprogra.p" + Process + ".000.veladmp");
}

TEST_F(FileNames, TheFirstMarkBecomesTheRegion)
{
    const char *const rows[][2] = {
        {"/a/%R/b", "/a/MYREGION/b"}, {"/a/%r", "/a/MYREGION"},       {"%R%R", "MYREGION%R"},
        {"%R/%r", "MYREGION/%r"},     {"/%r/%R/x", "/MYREGION/%R/x"}, {"100%", "100%"},
        {"%%R", "%MYREGION"},         {"%x%d%s", "%x%d%s"},           {"R%", "R%"},
    };
    for (const auto &row : rows) {
        setSystemDirectory(row[0]);
        EXPECT_EQ(nameOf(3), std::string(row[1]) + "\\myprogra.p" + Process + ".000.veladmp") << row[0];
    }
}

TEST_F(FileNames, TheLongestDirectoryFits)
{
    setSystemDirectory("%R" + std::string(253, 'd'));
    EXPECT_EQ(nameOf(2), "MYREGION" + std::string(253, 'd') + "\\myprogra.p" + Process + ".t" + Thread + ".velatrc");
    memset(master.TraceDirectorySystem, 'e', sizeof master.TraceDirectorySystem); // no terminator
    EXPECT_EQ(nameOf(3), std::string(255, 'e') + "\\myprogra.p" + Process + ".000.veladmp");
}

TEST_F(FileNames, ATypeWithoutANameEndsTheProcess)
{
    for (i32 type : {4, 5, 6, 0, 8, -1}) {
        EXPECT_EXIT(nameOf(type), testing::ExitedWithCode(99),
                    "ERZ057002E/0551: .*\\(FALSE\\).*InfTR_GetFileName.*inf\\\\tr\\\\src\\\\inftr_open(.|\n)*"
                    "Invalid FileType=" +
                        std::to_string(type));
    }
}

// ---- a file's life, block by block ----

struct AuxFile : testing::Test {
    void SetUp() override
    {
        Directory = Case_Directory();
        Case_Start(("-d " + Directory).c_str(), "prog", "REG");
        tks_MutexInit(&File.Lock);
        Path = Directory + "/prog.p" + std::to_string(getpid()) + ".t" + std::to_string(tks_ThreadSelf()) + ".velatrc";
    }
    void TearDown() override
    {
        if (File.FileStatus == INFTR_FILESTATUS_OPEN) InfTR_TempCloseTraceFile(&File);
    }

    // Writes past the header by hand.
    void Append(const std::string &Text)
    {
        ASSERT_TRUE(InfTR_WriteAll(File.Descriptor, Text.data(), static_cast<u32>(Text.size())));
        File.Offset += static_cast<i32>(Text.size());
    }

    TraceFile File = {};
    std::string Directory, Path;
};

static const std::string header = "REG     prog    ";

TEST_F(AuxFile, AFirstOpenWritesTheHeader)
{
    Scratch_WriteFile(Path, "what an earlier process left");
    InfTR_OpenAuxTraceFile(&File);
    EXPECT_EQ(File.FileStatus, INFTR_FILESTATUS_OPEN);
    EXPECT_EQ(File.FileType, 2u);
    EXPECT_EQ(File.MaximumSize, 0);
    EXPECT_EQ(File.BytesLeft, 0);
    EXPECT_EQ(File.SequenceNumber, 0u);
    EXPECT_EQ(File.Position, 16);
    EXPECT_EQ(Scratch_ReadFile(Path), header);
}

TEST_F(AuxFile, IsForItsOwnerAlone)
{
    InfTR_OpenAuxTraceFile(&File);
    struct stat state;
    ASSERT_EQ(stat(Path.c_str(), &state), 0);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(state.st_mode & 0777u, 0600u & ~mask);
}

TEST_F(AuxFile, ALimitCountsTheHeader)
{
    master.TraceMaxSizeAux = 4112;
    InfTR_OpenAuxTraceFile(&File);
    EXPECT_EQ(File.MaximumSize, 4112);
    EXPECT_EQ(File.BytesLeft, 4096);
}

TEST_F(AuxFile, AClosedFileGoesOnWhereItStopped)
{
    InfTR_OpenAuxTraceFile(&File);
    Append("0123456789");
    InfTR_TempCloseTraceFile(&File);
    EXPECT_EQ(File.FileStatus, INFTR_FILESTATUS_CLOSED);
    EXPECT_EQ(File.Position, 26);
    File.SequenceNumber = 9;
    InfTR_OpenAuxTraceFile(&File);
    EXPECT_EQ(File.FileStatus, INFTR_FILESTATUS_OPEN);
    EXPECT_EQ(File.SequenceNumber, 9u);
    Append("abc");
    EXPECT_EQ(Scratch_ReadFile(Path), header + "0123456789abc");
}

TEST_F(AuxFile, AFileThatGrewGoesOnAtItsOwnPlace)
{
    InfTR_OpenAuxTraceFile(&File);
    Append("0123456789");
    InfTR_TempCloseTraceFile(&File);
    Scratch_WriteFile(Path, header + "0123456789" + "tail of an old lap");
    InfTR_OpenAuxTraceFile(&File);
    Append("abc");
    EXPECT_EQ(Scratch_ReadFile(Path), header + "0123456789" + "abcl of an old lap");
}

TEST_F(AuxFile, AnEmptiedOrDeletedFileStartsAgain)
{
    for (bool deleted : {false, true}) {
        File.FileStatus = INFTR_FILESTATUS_UNINIT;
        InfTR_OpenAuxTraceFile(&File);
        Append("0123456789");
        InfTR_TempCloseTraceFile(&File);
        File.SequenceNumber = 9;
        if (deleted)
            unlink(Path.c_str());
        else
            Scratch_WriteFile(Path, "");
        InfTR_OpenAuxTraceFile(&File);
        EXPECT_EQ(File.FileStatus, INFTR_FILESTATUS_OPEN);
        EXPECT_EQ(File.SequenceNumber, 0u);
        EXPECT_EQ(File.Position, 16);
        Append("abc");
        EXPECT_EQ(Scratch_ReadFile(Path), header + "abc");
        InfTR_TempCloseTraceFile(&File);
    }
}

TEST_F(AuxFile, AFileThatShrankFails)
{
    InfTR_OpenAuxTraceFile(&File);
    Append("0123456789");
    InfTR_TempCloseTraceFile(&File);
    Scratch_WriteFile(Path, header + "012345678");
    InfTR_OpenAuxTraceFile(&File);
    EXPECT_EQ(File.FileStatus, INFTR_FILESTATUS_FAILED);
    EXPECT_EQ(Scratch_ReadFile(Path), header + "012345678");
}

TEST_F(AuxFile, AFileWithoutAHeaderGetsOne)
{
    InfTR_OpenAuxTraceFile(&File);
    InfTR_TempCloseTraceFile(&File);
    File.Position = 15;
    Scratch_WriteFile(Path, "");
    InfTR_OpenAuxTraceFile(&File);
    EXPECT_EQ(Scratch_ReadFile(Path), header);
}

TEST_F(AuxFile, ANewLimitIsTakenOverWhileThereIsRoomForIt)
{
    const struct {
        i32 Maximum, Left, Now, NewMaximum, NewLeft;
    } rows[] = {
        {10000, 3000, 10000, 10000, 3000}, // unchanged
        {10000, 3000, 12000, 12000, 5000}, // more
        {10000, 3000, 8000, 8000, 1000}, // less
        {10000, 3000, 7001, 7001, 1}, // just enough
        {10000, 3000, 7000, 10000, 3000}, // nothing left: the old limit stays
        {10000, 3000, 0, 10000, 3000}, // no limit cannot come back
        {0, 0, 5000, 5000, 5000}, // a limit where there was none
        {4112, -16, 4129, 4129, 1},        {4112, 4000, 0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF - 112},
    };
    for (const auto &row : rows) {
        File.FileStatus = INFTR_FILESTATUS_UNINIT;
        InfTR_OpenAuxTraceFile(&File);
        InfTR_TempCloseTraceFile(&File);
        File.MaximumSize = row.Maximum;
        File.BytesLeft = row.Left;
        master.TraceMaxSizeAux = row.Now;
        InfTR_OpenAuxTraceFile(&File);
        EXPECT_EQ(File.MaximumSize, row.NewMaximum) << row.Now;
        EXPECT_EQ(File.BytesLeft, row.NewLeft) << row.Now;
        InfTR_TempCloseTraceFile(&File);
        master.TraceMaxSizeAux = 0;
    }
}

TEST_F(AuxFile, AnOpenThatFailsLeavesItsError)
{
    setSystemDirectory(Directory + "/none");
    InfTR_OpenAuxTraceFile(&File);
    EXPECT_EQ(File.FileStatus, INFTR_FILESTATUS_FAILED);
    EXPECT_EQ(File.LastError, ENOENT);
}

TEST_F(AuxFile, ADirectoryThatMayNotBeWrittenFails)
{
    std::filesystem::permissions(Scratch_Root(), std::filesystem::perms(0755));
    std::filesystem::permissions(Directory, std::filesystem::perms(0555));
    const pid_t child = fork();
    if (child == 0) {
        if (getuid() == 0 && setuid(65534) != 0) _exit(2);
        InfTR_OpenAuxTraceFile(&File);
        _exit(File.FileStatus == INFTR_FILESTATUS_FAILED && File.LastError == EACCES ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    std::filesystem::permissions(Directory, std::filesystem::perms(0755));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

static ssize_t failWrite(int, const void *, size_t)
{
    errno = EIO;
    return -1;
}

static ssize_t writeTen(int Descriptor, const void *Data, size_t Size)
{
    errno = 0;
    return write(Descriptor, Data, Size < 10 ? Size : 10);
}

TEST_F(AuxFile, AHeaderThatCannotBeWrittenFailsTheFile)
{
    Case_Faults faults;
    Plat_Sys.Write = failWrite;
    InfTR_OpenAuxTraceFile(&File);
    EXPECT_EQ(File.FileStatus, INFTR_FILESTATUS_FAILED);
    EXPECT_EQ(File.LastError, EIO);

    File.FileStatus = INFTR_FILESTATUS_UNINIT;
    Plat_Sys.Write = writeTen; // a short write is a full disk
    InfTR_OpenAuxTraceFile(&File);
    EXPECT_EQ(File.FileStatus, INFTR_FILESTATUS_FAILED);
    EXPECT_EQ(File.LastError, ENOSPC);
}

TEST_F(AuxFile, ADeadFileStaysDead)
{
    File.FileStatus = INFTR_FILESTATUS_DEAD;
    InfTR_OpenAuxTraceFile(&File);
    EXPECT_EQ(File.FileStatus, INFTR_FILESTATUS_DEAD);
    EXPECT_FALSE(std::filesystem::exists(Path));
}

TEST_F(AuxFile, WrongStatesEndTheProcess)
{
    for (u32 status : {INFTR_FILESTATUS_OPEN, INFTR_FILESTATUS_STOPPED, INFTR_FILESTATUS_FAILED, 6u}) {
        File.FileStatus = status;
        const std::string number = "Invalid FileStatus=" + std::to_string(status);
        EXPECT_EXIT(InfTR_OpenAuxTraceFile(&File), testing::ExitedWithCode(99),
                    "ERZ057002E/0552: .*\\(TraceFilePtr->FileStatus == INFTR_FILESTATUS_CLOSED \\|\\| "
                    "TraceFilePtr->FileStatus == INFTR_FILESTATUS_UNINIT\\)(.|\n)*" +
                        number + " in InfTR_OpenAuxTraceFile");
    }
    for (u32 status : {INFTR_FILESTATUS_UNINIT, INFTR_FILESTATUS_CLOSED, INFTR_FILESTATUS_DEAD}) {
        File.FileStatus = status;
        const std::string number = "Invalid FileStatus=" + std::to_string(status);
        const std::string start = "ERZ057002E/0561: .*\\(TraceFilePtr->FileStatus == INFTR_FILESTATUS_OPEN\\)(.|\n)*";
        EXPECT_EXIT(InfTR_WriteAUXFileHeader(&File), testing::ExitedWithCode(99),
                    start + number + " in InfTR_WriteAUXFileHeader");
        EXPECT_EXIT(InfTR_TempCloseTraceFile(&File), testing::ExitedWithCode(99),
                    start + number + " in InfTR_TempCloseTraceFile");
    }
    File.FileStatus = INFTR_FILESTATUS_UNINIT;
}
