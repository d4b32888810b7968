// PDUs, towers and primitives, octet by octet.

#include <gtest/gtest.h>

#include <cstring>

#include "qrt_int.h"
#include "qrt_pdu.h"
#include "qrt_tower.h"
#include "raw_server.h"

struct Writer {
    rpc_ndr_writer W;
    explicit Writer(bool bigEndian = false) { rpc_ndr_writer_init(&W, room, sizeof room, bigEndian); }
    ~Writer() { rpc_ndr_writer_free(&W); }
    std::string Text() const { return Raw_Text(Octets(W.Data, W.Data + W.Size)); }
    u8 room[256];
};

static std::string hex(const char *digits)
{
    return Raw_Text(Raw_Hex(digits));
}

constexpr uuid_t scheduler = {0x450bc92a, 0xafc8, 0, 0x02, 0xc0, {0x36, 0xe2, 0x10, 0, 0, 0}};

TEST(Pdu, BindIsTheWorkedExample)
{
    Writer out;
    const Qrt_BindHead head = {5840, 5840, 0, 1};
    const Qrt_BindContext context = {0, scheduler, 1, true};
    Qrt_WriteBind(&out.W, QRT_PDU_BIND, 1, &head, &context);
    EXPECT_EQ(out.Text(), hex("05000b03 10000000 4800 0000 01000000  d016 d016 00000000  01 00 0000"
                              "0000 01 00 2ac90b45c8af000002c036e210000000 01000000"
                              "045d888aeb1cc9119fe808002b104860 02000000"));
}

TEST(Pdu, BindAckOfTheWorkedExampleIsRead)
{
    const Octets ack = Raw_Hex("05000c03 10000000 3c00 0000 01000000  b810 d016 45230100  0500 3531363100 00 01 00 0000"
                               "0000 0000  045d888aeb1cc9119fe808002b104860 02000000");
    Qrt_Header header;
    ASSERT_TRUE(Qrt_ReadHeader(ack.data(), &header));
    EXPECT_EQ(header.Length, ack.size());
    rpc_ndr_reader reader;
    Qrt_BodyReader(&reader, ack.data(), &header);
    Qrt_BindHead head;
    Qrt_BindResult result;
    ASSERT_TRUE(Qrt_ReadBindAck(&reader, &head, &result));
    EXPECT_EQ(head.MaxTransmit, 0x10b8);
    EXPECT_EQ(head.MaxReceive, 5840);
    EXPECT_EQ(head.GroupId, 0x12345u);
    EXPECT_EQ(result.Result, QRT_ACCEPTED);
    EXPECT_TRUE(Qrt_UuidEqual(result.Syntax.Id, QRT_NDR_SYNTAX));
}

TEST(Pdu, EveryShorterBindAckIsRefused)
{
    const Octets whole = Raw_BindAck(1);
    for (size_t size = 16; size < whole.size(); ++size) {
        Octets cut(whole.begin(), whole.begin() + static_cast<long>(size));
        cut[8] = static_cast<u8>(size);
        Qrt_Header header;
        ASSERT_TRUE(Qrt_ReadHeader(cut.data(), &header));
        rpc_ndr_reader reader;
        Qrt_BodyReader(&reader, cut.data(), &header);
        Qrt_BindHead head;
        Qrt_BindResult result;
        EXPECT_FALSE(Qrt_ReadBindAck(&reader, &head, &result)) << size;
    }
}

TEST(Pdu, RequestCarriesTheObjectOnlyWithItsFlag)
{
    Writer plain;
    Qrt_WriteRequest(&plain.W, QRT_FLAG_WHOLE, 2, 4, 0, 1, nullptr, 4);
    EXPECT_EQ(plain.Text(), hex("05000003 10000000 1c00 0000 02000000  04000000 0000 0100"));
    Writer object;
    Qrt_WriteRequest(&object.W, QRT_FLAG_WHOLE, 2, 4, 0, 1, &scheduler, 4);
    EXPECT_EQ(object.Text(), hex("05000083 10000000 2c00 0000 02000000  04000000 0000 0100"
                                 "2ac90b45c8af000002c036e210000000"));
}

TEST(Pdu, HeadersOfOtherVersionsAreRefused)
{
    Octets pdu = Raw_Response(1, {});
    Qrt_Header header;
    EXPECT_TRUE(Qrt_ReadHeader(pdu.data(), &header));
    pdu[1] = 1;
    EXPECT_TRUE(Qrt_ReadHeader(pdu.data(), &header));
    pdu[1] = 2;
    EXPECT_FALSE(Qrt_ReadHeader(pdu.data(), &header));
    pdu[1] = 0;
    pdu[0] = 4;
    EXPECT_FALSE(Qrt_ReadHeader(pdu.data(), &header));
    pdu[0] = 5;
    pdu[8] = 15;
    pdu[9] = 0;
    EXPECT_FALSE(Qrt_ReadHeader(pdu.data(), &header));
    pdu[8] = 16;
    pdu[4] = 0x20;
    EXPECT_FALSE(Qrt_ReadHeader(pdu.data(), &header));
}

TEST(Pdu, BothByteOrdersAreRead)
{
    for (const bool big : {false, true}) {
        const Octets fault = Raw_Fault(7, 0x1C010002, 3, {big});
        Qrt_Header header;
        ASSERT_TRUE(Qrt_ReadHeader(fault.data(), &header));
        EXPECT_EQ(header.CallId, 7u);
        EXPECT_EQ(header.Length, 32);
        rpc_ndr_reader reader;
        Qrt_BodyReader(&reader, fault.data(), &header);
        u32 status;
        EXPECT_TRUE(Qrt_ReadFault(&reader, &status));
        EXPECT_EQ(status, 0x1C010002u);
    }
}

// ---- towers

constexpr char exampleTower[] = "0500 1300 0d 5698930096b9b21ca1d210005a4fa441 0100  0200 0000"
                                "1300 0d 045d888aeb1cc9119fe808002b104860 0200  0200 0000"
                                "0100 0b  0200 0000  0100 07  0200 141f  0100 09  0400 7f000001";

TEST(Tower, OfTcpIsTheWorkedExampleBothWays)
{
    const Octets octets = Raw_Hex(exampleTower);
    ASSERT_EQ(octets.size(), 75u);
    Qrt_Tower tower;
    ASSERT_TRUE(Qrt_ReadTower(octets.data(), octets.size(), &tower));
    EXPECT_TRUE(tower.Known);
    EXPECT_EQ(tower.Protocol, QRT_TCP);
    EXPECT_EQ(tower.Port, 5151);
    EXPECT_EQ(tower.Address[0], 127);
    EXPECT_EQ(tower.Interface.uuid.time_low, 0x00939856u);
    EXPECT_EQ(tower.Interface.vers_major, 1);
    u8 out[QRT_TOWER_SIZE];
    const size_t size = Qrt_WriteTower(&tower, out);
    EXPECT_EQ(Raw_Text(Octets(out, out + size)), Raw_Text(octets));
}

TEST(Tower, OfALocalSocketGoesBothWays)
{
    Qrt_Tower tower = {};
    tower.Interface = {scheduler, 1, 2};
    tower.Protocol = QRT_LOCAL;
    strcpy(tower.Path, "/run/x");
    u8 out[QRT_TOWER_SIZE];
    const size_t size = Qrt_WriteTower(&tower, out);
    EXPECT_EQ(Raw_Text(Octets(out + size - 19, out + size)), hex("0100 0b 0200 0000 0100 20 0700 2f72756e2f7800"));
    Qrt_Tower back;
    ASSERT_TRUE(Qrt_ReadTower(out, size, &back));
    EXPECT_TRUE(back.Known);
    EXPECT_STREQ(back.Path, "/run/x");
    EXPECT_EQ(back.Interface.vers_minor, 2);
    out[size - 17] = 0x0c; // the local call protocol of other makers
    EXPECT_TRUE(Qrt_ReadTower(out, size, &back) && back.Known);
}

TEST(Tower, EveryCutIsRefusedAndForeignProtocolsAreUnknown)
{
    const Octets octets = Raw_Hex(exampleTower);
    Qrt_Tower tower;
    for (size_t size = 0; size < octets.size(); ++size) {
        const Octets cut(octets.begin(), octets.begin() + static_cast<long>(size));
        EXPECT_FALSE(Qrt_ReadTower(cut.data(), cut.size(), &tower)) << size;
    }
    Octets udp = octets;
    udp[61] = 0x08;
    ASSERT_TRUE(Qrt_ReadTower(udp.data(), udp.size(), &tower));
    EXPECT_FALSE(tower.Known);
    Octets floors = octets;
    floors[0] = 200;
    EXPECT_FALSE(Qrt_ReadTower(floors.data(), floors.size(), &tower));
}

// ---- primitives

TEST(Ndr, AlignsReadsBothOrdersAndSticksOnFailure)
{
    const Octets data = Raw_Hex("01 ff 0203 04050607");
    rpc_ndr_reader little, big;
    rpc_ndr_reader_init(&little, data.data(), data.size(), QRT_LITTLE_ENDIAN);
    rpc_ndr_reader_init(&big, data.data(), data.size(), QRT_BIG_ENDIAN);
    EXPECT_EQ(rpc_ndr_read_u8(&little), 1);
    EXPECT_EQ(rpc_ndr_read_u16(&little), 0x0302);
    EXPECT_EQ(rpc_ndr_read_u32(&little), 0x07060504u);
    EXPECT_EQ(rpc_ndr_left(&little), 0u);
    EXPECT_EQ(rpc_ndr_read_u8(&little), 0);
    EXPECT_TRUE(little.Failed);
    EXPECT_EQ(rpc_ndr_read_u8(&big), 1);
    EXPECT_EQ(rpc_ndr_read_u16(&big), 0x0203);
    EXPECT_EQ(rpc_ndr_read_u32(&big), 0x04050607u);
}

TEST(Ndr, StringsAreCheckedInEveryCount)
{
    char text[8];
    auto read = [&](const char *digits, int conformant) {
        const Octets data = Raw_Hex(digits);
        rpc_ndr_reader reader;
        rpc_ndr_reader_init(&reader, data.data(), data.size(), QRT_LITTLE_ENDIAN);
        rpc_ndr_read_string(&reader, conformant, text, sizeof text);
        return reader.Failed ? std::string("failed") : std::string(text);
    };
    EXPECT_EQ(read("00000000 03000000 414200", 0), "AB");
    EXPECT_EQ(read("03000000 00000000 03000000 414200", 1), "AB");
    EXPECT_EQ(read("02000000 00000000 03000000 414200", 1), "failed");
    EXPECT_EQ(read("00000000 00000000", 0), "failed");
    EXPECT_EQ(read("01000000 03000000 414200", 0), "failed");
    EXPECT_EQ(read("00000000 02000000 4142", 0), "failed");
    EXPECT_EQ(read("00000000 09000000 414243444546474800", 0), "failed");
    EXPECT_EQ(read("00000000 ffffffff 4142", 0), "failed");
}

TEST(Ndr, WritesWhatItReads)
{
    for (const bool bigEndian : {false, true}) {
        Writer out(bigEndian);
        rpc_ndr_write_u8(&out.W, 7);
        rpc_ndr_write_u32(&out.W, 0x01020304);
        rpc_ndr_write_string(&out.W, 1, "hello");
        rpc_ndr_write_uuid(&out.W, &scheduler);
        for (int at = 0; at < 200; ++at) rpc_ndr_write_u32(&out.W, 9); // past the first room
        ASSERT_FALSE(out.W.Failed);
        rpc_ndr_reader in;
        rpc_ndr_reader_init(&in, out.W.Data, out.W.Size, bigEndian ? QRT_BIG_ENDIAN : QRT_LITTLE_ENDIAN);
        char text[16];
        uuid_t id;
        EXPECT_EQ(rpc_ndr_read_u8(&in), 7);
        EXPECT_EQ(rpc_ndr_read_u32(&in), 0x01020304u);
        rpc_ndr_read_string(&in, 1, text, sizeof text);
        EXPECT_STREQ(text, "hello");
        rpc_ndr_read_uuid(&in, &id);
        EXPECT_TRUE(Qrt_UuidEqual(id, scheduler));
        EXPECT_EQ(rpc_ndr_left(&in), 800u);
    }
}

TEST(Ndr, EbcdicCharactersBecomeAscii)
{
    u8 text[] = {0xC8, 0x85, 0x93, 0x93, 0x96, 0x40, 0xF1};
    rpc_ndr_from_ebcdic(text, sizeof text);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(text), sizeof text), "Hello 1");
}
