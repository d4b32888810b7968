// The vectors of both interfaces: what stands at the places that other programs may read.

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>

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

// ---- a second reader of the layout, that turns a parameter list into text
//
// b boolean, c char, e enum, l long, u unsigned long; * by reference, ^ pointer; $ a string. {SIZE: FIELD@OFFSET ...} is a
// structure, ( ) one that is nested in it, | an alignment to 4; [..8] a fixed bound of 8, [..] one that travels, each with
// what is sent of it: $ up to the end of the string, #2 as many as field or parameter 2 says.

struct VectorReader {
    const u8 *Types;
    const u32 *Offsets;

    u32 Word(u32 at) const { return RemIf_Word(Types, at); }
    static u32 Even(u32 at) { return (at + 3) / 4 * 4; }

    std::string Bound(u32 *at) const
    {
        const u8 kind = Types[*at];
        if (kind == 0x04) {
            EXPECT_EQ(Types[*at + 1], 0x01);
            *at += 2;
            return "$";
        }
        const bool counted = kind == 0x03;
        EXPECT_TRUE(counted || kind == 0x00);
        if (counted) {
            EXPECT_TRUE(Types[*at + 1] == 0x09 || Types[*at + 1] == 0x0D);
        }
        const u32 place = Even(*at + (counted ? 2 : 1));
        *at = place + 4;
        return (counted ? "#" : "") + std::to_string(Word(place));
    }

    std::string Array(u8 code, u32 at) const
    {
        EXPECT_EQ(Types[at], 1u) << "one dimension";
        ++at;
        std::string fixed;
        if (code == 0x15) {
            at = Even(at);
            EXPECT_EQ(Word(at), 0u);
            fixed = ".." + std::to_string(Word(at + 4) + 1) + " ";
            at += 8;
        }
        std::string bounds;
        for (int left = code == 0x17 ? 4 : 2; left != 0; --left) bounds += Bound(&at) + (left == 1 ? "" : ",");
        const std::string element = Type(&at);
        EXPECT_EQ(Types[at], 0xFEu);
        return element + "[" + fixed + bounds + "]";
    }

    std::string Structure(u8 code, u32 at) const
    {
        const u32 *offset = Offsets + Word(at);
        at += code == 0x10 ? 8 : 4;
        std::string out = "{" + std::to_string(*offset++) + ":";
        while (Types[at] != 0xFE) {
            const u8 mark = Types[at];
            const std::string field = Type(&at);
            out += mark == 0x12 || mark == 0x13 || mark == 0x27 ? field : field + "@" + std::to_string(*offset++) + " ";
        }
        return out + "}";
    }

    // One type, its attributes in front; At goes behind it.
    std::string Type(u32 *at) const
    {
        static constexpr struct {
            u8 Code;
            const char *Text;
        } plain[] = {{0x01, "b"}, {0x03, "c"}, {0x05, "e"}, {0x09, "l"}, {0x0D, "u"},
                     {0x12, "("}, {0x13, ")"}, {0x1C, "*"}, {0x21, "$"}, {0x27, "|"}};
        const u8 code = Types[(*at)++];
        for (const auto &row : plain) {
            if (row.Code == code) return row.Text + (code == 0x1C || code == 0x21 ? Type(at) : "");
        }
        *at = Even(*at + 1); // behind the property octet
        const u32 index = Word(*at);
        *at += 4;
        EXPECT_EQ(index % 4, 0u);
        if (code == 0x0F || code == 0x10) return Structure(code, index);
        if (code == 0x1D) {
            u32 pointee = index;
            return "^" + Type(&pointee);
        }
        EXPECT_TRUE(code >= 0x15 && code <= 0x17) << static_cast<int>(code);
        *at += 4;
        return Array(code, index);
    }

    std::string List(u32 count, u32 at) const
    {
        std::string out;
        for (; count != 0; --count) {
            out += std::to_string(Word(at)) + "=";
            at += 4;
            out += Type(&at) + "; ";
            EXPECT_EQ(Types[at++], 0xFEu);
            for (; at % 4 != 0; ++at) EXPECT_EQ(Types[at], 0xFFu);
        }
        return out;
    }

    std::string Operation(u32 number) const
    {
        const u32 row = 64 + 24 * number;
        return List(Word(row + 8), Word(row + 12)) + "-> " + List(Word(row + 16), Word(row + 20));
    }
};

static std::string substituted(std::string text, std::initializer_list<std::pair<const char *, const char *>> names)
{
    for (const auto &[name, meaning] : names) {
        for (size_t at; (at = text.find(name)) != std::string::npos;) text.replace(at, strlen(name), meaning);
    }
    return text;
}

static std::string listenerText(const char *shape)
{
    return substituted(shape, {{"STRING", "*$c[0,$]"},
                               {"NAME", "*$c[..64 0,$]"},
                               {"CODE", "*$c[..5 0,$]"},
                               {"BUFFER", "*{8:|l@0 c[0,#1]@4 }"},
                               {"LARGE", "*{32772:|l@0 c[..32767 0,#1]@4 }"},
                               {"SMALL", "*{1028:|l@0 c[..1024 0,#1]@4 }"}});
}

TEST(TypeVector, TellsTheListenersOperations)
{
    static const char *const rows[] = {
        "2=STRING; 3=STRING; 4=STRING; 5=l; 6=l; 7=BUFFER; 8=BUFFER; -> 9=*u; 0=e; ",
        "2=u; -> 0=e; ",
        "2=NAME; -> 2=NAME; 0=e; ",
        ("2=STRING; 3=STRING; 4=STRING; 5=l; 6=BUFFER; 7=BUFFER; 13=LARGE; 14=SMALL; "
         "-> 8=*u; 9=*b; 10=CODE; 11=*c; 12=CODE; 13=LARGE; 14=SMALL; 0=e; "),
    };
    const VectorReader first = {v1_0.Types, v1_0.Offsets}, second = {v1_1.Types, v1_1.Offsets};
    for (u32 op = 0; op < 3; ++op) EXPECT_EQ(first.Operation(op), listenerText(rows[op])) << op;
    for (u32 op = 0; op < 4; ++op) EXPECT_EQ(second.Operation(op), listenerText(rows[op])) << op;
}

// Longer names first: a record's one letter stands in none of the meanings before it.
static std::string schedulerText(const char *shape)
{
    return substituted(shape,
                       {{"STRING", "*$c[0,$]"},
                        {"NAME", "*$c[..64 0,$]"},
                        {"LIST A", "*^{72:|l@0 A[0,#1]@4 }"},
                        {"LIST B", "*^{144:|l@0 B[0,#1]@4 }"},
                        {"LIST C", "*^{92:|l@0 C[0,#1]@4 }"},
                        {"LIST D", "*^{220:|l@0 D[0,#1]@4 }"},
                        {"LIST E", "*^{72:|l@0 E[0,#1]@4 }"},
                        {"LIST F", "*^{72:|l@0 F[0,#1]@4 }"},
                        {"LIST G", "*^{356:|l@0 G[0,#1]@4 }"},
                        {"BUFFER", "*{12:|l@0 l@4 c[0,#2,0,#1]@8 }"},
                        {"PAIR", "{8:|l@0 l@4 }"},
                        {"STAMP", "{12:|(l@0 l@4 )u@8 }"},
                        {"IDS", "*{8:|u@0 u@4 }[0,#3]"},
                        {"WORDS", "*u[0,#2]"},
                        {"A", "{68:|T@0 u@64 }"},
                        {"B", "{140:|T@0 T@64 u@128 l@132 l@136 }"},
                        {"C", "{88:|T@0 u@64 u@68 u@72 (l@76 l@80 )l@84 }"},
                        {"D", "{216:|T@0 T@64 T@128 |(l@192 l@196 )(l@200 l@204 )l@208 l@212 }"},
                        {"E", "{68:|T@0 l@64 }"},
                        {"F", "{68:|T@0 l@64 }"},
                        {"G", "{352:|u@0 u@4 T@8 T@72 T@136 T@200 T@264 |(l@328 l@332 )(l@336 l@340 )l@344 l@348 }"},
                        {"T", "$c[..64 0,$]"}});
}

TEST(TypeVector, TellsTheSchedulersOperations)
{
    static const char *const rows[38] = {
        ("2=STRING; 3=STRING; 4=STRING; 5=l; 6=PAIR; 7=BUFFER; 9=BUFFER; 10=BUFFER; "
         "-> 8=*u; 9=BUFFER; 10=BUFFER; 0=u; "),
        "2=A; -> 0=u; ",
        "2=A; -> 0=u; ",
        "2=STRING; -> 0=u; ",
        "2=A; -> 3=LIST A; 0=u; ",
        "2=B; -> 0=u; ",
        "2=B; -> 0=u; ",
        "2=STRING; -> 0=u; ",
        "2=STRING; -> 3=LIST B; 0=u; ",
        "2=STRING; -> 0=u; ",
        "2=STRING; 3=PAIR; 4=STAMP; -> 5=*l; 0=u; ",
        "2=C; -> 0=u; ",
        "2=C; -> 0=u; ",
        "2=STRING; -> 0=u; ",
        "2=STRING; -> 3=LIST C; 0=u; ",
        "2=STRING; -> 0=u; ",
        "2=STRING; 3=PAIR; 4=STAMP; 5=l; -> 6=*l; 0=u; ",
        "2=D; -> 0=u; ",
        "2=D; -> 0=u; ",
        "2=STRING; -> 0=u; ",
        "2=STRING; -> 3=LIST D; 0=u; ",
        "2=STRING; -> 0=u; ",
        "2=STRING; 3=PAIR; 4=STAMP; -> 5=*l; 0=u; ",
        "2=E; -> 0=u; ",
        "2=E; -> 0=u; ",
        "2=STRING; -> 0=u; ",
        "2=STRING; -> 3=LIST E; 0=u; ",
        "2=F; -> 0=u; ",
        "2=F; -> 0=u; ",
        "2=STRING; -> 0=u; ",
        "2=STRING; -> 3=LIST F; 0=u; ",
        "2=STRING; 3=STRING; -> 0=u; ",
        "2=STRING; 3=u; 4=STRING; 5=STRING; -> 0=u; ",
        "2=STRING; 3=STRING; -> 0=u; ",
        "2=u; 3=WORDS; -> 4=LIST G; 0=u; ",
        "2=STAMP; 3=u; 4=IDS; -> 4=IDS; 0=u; ",
        "2=PAIR; -> 0=u; ",
        "2=NAME; -> 2=NAME; 0=u; ",
    };
    const VectorReader reader = {ts.Types, ts.Offsets};
    for (u32 op = 0; op < 38; ++op) {
        EXPECT_EQ(reader.Operation(op), schedulerText(rows[op])) << op;
        size_t parameters = 2; // result and binding
        for (u32 number = 2; number < 11; ++number)
            parameters += (std::string(" ") + rows[op]).find(" " + std::to_string(number) + "=") != std::string::npos;
        EXPECT_EQ(RemIf_Word(ts.Types, 64 + 24 * op + 4), parameters) << op;
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
    EXPECT_EQ(ComRL_v1_0_c_epv.Op1, &ComRL_v1_0_Op1);
    void *const *pointers = reinterpret_cast<void *const *>(&ComRL_v1_1_c_epv);
    EXPECT_EQ(pointers[1], reinterpret_cast<void *>(&ComRL_v1_1_Op1));
    EXPECT_EQ(pointers[2], reinterpret_cast<void *>(&ComRL_v1_1_Op2));
    EXPECT_EQ(sizeof ComRL_v1_0_c_epv, 3 * sizeof(void *));
    EXPECT_EQ(sizeof ComRL_v1_1_c_epv, 4 * sizeof(void *));
}
