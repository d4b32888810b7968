// Several threads that log and store symptoms at once: every line comes out whole, every symptom keeps its two lines
// together, and no thread sees the block of another.

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include "capture.h"
#include "catalog_hook.h"
#include "ring_reader.h"
#include "scratch_root.h"
#include "super_int.h"
#include "super_logging.h"
#include "super_symptoms.h"

static constexpr int threadCount = 6;
static constexpr int roundCount = 100;

static void eachThread(void (*Call)(int Thread))
{
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([Call, i] {
            Call(i);
            InfTR_ThreadExit(INFTR_COMPONENT_SUPER, "eachThread", 1);
        });
    for (std::thread &thread : threads) thread.join();
}

TEST(SupER_Threads, LogSideBySide)
{
    Scratch_MakeRoot();
    Hook_Reset();
    const std::string err = Capture_Stderr([] {
        eachThread([](int Thread) {
            const std::string name = "thread " + std::to_string(Thread);
            for (int i = 1; i <= roundCount; ++i)
                SupER_Log(SUPER_CONSOLE, 0x0C40701D, i, "write", name.c_str(), Thread);
        });
    });
    std::map<std::string, int> lines;
    std::istringstream text(err);
    for (std::string line; std::getline(text, line);) ++lines[line];
    EXPECT_EQ(lines.size(), static_cast<size_t>(threadCount * roundCount));
    for (int thread = 0; thread < threadCount; ++thread) {
        for (int i = 1; i <= roundCount; ++i) {
            char line[128];
            snprintf(line, sizeof line, "ERZ049007E/%.4d: Cannot write the trace dump file 'thread %d': error %d", i,
                     thread, thread);
            EXPECT_EQ(lines[line], 1) << line;
        }
    }
}

TEST(SupER_Threads, StoreSymptomsSideBySide)
{
    Scratch_MakeRoot();
    Hook_Reset();
    Ring_TraceOn("SUPER=4");
    const std::string err = Capture_Stderr([] {
        eachThread([](int Thread) {
            for (int i = 1; i <= roundCount; ++i) {
                SupER_FormatDiag("thread %d round %d", Thread, i);
                SupER_StoreSymptom("someFunction", SupER_ServiceLevel57, Thread, 0x0E406019, i, SUPER_SOURCE_ASSERTION,
                                   0, 0, SUPER_SECONDARY_MARKER);
                SupER_FlushSymptom();
                SupER_Log(SUPER_CONSOLE, 0x0C408020, i, "f");
            }
        });
    });
    int count = 0;
    std::istringstream text(err);
    for (std::string line, second; std::getline(text, line);) {
        if (!line.starts_with("SYMPTOMS = ")) continue;
        ++count;
        int thread = -1, round = -1;
        ASSERT_EQ(sscanf(line.c_str() + line.find(" LINE/"), " LINE/%d MS/057006 MSN/%d ", &thread, &round), 2) << line;
        EXPECT_TRUE(line.ends_with(" TID/0 PROC/")) << line;
        std::getline(text, second);
        EXPECT_EQ(second, "SECONDARY SYMPTOMS = thread " + std::to_string(thread) + " round " + std::to_string(round));
        std::getline(text, second);
        EXPECT_EQ(second, "");
    }
    EXPECT_EQ(count, threadCount * roundCount);
}

TEST(SupER_Threads, MakeTheirFirstBlocksAtOnce)
{
    Scratch_MakeRoot();
    Hook_Reset();
    static SupERData *blocks[threadCount];
    eachThread([](int Thread) {
        blocks[Thread] = SupER_GetData();
        EXPECT_EQ(SupER_GetData(), blocks[Thread]);
        EXPECT_NE(blocks[Thread]->Catalog, SUPER_NOT_OPEN);
        char text[128];
        u32 size = sizeof text;
        EXPECT_EQ(SupER_GetMessage(text, &size, SUPER_FORMAT_BODY, 0x0C409029), ERZ_OK);
        EXPECT_STREQ(text, "Not enough memory for the trace facility");
    });
}
