// References to environment variables within a text.

#include "win32_environment.h"

#include <unistd.h>

#include <cstring>

// Where the text goes: what does not fit is counted alone.
struct expansion {
    char *Out;
    u32 Size;
    u32 Length;
};

static void append(expansion *Text, const char *From, size_t Length)
{
    if (Text->Length + Length < Text->Size) memcpy(Text->Out + Text->Length, From, Length);
    Text->Length += static_cast<u32>(Length);
}

// The value of a variable whose name is not terminated; null when there is none.
static const char *valueOf(const char *Name, size_t Length)
{
    for (char **row = environ; *row != nullptr; ++row)
        if (strncmp(*row, Name, Length) == 0 && (*row)[Length] == '=') return *row + Length + 1;
    return nullptr;
}

u32 ExpandEnvironmentStringsA(const char *Source, char *Out, u32 Size)
{
    expansion text = {Out, Size, 0};
    while (*Source != 0) {
        const size_t plain = strcspn(Source, "%");
        append(&text, Source, plain);
        Source += plain;
        if (*Source == 0) break;

        const char *const name = Source + 1;
        const char *const end = strchr(name, '%');
        const char *const value =
            end != nullptr && end != name ? valueOf(name, static_cast<size_t>(end - name)) : nullptr;
        if (value != nullptr) {
            append(&text, value, strlen(value));
            Source = end + 1;
        } else {
            append(&text, Source, 1); // this sign stays, and the next one may open a name
            ++Source;
        }
    }
    const u32 needed = text.Length + 1;
    if (Size != 0) Out[needed <= Size ? text.Length : 0] = 0;
    return needed;
}
