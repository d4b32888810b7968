// Many threads at once: guards beside updates, records beside dumps, and files that another thread closes. What is
// looked for beside the counts is what ThreadSanitizer says.

#include <atomic>
#include <map>

#include "trace_case.h"

static auto &master = InfTR_MasterTraceArea;

// Runs Count threads of Body(number), each ending its trace; Beside runs meanwhile until they are done. It runs once
// before they begin and at least once more: on a busy machine they may be done before this thread comes to its turn.
static void together(u32 Count, const std::function<void(u32)> &Body, const std::function<void()> &Beside)
{
    std::atomic<u32> left = Count;
    std::atomic<bool> begun = false;
    std::vector<std::thread> threads;
    for (u32 number = 0; number < Count; ++number) {
        threads.emplace_back([&, number] {
            begun.wait(false);
            Body(number);
            InfTR_ThreadExit(49, "together", 1);
            --left;
        });
    }
    Beside();
    begun = true;
    begun.notify_all();
    do {
        Beside();
    } while (left != 0);
    for (std::thread &thread : threads) thread.join();
}

TEST(Threads, GuardsReadWhileTablesAreUpdated)
{
    Case_Start("-M ON -S ON -t ALL=4");
    std::atomic<u32> taken = 0;
    std::atomic<u32> wrong = 0;
    u32 round = 0;
    together(
        3,
        [&](u32) {
            for (int turn = 0; turn < 200000; ++turn) {
                taken += InfTR_Guard(58, INFTR_CLASS_ENTRY) != 0 ? 1 : 0;
                wrong += InfTR_Guard(57, INFTR_CLASS_ENTRY) != 0 ? 0 : 1; // at level 4 in every table
            }
        },
        [&] {
            char on[] = "-M ON -S ON -X ON -a 5000 -t ALL=4";
            char off[] = "-X OFF -a 0 -t ALL=4,SUPOS=0";
            if (round++ % 2 == 0)
                InfTR_UpdateMasterTrace(&master, off, 0);
            else
                InfTR_UpdateMasterTrace(&master, on, 0);
        });
    EXPECT_EQ(wrong, 0u);
    EXPECT_GT(round, 1u);
}

TEST(Threads, RecordsOfAllThreadsReachTheRingWhole)
{
    Case_Start("-b 4194304 -B ON -M ON -S ON -t ALL=0");
    together(
        4,
        [](u32 number) {
            for (u32 id = 0; id < 2000; ++id)
                InfTR_TraceEvent(58, number << 16 | id, id % 200, std::string(200, 'r').data());
        },
        [] { std::this_thread::yield(); });
    std::map<u32, u32> next;
    for (const Ring_Record &record : Ring_Records()) {
        ASSERT_EQ(record.Header.Class, INFTR_CLASS_EVENT);
        const u32 number = record.Point >> 16;
        ASSERT_EQ(record.Point & 0xFFFF, next[number]++);
    }
    for (u32 number = 0; number < 4; ++number) EXPECT_EQ(next[number], 2000u);
}

TEST(Threads, ADumpHoldsWholeRecordsWhileOthersTrace)
{
    const std::string directory = Case_Directory();
    Case_Start(("-b 65536 -B ON -M ON -S ON -t ALL=0 -d " + directory).c_str(), "prog", "REG");
    Case_InThread([] { InfTR_TraceEvent(58, 0, 0, nullptr); }); // no dump finds the ring empty
    Case_Stderr([&] {
        std::atomic<u32> dumps = 0;
        together(
            2,
            [&](u32 number) { // on until some dumps were taken beside it
                for (u32 id = 0; id < 20000 || dumps < 3; ++id) {
                    InfTR_TraceEvent(58, number << 16 | (id & 0xFFFF), id % 200, std::string(200, 'r').data());
                }
            },
            [&] {
                if (dumps < 50)
                    InfTR_DumpRingBuffer(dumps++, nullptr);
                else
                    std::this_thread::yield();
            });
    });
    size_t files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        const std::string content = Scratch_ReadFile(entry.path());
        ASSERT_EQ(content.size(), 65536u + 36u);
        InfTR_RingHeader header;
        memcpy(&header, content.data(), sizeof header);
        EXPECT_EQ(header.RingOffset + header.RingFree, 65536);
        size_t bytes = 0;
        for (const Ring_Record &record : Ring_RecordsOfImage(content.data(), content.size())) {
            EXPECT_EQ(record.Header.Class, INFTR_CLASS_EVENT);
            bytes += 56u + record.Header.DataLength;
        }
        EXPECT_GT(bytes + 8192, static_cast<size_t>(header.RingOffset));
        ++files;
    }
    EXPECT_GT(files, 0u);
}

// The bytes of an event are told by its number, so a reader knows every one of them.
static void fillEvent(u32 Id, u8 (&Bytes)[120])
{
    for (size_t at = 0; at < sizeof Bytes; ++at) Bytes[at] = static_cast<u8>(Id * 31 + at);
}

static u32 eventLength(u32 Id)
{
    return Id * 7 % 121;
}

// Every record of a dump is whole, and each thread's records follow one another without a gap.
static size_t checkDump(const std::string &Content)
{
    std::map<u32, u32> last;
    size_t count = 0;
    for (const Ring_Record &record : Ring_RecordsOfImage(Content.data(), Content.size())) {
        EXPECT_EQ(record.Header.Class, INFTR_CLASS_EVENT);
        const u32 number = record.Point >> 24, id = record.Point & 0xFFFFFF;
        EXPECT_TRUE(last.count(number) == 0 || id == last[number] + 1) << number << ": " << last[number] << ", " << id;
        last[number] = id;
        u8 expected[120];
        fillEvent(id, expected);
        const u32 length = eventLength(id);
        EXPECT_EQ(record.Header.DataLength, (4 + length + 3) & ~3u);
        EXPECT_EQ(memcmp(record.Data.data() + 4, expected, length), 0);
        EXPECT_LT(record.Header.NanoSeconds, 1000000000u);
        ++count;
        if (testing::Test::HasFailure()) break;
    }
    return count;
}

// VELA_TEST_SECONDS says for how long.
TEST(Threads, DumpsOfEightBusyThreadsHoldEveryRecord)
{
    const char *const asked = getenv("VELA_TEST_SECONDS");
    const auto length = std::chrono::seconds(asked != nullptr ? atoi(asked) : 2);
    const std::string directory = Case_Directory();
    Case_Start(("-b 262144 -B ON -M ON -S ON -t ALL=0 -d " + directory).c_str(), "prog", "REG");
    Case_InThread([] { InfTR_TraceEvent(58, 9 << 24, 0, nullptr); }); // no dump finds the ring empty
    const auto end = std::chrono::steady_clock::now() + length;
    std::atomic<u64> written = 0;
    u32 dumps = 0;
    Case_Stderr([&] {
        together(
            8,
            [&](u32 number) {
                u8 bytes[120];
                u32 id = 0;
                for (; std::chrono::steady_clock::now() < end; ++id) {
                    fillEvent(id, bytes);
                    InfTR_TraceEvent(58, number << 24 | (id & 0xFFFFFF), eventLength(id), bytes);
                }
                written += id;
            },
            [&] {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                InfTR_DumpRingBuffer(dumps++, nullptr);
            });
    });
    size_t files = 0, records = 0;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        records += checkDump(Scratch_ReadFile(entry.path()));
        ++files;
    }
    EXPECT_EQ(files, dumps);
    EXPECT_GT(records, files * 1000);
    EXPECT_GT(written, records / 2);
    EXPECT_GE(dumps, static_cast<u32>(length.count()) * 3);
}

TEST(Threads, FilesAreClosedUnderTheHandsOfTheirThreads)
{
    const std::string directory = Case_Directory();
    Case_Start(("-A ON -M ON -S ON -t ALL=0 -d " + directory).c_str(), "prog", "REG");
    constexpr u32 records = 3000;
    together(
        4,
        [](u32 number) {
            for (u32 id = 0; id < records; ++id)
                InfTR_TraceEvent(58, number << 16 | id, id % 50, std::string(50, 'r').data());
        },
        [] {
            InfTR_ControlAux(INFTR_COMMAND_CLOSE_FILES);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        });
    EXPECT_EQ(InfTR_CachePtr->ThreadFileList, nullptr);
    size_t files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        const std::string content = Scratch_ReadFile(entry.path());
        const std::vector<Ring_Record> found =
            Ring_RecordsOfBytes(reinterpret_cast<const u8 *>(content.data()) + 16, content.size() - 16);
        ASSERT_EQ(found.size(), records);
        for (u32 id = 0; id < records; ++id) {
            ASSERT_EQ(found[id].Point & 0xFFFF, id);
            ASSERT_EQ(found[id].Header.SequenceNumber, id + 1);
        }
        ++files;
    }
    EXPECT_EQ(files, 4u);
}

TEST(Threads, OptionsChangeBesideFilesThatOpen)
{
    const std::string first = Case_Directory();
    const std::string second = Case_Directory();
    Case_Start(("-A ON -B ON -M ON -S ON -t INFTR=1 -a 5000 -d " + first).c_str());
    u32 round = 0;
    together(
        3,
        [](u32) {
            for (int turn = 0; turn < 60; ++turn) {
                Case_InThread([] {
                    for (u32 id = 0; id < 20; ++id) InfTR_TraceEvent(58, id, 300, std::string(300, 'o').data());
                });
            }
        },
        [&] {
            std::string options = "-d " + (round % 2 == 0 ? second : first) + " -a " + std::to_string(5000 + round % 9);
            options += round % 5 == 0 ? " -A OFF" : " -A ON";
            ++round;
            InfTR_UpdateMasterTrace(&master, options.data(), 0);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        });
    for (const std::string &directory : {first, second}) {
        for (const auto &entry : std::filesystem::directory_iterator(directory)) {
            EXPECT_EQ(entry.path().extension(), ".velatrc");
        }
    }
    EXPECT_EQ(InfTR_CachePtr->ThreadFileList, nullptr);
}

TEST(Threads, DumpIndexesAreGivenOutOnce)
{
    Case_Start(nullptr);
    std::vector<std::vector<i32>> given(4);
    together(
        4,
        [&](u32 number) {
            for (int turn = 0; turn < 1000; ++turn) given[number].push_back(InfTR_GetNextDumpIndex());
        },
        [] { std::this_thread::yield(); });
    std::vector<int> seen(4000);
    for (const auto &list : given) {
        for (i32 index : list) {
            ASSERT_TRUE(index >= 0 && index < 4000);
            EXPECT_EQ(seen[static_cast<size_t>(index)]++, 0);
        }
    }
}
