#ifndef SCREEN_LIBRARY_H
#define SCREEN_LIBRARY_H

// The library's scan and translation, for strings.

#include <string>
#include <vector>

#include "screen_decode.h"

struct Screen_TranslateOptions {
    bool ToAscii = true;
    bool HasCommand = true;
    bool HasPrefix = false;
    int DoubleByteMode = 0; // 0: 2, with a conversion that takes the framing off
    bool KeepFraming = false; // 0 as DoubleByteMode then means: put on on the way to ASCII, taken off on the way back
};

struct Screen_Translated {
    u32 Code;
    std::string Stream;
};

// The stream has at most Screen_LongestStream bytes. After an error Stream is empty; the library has left a symptom on
// standard error.
inline constexpr size_t Screen_LongestStream = 65535;
Screen_Translated Screen_Translate(const std::string &Stream, const Screen_TranslateOptions &Options);

struct Screen_Scanned {
    u32 Code;
    std::string Stream; // rebuilt with the inserted addresses; up to the order that ended the scan
    std::vector<u8> Map;
};
Screen_Scanned Screen_Scan(const std::string &Stream, bool InsertAddresses);

// A code as people read it: "TERBM_ERR_INCOMPLETE_ORDER (0x1F200001), the stream ends inside an order".
std::string Screen_CodeText(u32 Code);

#endif
