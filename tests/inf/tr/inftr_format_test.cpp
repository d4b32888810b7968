// The formatter of entry and mid-point texts beside vsnprintf: the same bytes, the same length, nothing else touched.

#include <cerrno>
#include <clocale>
#include <random>

#include "trace_case.h"

constexpr size_t ROOM = 4007;
constexpr size_t SLOTS = 12;

struct Formatted {
    i32 Length;
    std::string Bytes; // the whole target, what lies behind the text included
};

__attribute__((format(gnu_printf, 2, 0))) static Formatted bySystem(size_t Room, const char *Format, va_list Args)
{
    std::string bytes(Room + 32, '\x55');
    const i32 length = vsnprintf(bytes.data(), Room, Format, Args);
    return {length, bytes};
}

static bool takenByOurs = false;

static Formatted byOurs(size_t Room, const char *Format, InfTR_Arguments *First, InfTR_Arguments *Second)
{
    std::string bytes(Room + 32, '\x55');
    i32 length = InfTR_Format(bytes.data(), Room, Format, First);
    takenByOurs = length != INFTR_NOT_FORMATTED;
    if (!takenByOurs) length = InfTR_FormatBySystem(bytes.data(), Room, Format, Second);
    return {length, bytes};
}

// Formats both ways and compares.
static void compare(size_t Room, const char *Format, ...)
{
    InfTR_Arguments first, second;
    va_list third;
    va_start(first.List, Format);
    va_start(second.List, Format);
    va_start(third, Format);
    const Formatted ours = byOurs(Room, Format, &first, &second);
    const Formatted theirs = bySystem(Room, Format, third);
    va_end(first.List);
    va_end(second.List);
    va_end(third);
    ASSERT_EQ(ours.Length, theirs.Length) << Format;
    ASSERT_EQ(ours.Bytes, theirs.Bytes) << Format;
}

static void compareSlots(size_t Room, const char *Format, const u64 (&Slots)[SLOTS])
{
    compare(Room, Format, Slots[0], Slots[1], Slots[2], Slots[3], Slots[4], Slots[5], Slots[6], Slots[7], Slots[8],
            Slots[9], Slots[10], Slots[11]);
}

// A format at random with the arguments that it takes. Each argument is a word, whatever its directive makes of it.
struct RandomFormat {
    std::string Text;
    u64 Slots[SLOTS] = {};
    size_t Used = 0;
    std::mt19937_64 &Random;

    explicit RandomFormat(std::mt19937_64 &Source) : Random(Source) {}

    u32 upTo(u32 Limit) { return static_cast<u32>(Random() % Limit); }
    void pass(u64 Value) { Slots[Used++] = Value; }

    u64 value()
    {
        switch (upTo(8)) {
        case 0: return 0;
        case 1: return upTo(20);
        case 2: return 0 - u64{upTo(20)};
        case 3: return u64{1} << upTo(64);
        case 4: return (u64{1} << upTo(64)) - 1;
        case 5: {
            u64 power = 1;
            for (u32 left = upTo(20); left != 0; --left) power *= 10;
            return power - upTo(2);
        }
        default: return Random() >> upTo(64);
        }
    }

    const char *string()
    {
        static const std::string texts[] = {"",
                                            "x",
                                            "a text",
                                            "fifteen letters",
                                            "sixteen letters!",
                                            "exactly 24 characters in",
                                            "exactly 25 characters in.",
                                            std::string(300, 'l'),
                                            std::string(4100, 'L'),
                                            "\xE4\xB8\x80 \xFF"};
        return texts[upTo(40) == 0 ? 8 : upTo(8)].c_str();
    }

    void number(const char *Before, u32 Largest)
    {
        Text += Before;
        if (upTo(3) == 0) {
            Text += '*';
            pass(static_cast<u64>(static_cast<i64>(upTo(2 * Largest)) - Largest));
        } else if (upTo(4) != 0 || *Before == '\0') {
            Text += std::to_string(upTo(Largest) + 1);
        }
    }

    void directive()
    {
        static const char *const lengths[] = {"", "", "", "h", "hh", "l", "ll", "z", "j", "t"};
        static const char letters[] = "ddduuuxxXipppssscco%";
        Text += '%';
        const bool plain = upTo(2) == 0;
        if (!plain) {
            for (u32 left = upTo(4); left != 0; --left) Text += "-+ #0"[upTo(5)];
            if (upTo(2) == 0) number("", upTo(50) == 0 ? 5000 : 30);
            if (upTo(2) == 0) number(".", upTo(50) == 0 ? 5000 : 30);
        }
        const char letter = letters[upTo(sizeof letters - 1)];
        if (letter == '%' && !plain) {
            Text += 'd';
            pass(value());
            return;
        }
        if (strchr("dioxXu", letter) != nullptr) Text += lengths[plain ? 0 : upTo(10)];
        Text += letter;
        if (letter == 's')
            pass(upTo(30) == 0 ? 0 : reinterpret_cast<uintptr_t>(string()));
        else if (letter != '%')
            pass(value());
    }

    void make()
    {
        static const char *const between[] = {"", "(", ", ", ")", "name=", "\xC3\xA4", " a longer piece of text "};
        for (u32 left = upTo(4) + 1; left != 0; --left) {
            Text += between[upTo(7)];
            directive();
        }
        Text += between[upTo(7)];
    }
};

TEST(InfTR_Format, EqualsVsnprintfOnAMillionFormats)
{
    const u32 seed = 20240607;
    std::mt19937_64 random(seed);
    u32 ours = 0;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr u32 rounds = 100000;
#else
    constexpr u32 rounds = 1000000;
#endif
    for (u32 round = 0; round < rounds; ++round) {
        RandomFormat format(random);
        format.make();
        const size_t room = round % 8 == 0 ? 1 + format.upTo(120) : round % 64 == 1 ? ROOM : 500;
        compareSlots(room, format.Text.c_str(), format.Slots);
        ours += takenByOurs ? 1 : 0;
        if (HasFatalFailure()) FAIL() << "seed " << seed << ", round " << round;
    }
    EXPECT_GT(ours, rounds / 3) << "most texts were left to the system";
}

TEST(InfTR_Format, EveryLengthOfANumberComesOut)
{
    const u64 none[SLOTS] = {};
    compareSlots(ROOM, "(void)", none);
    for (u32 bit = 0; bit < 64; ++bit) {
        for (i64 beside = -2; beside <= 2; ++beside) {
            const u64 value = (u64{1} << bit) + static_cast<u64>(beside);
            for (const char *format :
                 {"%d", "%u", "%x", "%X", "%p", "%ld", "%lu", "%lx", "%lli", "%hd", "%hhu", "%zu"}) {
                const u64 slots[SLOTS] = {value};
                compareSlots(ROOM, format, slots);
            }
        }
    }
    u64 power = 1;
    for (u32 digits = 0; digits < 20; ++digits, power *= 10) {
        for (u64 value : {power - 1, power, power + 1, 0 - power}) {
            const u64 slots[SLOTS] = {value, value, value};
            compareSlots(ROOM, "%ld,%lu,%d", slots);
        }
    }
}

// What the entry texts of this library consist of never goes to the system.
TEST(InfTR_Format, TakesTheDirectivesOfEntryTexts)
{
    u64 slots[SLOTS] = {reinterpret_cast<uintptr_t>("one"), 2, 3, 4};
    for (const char *format : {"(void)", "(%p)", "(%u, %d)", "(%.255s)", "(%s)", "(%#8.8x)", "(%#x)", "(%lu)", "(%hu)",
                               "(%x)", "(%.51s)", "(%hd)", "(%c)", "(%6.6d)", "(%.5s)", "100%%"}) {
        const bool text = strchr(format, 's') != nullptr || strchr(format, 'p') != nullptr;
        u64 fitting[SLOTS] = {text ? slots[0] : 77, 2, 3};
        compareSlots(ROOM, format, fitting);
        EXPECT_TRUE(takenByOurs) << format;
    }
    const u64 starred[SLOTS] = {2, slots[0]};
    compareSlots(ROOM, "(%.*s)", starred);
    EXPECT_TRUE(takenByOurs);
}

TEST(InfTR_Format, LeavesTheRestToTheSystem)
{
    compare(ROOM, "%d %f %s", 1, 2.5, "x");
    EXPECT_FALSE(takenByOurs);
    compare(ROOM, "%s", static_cast<const char *>(nullptr));
    EXPECT_FALSE(takenByOurs);
    compare(ROOM, "%p", static_cast<void *>(nullptr));
    EXPECT_FALSE(takenByOurs);
    compare(ROOM, "%2$s %1$d", 5, "second");
    EXPECT_FALSE(takenByOurs);
    compare(ROOM, "%*d", -5000, 5);
    compare(ROOM, "%.*d", 1 << 21, 5);
    compare(ROOM, "%999999d", 5);
    compare(ROOM, "a%");
    compare(ROOM, "%5");
    compare(ROOM, "%ls", L"wide");
    errno = ENOENT;
    compare(ROOM, "%m");
}

TEST(InfTR_Format, ATextAtTheEndOfItsRoom)
{
    for (size_t length = 0; length < 80; ++length) {
        const std::string text(length, 'e');
        for (size_t room = 1; room < 80; ++room) {
            compare(room, "%s", text.c_str());
            compare(room, text.c_str());
            compare(room, "%s%d", text.c_str(), -1234567);
            compare(room, "%s%p", text.c_str(), text.c_str());
        }
    }
}
