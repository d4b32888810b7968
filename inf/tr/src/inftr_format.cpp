// The formatter of entry and mid-point texts: what vsnprintf writes, for a fraction of its cost.
//
// Entry texts use a handful of directives, mostly %p, %u, %d and %s without flags. These are written here, straight into
// the record, with all their flags, widths, precisions and lengths. For everything else (floating point, wide
// characters, %n, %o, positions, grouping), for a null text, and for a text that does not fit, the formatter gives up
// and vsnprintf starts afresh: there is one truth about a format, and no second one has to be complete.

#include <emmintrin.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "inftr_int.h"

constexpr i32 NONE = -1; // no precision
constexpr i32 WIDEST = 4096; // of widths and precisions; a wider one does not fit anyway
constexpr i32 LARGEST_PRECISION = 1 << 20; // of an argument
constexpr size_t LONGEST_NUMBER = 24; // digits, and sign or base prefix, of 64 bits

struct Directive {
    bool Left, Plus, Blank, Base, Zero;
    i32 Width;
    i32 Precision; // NONE without one
};

// Where the text goes. End leaves room for the terminator.
struct Target {
    char *At;
    char *End;
};

static inline size_t roomOf(const Target &Out)
{
    return static_cast<size_t>(Out.End - Out.At);
}

// ---- digits ----

constexpr auto digitPairs = [] {
    struct {
        char Text[200];
    } pairs = {};
    for (u32 number = 0; number < 100; ++number) {
        pairs.Text[2 * number] = static_cast<char>('0' + number / 10);
        pairs.Text[2 * number + 1] = static_cast<char>('0' + number % 10);
    }
    return pairs;
}();

constexpr u64 powersOfTen[20] = {
    1,
    10,
    100,
    1000,
    10000,
    100000,
    1000000,
    10000000,
    100000000,
    1000000000,
    10000000000,
    100000000000,
    1000000000000,
    10000000000000,
    100000000000000,
    1000000000000000,
    10000000000000000,
    100000000000000000,
    1000000000000000000,
    10000000000000000000u,
};

// Bits times log 2 is the length or one less than it.
template <class Number>
static inline size_t decimalLength(Number Value)
{
    const size_t bits = 64 - static_cast<size_t>(__builtin_clzll(Value | 1));
    const size_t guess = bits * 1233 >> 12;
    return guess + (Value >= powersOfTen[guess]) + (Value == 0);
}

// Writes the decimal digits of a value, the last ones first, and returns how many.
template <class Number>
static inline size_t putDecimal(char *Out, Number Value)
{
    const size_t length = decimalLength(Value);
    char *at = Out + length;
    for (; Value >= 100; Value /= 100) memcpy(at -= 2, digitPairs.Text + Value % 100 * 2, 2);
    if (Value >= 10)
        memcpy(at - 2, digitPairs.Text + Value * 2, 2);
    else
        at[-1] = static_cast<char>('0' + Value);
    return length;
}

// The same in hexadecimal: all sixteen digits at once, the first one that counts in front. Writes all of Out.
static inline size_t hexadecimal(char (&Out)[LONGEST_NUMBER], u64 Value, bool Capital)
{
    const size_t length = (67 - static_cast<size_t>(__builtin_clzll(Value | 1))) / 4;
    const u64 bytes = __builtin_bswap64(Value << (64 - 4 * length));
    const u64 halves = 0x0F0F0F0F0F0F0F0F;
    const __m128i digits = _mm_unpacklo_epi8(_mm_cvtsi64_si128(static_cast<i64>(bytes >> 4 & halves)),
                                             _mm_cvtsi64_si128(static_cast<i64>(bytes & halves)));
    const __m128i letters =
        _mm_and_si128(_mm_cmpgt_epi8(digits, _mm_set1_epi8(9)), _mm_set1_epi8(Capital ? 'A' - '9' - 1 : 'a' - '9' - 1));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(Out), _mm_add_epi8(_mm_add_epi8(digits, _mm_set1_epi8('0')), letters));
    return length;
}

// ---- the parts of a text ----

static bool putText(Target *Out, const char *Text, size_t Length)
{
    if (Length > roomOf(*Out)) return false;
    InfTR_CopyShort(Out->At, Text, Length);
    Out->At += Length;
    return true;
}

static bool putFill(Target *Out, char Fill, i32 Count)
{
    if (Count <= 0) return true;
    if (static_cast<size_t>(Count) > roomOf(*Out)) return false;
    memset(Out->At, Fill, static_cast<size_t>(Count));
    Out->At += Count;
    return true;
}

// A text between the blanks that its width asks for.
static bool putPadded(Target *Out, const Directive &How, const char *Text, size_t Length)
{
    if (How.Width == 0) return putText(Out, Text, Length);
    const i32 blanks = How.Width - static_cast<i32>(Length);
    return putFill(Out, ' ', How.Left ? 0 : blanks) && putText(Out, Text, Length) &&
           putFill(Out, ' ', How.Left ? blanks : 0);
}

// A number: blanks, sign or base, zeros, digits, blanks.
static bool putNumber(Target *Out, const Directive &How, const char *Prefix, const char *Digits, size_t Length)
{
    const i32 prefix = static_cast<i32>(strlen(Prefix));
    const i32 digits = static_cast<i32>(Length);
    i32 zeros = How.Precision > digits ? How.Precision - digits : 0;
    i32 blanks = How.Width - prefix - zeros - digits;
    if (How.Zero && !How.Left && How.Precision == NONE && blanks > 0) {
        zeros = blanks;
        blanks = 0;
    }
    return putFill(Out, ' ', How.Left ? 0 : blanks) && putText(Out, Prefix, static_cast<size_t>(prefix)) &&
           putFill(Out, '0', zeros) && putText(Out, Digits, Length) && putFill(Out, ' ', How.Left ? blanks : 0);
}

static bool putSigned(Target *Out, const Directive &How, i64 Value)
{
    const u64 size = Value < 0 ? 0 - static_cast<u64>(Value) : static_cast<u64>(Value);
    char digits[LONGEST_NUMBER];
    const size_t length = Value == 0 && How.Precision == 0 ? 0 : putDecimal(digits, size);
    return putNumber(Out, How, Value < 0 ? "-" : How.Plus ? "+" : How.Blank ? " " : "", digits, length);
}

static bool putUnsigned(Target *Out, const Directive &How, u64 Value)
{
    char digits[LONGEST_NUMBER];
    const size_t length = Value == 0 && How.Precision == 0 ? 0 : putDecimal(digits, Value);
    return putNumber(Out, How, "", digits, length);
}

static bool putHex(Target *Out, const Directive &How, u64 Value, bool Capital)
{
    const bool based = How.Base && Value != 0;
    char digits[LONGEST_NUMBER];
    size_t length = hexadecimal(digits, Value, Capital);
    if (Value == 0 && How.Precision == 0) length = 0;
    return putNumber(Out, How, !based ? "" : Capital ? "0X" : "0x", digits, length);
}

// ---- directives ----

enum Length : u8 { LENGTH_CHAR, LENGTH_SHORT, LENGTH_INT, LENGTH_LONG };

static const char *readFlags(const char *At, Directive *How)
{
    for (;; ++At) {
        switch (*At) {
        case '-': How->Left = true; break;
        case '+': How->Plus = true; break;
        case ' ': How->Blank = true; break;
        case '#': How->Base = true; break;
        case '0': How->Zero = true; break;
        default: return At;
        }
    }
}

// A width or precision in digits; more than WIDEST is cut there, for the text will not fit.
static const char *readNumber(const char *At, i32 *Number)
{
    i32 value = 0;
    for (; *At >= '0' && *At <= '9'; ++At) {
        if (value < WIDEST) value = value * 10 + (*At - '0');
    }
    *Number = value;
    return At;
}

static const char *readLength(const char *At, Length *Size)
{
    switch (*At) {
    case 'h': *Size = At[1] == 'h' ? LENGTH_CHAR : LENGTH_SHORT; return At + (At[1] == 'h' ? 2 : 1);
    case 'l': *Size = LENGTH_LONG; return At + (At[1] == 'l' ? 2 : 1);
    case 'z':
    case 'j':
    case 't': *Size = LENGTH_LONG; return At + 1;
    default: *Size = LENGTH_INT; return At;
    }
}

static i64 signedArgument(InfTR_Arguments *From, Length Size)
{
    if (Size == LENGTH_LONG) return va_arg(From->List, i64);
    const i32 value = va_arg(From->List, i32);
    return Size == LENGTH_INT ? value : Size == LENGTH_SHORT ? static_cast<i16>(value) : static_cast<i8>(value);
}

static u64 unsignedArgument(InfTR_Arguments *From, Length Size)
{
    if (Size == LENGTH_LONG) return va_arg(From->List, u64);
    const u32 value = va_arg(From->List, u32);
    return Size == LENGTH_INT ? value : Size == LENGTH_SHORT ? static_cast<u16>(value) : static_cast<u8>(value);
}

// Width and precision, either as digits or as an argument. Nullptr for what cannot fit.
static const char *readSizes(const char *At, Directive *How, InfTR_Arguments *From)
{
    if (*At == '*') {
        ++At;
        How->Width = va_arg(From->List, i32);
        if (How->Width < -WIDEST) return nullptr;
        if (How->Width < 0) {
            How->Left = true;
            How->Width = -How->Width;
        }
    } else {
        At = readNumber(At, &How->Width);
    }
    if (*At == '.') {
        ++At;
        if (*At == '*') {
            ++At;
            How->Precision = va_arg(From->List, i32);
            if (How->Precision > LARGEST_PRECISION) return nullptr;
            if (How->Precision < 0) How->Precision = NONE;
        } else {
            At = readNumber(At, &How->Precision);
        }
    }
    return At;
}

static bool putString(Target *Out, const Directive &How, const char *Text)
{
    if (Text == nullptr || How.Zero) return false;
    return putPadded(Out, How, Text,
                     How.Precision == NONE ? strlen(Text) : strnlen(Text, static_cast<size_t>(How.Precision)));
}

static bool putPointer(Target *Out, Directive How, const void *Pointer)
{
    if (Pointer == nullptr || How.Plus || How.Blank) return false;
    How.Base = true;
    return putHex(Out, How, reinterpret_cast<uintptr_t>(Pointer), false);
}

// Writes one directive, from behind its percent sign. Returns where it ends, nullptr when it is not one of these.
static __attribute__((noinline)) const char *putDirective(Target *Out, const char *At, InfTR_Arguments *From)
{
    if (*At == '%') return putText(Out, At, 1) ? At : nullptr;

    Directive how = {false, false, false, false, false, 0, NONE};
    Length size = LENGTH_INT;
    At = readSizes(readFlags(At, &how), &how, From);
    if (At == nullptr) return nullptr;
    At = readLength(At, &size);
    bool done = false;
    switch (*At) {
    case 'd':
    case 'i': done = putSigned(Out, how, signedArgument(From, size)); break;
    case 'u': done = putUnsigned(Out, how, unsignedArgument(From, size)); break;
    case 'x': done = putHex(Out, how, unsignedArgument(From, size), false); break;
    case 'X': done = putHex(Out, how, unsignedArgument(From, size), true); break;
    case 'p': done = size == LENGTH_INT && putPointer(Out, how, va_arg(From->List, const void *)); break;
    case 's': done = size == LENGTH_INT && putString(Out, how, va_arg(From->List, const char *)); break;
    case 'c': {
        const char value = static_cast<char>(va_arg(From->List, i32));
        done = size == LENGTH_INT && !how.Zero && putPadded(Out, how, &value, 1);
        break;
    }
    default: break;
    }
    return done ? At : nullptr;
}

// ---- directives without anything between sign and letter ----

static inline char *plainSigned(char *At, i32 Value)
{
    *At = '-';
    At += Value < 0;
    return At + putDecimal(At, Value < 0 ? 0u - static_cast<u32>(Value) : static_cast<u32>(Value));
}

static inline char *plainHex(char *At, u64 Value)
{
    char digits[LONGEST_NUMBER];
    const size_t length = hexadecimal(digits, Value, false);
    InfTR_CopyShort(At, digits, length);
    return At + length;
}

static inline char *plainPointer(char *At, const void *Pointer)
{
    memcpy(At, "0x", 2);
    return plainHex(At + 2, reinterpret_cast<uintptr_t>(Pointer));
}

// A text whose beginning has room; nullptr when the rest has none.
static inline char *plainString(char *At, const char *End, const char *Text)
{
    for (size_t at = 0; at < LONGEST_NUMBER; ++at) {
        if (Text[at] == '\0') return At + at;
        At[at] = Text[at];
    }
    At += LONGEST_NUMBER;
    Text += LONGEST_NUMBER;
    const size_t length = strlen(Text);
    if (length > static_cast<size_t>(End - At)) return nullptr;
    memcpy(At, Text, length);
    return At + length;
}

i32 InfTR_Format(char *Out, size_t Room, const char *Format, InfTR_Arguments *From)
{
    if (Room <= LONGEST_NUMBER) return INFTR_NOT_FORMATTED;
    char *at = Out;
    char *const end = Out + Room - 1; // of the terminator
    const char *const last = end - LONGEST_NUMBER; // a number that begins here still has room
    for (char letter; (letter = *Format) != '\0'; ++Format) {
        if (__builtin_expect(at > last, 0)) return INFTR_NOT_FORMATTED;
        if (letter != '%') {
            *at++ = letter;
            continue;
        }
        switch (letter = *++Format) {
        case 'p':
        case 's': {
            const void *const argument = va_arg(From->List, const void *);
            if (argument == nullptr) return INFTR_NOT_FORMATTED;
            at = letter == 'p' ? plainPointer(at, argument) : plainString(at, end, static_cast<const char *>(argument));
            if (at == nullptr) return INFTR_NOT_FORMATTED;
            continue;
        }
        case 'd': at = plainSigned(at, va_arg(From->List, i32)); continue;
        case 'u': at += putDecimal(at, va_arg(From->List, u32)); continue;
        case 'x': at = plainHex(at, va_arg(From->List, u32)); continue;
        default: break;
        }
        Target out = {at, end};
        Format = putDirective(&out, Format, From);
        if (Format == nullptr) return INFTR_NOT_FORMATTED;
        at = out.At;
    }
    *at = '\0';
    return static_cast<i32>(at - Out);
}

i32 InfTR_FormatBySystem(char *Out, size_t Room, const char *Format, InfTR_Arguments *From)
{
    const int callersErrno = errno;
    const i32 length = vsnprintf(Out, Room, Format, From->List);
    errno = callersErrno;
    return length;
}
