// Unique identifiers: random ones, text, comparison.

#include "uuid.h"

#include "qrt_int.h"
#include "rpc_status.h"

#include <sys/random.h>

#include <cctype>
#include <cstdio>
#include <cstring>

constexpr size_t uuidTextSize = 36;

void uuid_create(uuid_t *Uuid, u32 *Status)
{
    if (getrandom(Uuid, sizeof *Uuid, 0) != static_cast<ssize_t>(sizeof *Uuid)) {
        memset(Uuid, 0, sizeof *Uuid);
        *Status = uuid_s_internal_error;
        return;
    }
    Uuid->time_hi_and_version = static_cast<u16>((Uuid->time_hi_and_version & 0x0FFF) | 0x4000);
    Uuid->clock_seq_hi_and_reserved = static_cast<u8>((Uuid->clock_seq_hi_and_reserved & 0x3F) | 0x80);
    *Status = uuid_s_ok;
}

void uuid_create_nil(uuid_t *Uuid, u32 *Status)
{
    memset(Uuid, 0, sizeof *Uuid);
    *Status = uuid_s_ok;
}

i32 uuid_is_nil(const uuid_t *Uuid, u32 *Status)
{
    static constexpr uuid_t nil = {};
    *Status = uuid_s_ok;
    return Uuid == nullptr || memcmp(Uuid, &nil, sizeof nil) == 0;
}

i32 uuid_equal(const uuid_t *One, const uuid_t *Other, u32 *Status)
{
    static constexpr uuid_t nil = {};
    *Status = uuid_s_ok;
    return memcmp(One ? One : &nil, Other ? Other : &nil, sizeof nil) == 0;
}

void Qrt_UuidText(const uuid_t *Uuid, char *Text)
{
    const u8 *node = Uuid->node;
    snprintf(Text, QRT_UUID_TEXT, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", Uuid->time_low, Uuid->time_mid,
             Uuid->time_hi_and_version, Uuid->clock_seq_hi_and_reserved, Uuid->clock_seq_low, node[0], node[1], node[2],
             node[3], node[4], node[5]);
}

void uuid_to_string(const uuid_t *Uuid, unsigned char **Text, u32 *Status)
{
    char text[QRT_UUID_TEXT];
    Qrt_UuidText(Uuid, text);
    *Text = Qrt_NewString(text);
    *Status = *Text ? uuid_s_ok : rpc_s_no_memory;
}

static int hexDigit(unsigned char character)
{
    if (character >= '0' && character <= '9') return character - '0';
    const int small = tolower(character);
    return small >= 'a' && small <= 'f' ? small - 'a' + 10 : -1;
}

// The 16 octets in the order of the text; false for anything but 8-4-4-4-12 digits.
static bool readDigits(const unsigned char *text, u8 *octets)
{
    if (strlen(reinterpret_cast<const char *>(text)) != uuidTextSize) return false;
    size_t octet = 0;
    for (size_t at = 0; at < uuidTextSize;) {
        if (at == 8 || at == 13 || at == 18 || at == 23) {
            if (text[at++] != '-') return false;
            continue;
        }
        const int high = hexDigit(text[at]);
        const int low = hexDigit(text[at + 1]);
        if (high < 0 || low < 0) return false;
        octets[octet++] = static_cast<u8>(high * 16 + low);
        at += 2;
    }
    return true;
}

void uuid_from_string(const unsigned char *Text, uuid_t *Uuid, u32 *Status)
{
    memset(Uuid, 0, sizeof *Uuid);
    *Status = uuid_s_ok;
    if (Text == nullptr || *Text == '\0') return;
    u8 octets[16];
    if (!readDigits(Text, octets)) {
        *Status = uuid_s_invalid_string_uuid;
        return;
    }
    Uuid->time_low = static_cast<u32>(octets[0]) << 24 | static_cast<u32>(octets[1]) << 16 |
                     static_cast<u32>(octets[2]) << 8 | octets[3];
    Uuid->time_mid = static_cast<u16>(octets[4] << 8 | octets[5]);
    Uuid->time_hi_and_version = static_cast<u16>(octets[6] << 8 | octets[7]);
    Uuid->clock_seq_hi_and_reserved = octets[8];
    Uuid->clock_seq_low = octets[9];
    memcpy(Uuid->node, octets + 10, sizeof Uuid->node);
}
