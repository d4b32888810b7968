// Message texts with inserts.
//
// A text is walked twice by one parser: first to see that it is sound and how many words it names, then, with these
// words fetched from the argument list, to write it. A text that is refused so leaves the buffer as it was.
//
// Every insert is one 8-byte word. That holds for pointers and for all integers of this machine's calling convention,
// whose upper halves are then cut by the form: without a length it takes 32 bits, h 16, l 32, I64 and ll 64.

#include "win32_text.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "win32_error.h"

constexpr u32 wordRoom = 99 + 2; // a width and a precision may stand in front of the last insert's value

// One insert: %n, or %n!form!.
struct Insert {
    u32 First; // word of the width, of the precision or of the value, from 0
    char Flags[8];
    bool WidthFromList;
    bool PrecisionFromList;
    int Width; // -1 = none
    int Precision; // -1 = none
    u32 Bits; // of an integer: 16, 32, 64
    char Form; // s c d i u o x X p
};

static bool isDigit(char Character)
{
    return Character >= '0' && Character <= '9';
}

// Reads digits; false when the number is beyond what a field can be.
static bool readNumber(const char **At, int *Number)
{
    int number = 0;
    for (; isDigit(**At); ++*At) {
        number = number * 10 + (**At - '0');
        if (number > 65535) return false;
    }
    *Number = number;
    return true;
}

static bool readLength(const char **At, Insert *Into)
{
    Into->Bits = 32;
    if (strncmp(*At, "I64", 3) == 0) {
        Into->Bits = 64;
        *At += 3;
    } else if (strncmp(*At, "I32", 3) == 0) {
        *At += 3;
    } else if (strncmp(*At, "ll", 2) == 0) {
        Into->Bits = 64;
        *At += 2;
    } else if (**At == 'l') {
        ++*At;
        return **At != 's' && **At != 'c'; // wide texts are not offered
    } else if (**At == 'h') {
        Into->Bits = 16;
        ++*At;
    }
    return true;
}

// Reads what stands between the exclamation marks, from behind the first to behind the second.
static bool readForm(const char **At, Insert *Into)
{
    size_t flags = 0;
    for (; **At != '\0' && strchr("-+ 0#", **At) != nullptr; ++*At) {
        if (flags + 1 == sizeof Into->Flags) return false;
        Into->Flags[flags++] = **At;
    }
    if (**At == '*') {
        Into->WidthFromList = true;
        ++*At;
    } else if (isDigit(**At) && !readNumber(At, &Into->Width)) {
        return false;
    }
    if (**At == '.') {
        ++*At;
        if (**At == '*') {
            Into->PrecisionFromList = true;
            ++*At;
        } else if (!readNumber(At, &Into->Precision)) {
            return false;
        }
    }
    if (!readLength(At, Into) || **At == '\0' || strchr("scdiuoxXp", **At) == nullptr) return false;
    Into->Form = **At;
    ++*At;
    if (**At != '!') return false;
    ++*At;
    return true;
}

// Reads an insert from its first digit on.
static bool readInsert(const char **At, Insert *Into)
{
    *Into = {};
    Into->Width = Into->Precision = -1;
    Into->Form = 's';
    u32 number = static_cast<u32>(**At - '0');
    ++*At;
    if (isDigit(**At)) {
        number = number * 10 + static_cast<u32>(**At - '0');
        ++*At;
    }
    Into->First = number - 1;
    if (**At != '!') return true;
    ++*At;
    return readForm(At, Into);
}

// Where the text goes: Needed counts all of it, of which the first Size - 1 bytes are kept.
struct Output {
    char *Out;
    u32 Size;
    u64 Needed;
};

static void putText(Output *To, const char *Text, size_t Length)
{
    const u64 room = To->Size > To->Needed ? To->Size - To->Needed : 0;
    if (room > 1) {
        const size_t kept = Length < room - 1 ? Length : static_cast<size_t>(room - 1);
        memcpy(To->Out + To->Needed, Text, kept);
    }
    To->Needed += Length;
}

// A printf form of fixed parts: "%", flags, width and precision from the list, and the conversion given.
static void printForm(Output *To, const Insert &From, int Width, int Precision, const char *Conversion, u64 Word)
{
    char form[32];
    snprintf(form, sizeof form, "%%%s%s%s%s", From.Flags, Width >= 0 ? "*" : "", Precision >= 0 ? ".*" : "",
             Conversion);
    char *const at = To->Needed < To->Size ? To->Out + To->Needed : nullptr;
    const size_t room = at != nullptr ? static_cast<size_t>(To->Size - To->Needed) : 0;

    const auto print = [&](auto Value) {
        if (Width >= 0 && Precision >= 0) return snprintf(at, room, form, Width, Precision, Value);
        if (Width >= 0) return snprintf(at, room, form, Width, Value);
        if (Precision >= 0) return snprintf(at, room, form, Precision, Value);
        return snprintf(at, room, form, Value);
    };
    int length = 0;
    switch (From.Form) {
    case 's': {
        const char *const text = reinterpret_cast<const char *>(static_cast<uintptr_t>(Word));
        length = print(text != nullptr ? text : "(null)");
        break;
    }
    case 'c': length = print(static_cast<int>(static_cast<u8>(Word))); break;
    case 'p': length = print(reinterpret_cast<void *>(static_cast<uintptr_t>(Word))); break;
    default: length = print(Word); break;
    }
    if (length > 0) To->Needed += static_cast<u32>(length);
}

// The word as wide as its form takes it, sign kept for the signed forms.
static u64 cutWord(const Insert &From, u64 Word)
{
    const bool isSigned = From.Form == 'd' || From.Form == 'i';
    if (From.Bits == 16) return isSigned ? static_cast<u64>(static_cast<i16>(Word)) : static_cast<u16>(Word);
    if (From.Bits == 32) return isSigned ? static_cast<u64>(static_cast<i32>(Word)) : static_cast<u32>(Word);
    return Word;
}

static void putInsert(Output *To, const Insert &From, const u64 *Words)
{
    u32 word = From.First;
    Insert form = From;
    if (form.WidthFromList) {
        form.Width = static_cast<i32>(Words[word++]);
        if (form.Width < 0) { // as printf: the left side, and the width without its sign
            memmove(form.Flags + 1, form.Flags, sizeof form.Flags - 2);
            form.Flags[0] = '-';
            form.Width = form.Width == INT32_MIN ? INT32_MAX : -form.Width;
        }
    }
    if (form.PrecisionFromList) form.Precision = static_cast<i32>(Words[word++]);
    const u64 value = Words[word];

    switch (form.Form) {
    case 's': printForm(To, form, form.Width, form.Precision, "s", value); break;
    case 'c': printForm(To, form, form.Width, form.Precision, "c", value); break;
    case 'p': printForm(To, form, form.Width, form.Precision, "p", value); break;
    default: {
        const char conversion[] = {'l', 'l', form.Form, '\0'};
        printForm(To, form, form.Width, form.Precision, conversion, cutWord(form, value));
    }
    }
}

// What stands for the character behind a percent sign that begins no insert.
static char plainCharacter(char Character)
{
    switch (Character) {
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    case 'b': return ' ';
    default: return Character; // %% %. %! and all others: the percent sign falls away
    }
}

// Walks the text. With To it is written, with Count the words that it names are counted. False for a broken text.
static bool walk(const char *Text, Output *To, const u64 *Words, u32 *Count)
{
    for (const char *at = Text; *at != '\0';) {
        const size_t plain = strcspn(at, "%");
        if (To != nullptr) putText(To, at, plain);
        at += plain;
        if (*at == '\0') return true;
        ++at; // the percent sign
        if (*at == '\0') return false;
        if (*at == '0') return true;
        if (!isDigit(*at)) {
            const char character = plainCharacter(*at++);
            if (To != nullptr) putText(To, &character, 1);
            continue;
        }
        Insert insert;
        if (!readInsert(&at, &insert)) return false;
        const u32 last = insert.First + 1 + (insert.WidthFromList ? 1u : 0u) + (insert.PrecisionFromList ? 1u : 0u);
        if (Count != nullptr && last > *Count) *Count = last;
        if (To != nullptr) putInsert(To, insert, Words);
    }
    return true;
}

static void fetchWords(va_list *Args, u64 *Words, u32 Count)
{
    va_list copy; // the caller's list stays where it is
    va_copy(copy, *Args);
    for (u32 i = 0; i < Count; ++i) Words[i] = va_arg(copy, u64);
    va_end(copy);
}

u32 FormatMessageA(u32 Flags, const void *Source, u32, u32, char *Out, u32 Size, va_list *Args)
{
    const char *const text = static_cast<const char *>(Source);
    u32 count = 0;
    const bool offered = Flags == FORMAT_MESSAGE_FROM_STRING && text != nullptr && (Out != nullptr || Size == 0);
    if (!offered || !walk(text, nullptr, nullptr, &count) || (count != 0 && Args == nullptr)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    u64 words[wordRoom];
    if (count != 0) fetchWords(Args, words, count);

    Output to = {Out, Size, 0};
    walk(text, &to, words, nullptr);
    if (Size != 0) Out[to.Needed < Size ? to.Needed : Size - 1] = '\0';
    return to.Needed > UINT32_MAX ? UINT32_MAX : static_cast<u32>(to.Needed);
}
