// Many threads at once: they open, code and close, load tables under each other, and share a descriptor.

#include <thread>
#include <vector>

#include "icnv_root.h"

namespace
{

struct Work {
    const char *From, *To;
    std::string Source, Wanted;
};

std::vector<Work> makeWork()
{
    std::vector<Work> all;
    const char *const names[] = {"QMX-037", "QMX-500", "QMX-850", "QMX-819", "QMX-1047", "QMX-273", "UCS-2", "UTF-8"};
    for (const char *from : names)
        for (const char *to : names)
            if (from != to) all.push_back({from, to, "", ""});
    all.push_back({"QMX-930", "QMX-943", "", ""});
    all.push_back({"QMX-943", "QMX-930", "", ""});
    all.push_back({"QMX-930", "UTF-8", "", ""});
    all.push_back({"QMX-eucJP", "QMX-930", "", ""});
    return all;
}

std::string textFor(const char *Name)
{
    std::string text;
    for (int i = 0; i < 90; ++i) text += "text of the kind that all sets have: 0123456789. ";
    return strcmp(Name, "UTF-8") == 0 ? text : Icnv_Text(Name, "UTF-8", text);
}

constexpr int threads = 8;

} // namespace

TEST(IcnvThreads, OpenCodeAndCloseAtOnce)
{
    Icnv_UseTables();
    std::vector<Work> all = makeWork();
    for (Work &work : all) work.Source = textFor(work.From), work.Wanted = textFor(work.To);
    // The texts needed the tables of UTF-8 alone: those between the other sets are loaded by whoever comes first.
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t) {
        running.emplace_back([&all, t] {
            for (size_t round = 0; round < 3 * all.size(); ++round) {
                const Work &work = all[(round * 7 + static_cast<size_t>(t) * 5) % all.size()];
                const u32 cd = SupOS_IcnvOpen(work.To, work.From);
                ASSERT_NE(cd, SUPOS_ICNV_FAILED);
                const Icnv_Answer answer = Icnv_Code(cd, work.Source, 3 * work.Source.size() + 16);
                ASSERT_EQ(answer.Code, ICNV_RC_OK);
                ASSERT_EQ(answer.Text, work.Wanted) << work.From << " to " << work.To;
                SupOS_IcnvClose(cd);
            }
        });
    }
    for (std::thread &thread : running) thread.join();
}

TEST(IcnvThreads, ShareADescriptorWhileOthersLoadTables)
{
    Icnv_UseTables();
    const std::string source = textFor("QMX-930");
    const std::string wanted = textFor("QMX-943");
    const u32 shared = Icnv_Open("QMX-943", "QMX-930");
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t) {
        running.emplace_back([&, t] {
            for (int round = 0; round < 40; ++round) {
                if (t % 2 == 0) {
                    ASSERT_EQ(Icnv_Code(shared, source, 3 * source.size()).Text, wanted);
                } else {
                    const std::string to = "QMX-" + std::to_string(1140 + (round + t) % 10);
                    const u32 cd = SupOS_IcnvOpen(to.c_str(), t % 4 == 1 ? "QMX-850" : "QMX-437");
                    ASSERT_NE(cd, SUPOS_ICNV_FAILED) << to;
                    SupOS_IcnvClose(cd);
                }
            }
        });
    }
    for (std::thread &thread : running) thread.join();
}

TEST(IcnvThreads, FirstOpensOfAProcessRace)
{
    Icnv_UseTables();
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t) {
        running.emplace_back([] {
            const u32 cd = SupOS_IcnvOpen("QMX-850", "QMX-037");
            ASSERT_NE(cd, SUPOS_ICNV_FAILED);
            ASSERT_EQ(Icnv_Code(cd, "\xC1").Text, "A");
        });
    }
    for (std::thread &thread : running) thread.join();
}
