// The vectors of both interfaces: what stands at the places that other programs may read.

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "listener_interface.h"
#include "raw_server.h"
#include "scheduler_interface.h"

static constexpr RemIf_Vectors v1_0 = RemIf_Build<listenerLength_v1_0>(listener_v1_0);
static constexpr RemIf_Vectors v1_1 = RemIf_Build<listenerLength_v1_1>(listener_v1_1);
static constexpr RemIf_Vectors ts = RemIf_Build<schedulerLength>(scheduler);

template <u32 Length>
static void checkHeader(const RemIf_Vectors<Length> &v, const char *versions, const char *id, u32 count)
{
    const Octets head(v.Types, v.Types + 64);
    EXPECT_EQ(Raw_Text(head).substr(0, 24), "ffffffff0100ffff03000200");
    EXPECT_EQ(Raw_Text(head).substr(24, 8), versions);
    EXPECT_EQ(Raw_Text(head).substr(32, 32), id);
    EXPECT_EQ(RemIf_Word(v.Types, 32), 0u);
    EXPECT_EQ(RemIf_Word(v.Types, 36), 4u);
    EXPECT_EQ(RemIf_Word(v.Types, 40), Length);
    EXPECT_EQ(Raw_Text(head).substr(88, 32), std::string(32, 'f'));
    EXPECT_EQ(RemIf_Word(v.Types, 60), count);
    EXPECT_LE(v.Used, Length);
    for (u32 at = v.Used; at < Length; ++at) ASSERT_EQ(v.Types[at], 0xFF);
}

TEST(TypeVector, HasTheHeaderAndLengthOfItsInterface)
{
    static_assert(sizeof v1_0.Types == 0x208 && sizeof v1_1.Types == 0x410 && sizeof ts.Types == 0x1270);
    checkHeader(v1_0, "01000000", "5698930096b9b21ca1d210005a4fa441", 3);
    checkHeader(v1_1, "01000100", "5698930096b9b21ca1d210005a4fa441", 4);
    checkHeader(ts, "01000000", "2ac90b45c8af000002c036e210000000", 38);
}

TEST(TypeVector, RowsCountParametersAndPointAtTheirLists)
{
    static const u32 listener[][3] = {{10, 7, 2}, {3, 1, 1}, {3, 1, 2}, {15, 8, 8}}; // parameters, inputs, outputs
    for (u32 op = 0; op < 4; ++op) {
        const u32 row = 64 + op * 24;
        EXPECT_EQ(RemIf_Word(v1_1.Types, row), 0u);
        EXPECT_EQ(RemIf_Word(v1_1.Types, row + 4), listener[op][0]) << op;
        EXPECT_EQ(RemIf_Word(v1_1.Types, row + 8), listener[op][1]) << op;
        EXPECT_EQ(RemIf_Word(v1_1.Types, row + 16), listener[op][2]) << op;
    }
    for (u32 op = 0; op < 38; ++op) {
        const u32 row = 64 + op * 24;
        const u32 input = RemIf_Word(ts.Types, row + 12);
        const u32 output = RemIf_Word(ts.Types, row + 20);
        EXPECT_EQ(input % 4, 0u);
        EXPECT_LT(output, ts.Used);
        EXPECT_EQ(RemIf_Word(ts.Types, input), 2u) << "the first argument comes first";
    }
}

TEST(Specification, IsTheRecordOf68Bytes)
{
    static_assert(sizeof(rpc_if_rep_t) == 68);
    auto text = [](rpc_if_handle_t record) {
        const u8 *at = reinterpret_cast<const u8 *>(record);
        return Raw_Text(Octets(at, at + 68));
    };
    const std::string tail = "045d888aeb1cc9119fe808002b104860"
                             "02000000" +
                             std::string(48, '0');
    EXPECT_EQ(text(ComRL_v1_0_c_ifspec), "44000000"
                                         "5698930096b9b21ca1d210005a4fa441"
                                         "01000000" +
                                             tail);
    EXPECT_EQ(text(ComRL_v1_1_c_ifspec), "44000000"
                                         "5698930096b9b21ca1d210005a4fa441"
                                         "01000100" +
                                             tail);
    EXPECT_EQ(text(ts_v1_0_c_ifspec), "44000000"
                                      "2ac90b45c8af000002c036e210000000"
                                      "01000000" +
                                          tail);
}

TEST(EntryVectors, HoldTheStubsInOperationOrder)
{
    EXPECT_EQ(ComRL_v1_0_c_epv.Op0, &ComRL_v1_0_Op0);
    EXPECT_EQ(ComRL_v1_0_c_epv.Op2, &ComRL_v1_0_Op2);
    EXPECT_EQ(ComRL_v1_1_c_epv.Op0, &ComRL_v1_1_Op0);
    EXPECT_EQ(ComRL_v1_1_c_epv.Op3, &ComRL_v1_1_Op3);
    void *const *pointers = reinterpret_cast<void *const *>(&ComRL_v1_1_c_epv);
    EXPECT_EQ(pointers[1], reinterpret_cast<void *>(&ComRL_v1_1_Op1));
}
