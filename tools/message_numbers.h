#ifndef MESSAGE_NUMBERS_H
#define MESSAGE_NUMBERS_H

// Every message number of the catalogue. Identifiers do not hold the catalogue number, so a look-up by identifier
// needs the list.

#include <cstdint>

// clang-format off
inline constexpr uint32_t Vela_MessageNumbers[] = {
    // trace facility
    0x0C401005, 0x0C402009, 0x0C40300D, 0x0C404011, 0x0C405015, 0x0C406019, 0x0C40701D, 0x0C408020, 0x0C409029,
    0x0C40A02C, 0x0C421089, 0x0C42208D, 0x0C423091, 0x0C424095,
    // message facility
    0x0E402009, 0x0E406019, 0x0E409045, 0x0E40B055, 0x0E40C05A, 0x0E41006A, 0x0E416081,
    // operating-system layer
    0x0E806025, 0x0E80702D, 0x0E8273AE, 0x0E8283B1, 0x0E82B645, 0x0E82D64D, 0x0E82F655, 0x0E830659, 0x0E83A680,
    0x0E83B684, 0x0E83D68E, 0x0E83E691, 0x0E872E51, 0x0E873ED1, 0x0E897F65,
    // texts without identifier
    0x2E83D000, 0x2E83E000, 0x2E840000, 0x2E841000, 0x2E842000, 0x2E843000, 0x2E844000,
};
// clang-format on

#endif
