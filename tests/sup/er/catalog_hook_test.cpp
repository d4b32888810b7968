// The catalogue hook itself: definitions, and that it passes calls on.

#include "catalog_hook.h"

#include <dlfcn.h>

#include <atomic>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "inftr.h"
#include "scratch_root.h"
#include "super_messages.h"
#include "tks_catalog.h"

static std::mutex hookLock;
static std::map<std::pair<u32, u32>, std::string> hookTexts;
static std::atomic<u32> openFailures;
static std::atomic<u32> openCount;
static std::atomic<void (*)()> inNextGet;

void Hook_Reset()
{
    const std::lock_guard guard(hookLock);
    hookTexts.clear();
    openFailures = 0;
    openCount = 0;
    inNextGet = nullptr;
}

void Hook_FailOpens(u32 Count)
{
    openFailures = Count;
}

u32 Hook_OpenCount()
{
    return openCount;
}

void Hook_SetText(u32 MessageNumber, const std::string &Text)
{
    const std::lock_guard guard(hookLock);
    hookTexts[{SUPER_MSG_SET(MessageNumber), SUPER_MSG_CATALOG_NUMBER(MessageNumber)}] = Text;
}

void Hook_InNextGet(void (*Call)())
{
    inNextGet = Call;
}

void onNewThread(void (*Call)())
{
    std::thread([Call] {
        Call();
        InfTR_ThreadExit(INFTR_COMPONENT_SUPER, "onNewThread", 1);
    }).join();
}

u32 tks_catopen(const char *Name, i32 Flag)
{
    ++openCount;
    if (openFailures != 0) {
        if (openFailures != 0xFFFFFFFFu) --openFailures;
        return TKS_CAT_FAILED;
    }
    static auto *const next = reinterpret_cast<decltype(&tks_catopen)>(dlsym(RTLD_NEXT, "tks_catopen"));
    return next(Name, Flag);
}

char *tks_catgets(u32 Catalog, u32 Set, u32 Number, char *Default)
{
    static auto *const next = reinterpret_cast<decltype(&tks_catgets)>(dlsym(RTLD_NEXT, "tks_catgets"));
    void (*const call)() = inNextGet.exchange(nullptr);
    if (call != nullptr) call();

    const std::lock_guard guard(hookLock);
    const auto found = hookTexts.find({Set, Number});
    if (found == hookTexts.end()) return next(Catalog, Set, Number, Default);

    thread_local std::vector<char> memory; // at least 128 bytes that the caller may write, as the real call gives
    memory.assign(found->second.begin(), found->second.end());
    memory.resize(std::max<size_t>(found->second.size() + 1, 128));
    return memory.data();
}

TEST(CatalogHook, PassesCallsOn)
{
    Scratch_MakeRoot();
    Hook_Reset();
    char fallback[] = "none";

    const u32 catalog = tks_catopen("vela.cat", 1);
    ASSERT_NE(catalog, TKS_CAT_FAILED);
    EXPECT_STREQ(tks_catgets(catalog, 49, 9, fallback), "ERZ049010E: Not enough memory for the trace facility");
    EXPECT_EQ(tks_catgets(catalog, 49, 1000, fallback), fallback);
}
