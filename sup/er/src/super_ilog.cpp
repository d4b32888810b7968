// From a message number to text.
//
// Text comes from the catalogue and is expanded into the caller's buffer. Three things make it more than that: text must
// come out when the catalogue cannot be read (the recovery texts below, the only ones in the code); a serial number has
// to go into the identifier, which the text itself brings along, so the text is first built 17 bytes further on and then
// moved left; and a text that outgrows its buffer ends the process, since a message cut short would not be noticed.

#include <cstdio>
#include <cstring>

#include "super_assert.h"
#include "super_int.h"
#include "tks_catalog.h"
#include "win32_text.h"

#define SUPER_ILOG_FILE "sup\\er\\src\\super_ilog"

// Recovery texts: %s are the catalogue's name and the identifier.
static constexpr char textNoCatalog[] = "ERZ057001E: Cannot access message catalog %s for message %s\n"
                                        "Please check if NLSPATH or LANG variable is set";
static constexpr char textCorrupted[] = "ERZ057010E: Catalog %s contains corrupted message %s - cannot display";
static constexpr char textNoFormat[] = "ERZ057031E: Unable to format message %s";
static_assert(sizeof textCorrupted == 70, "fits over any text that tks_catgets returns");

static constexpr size_t identifierRoom = 16;
static constexpr u32 formatRoom = 16384 + SUPER_MSG_TEXT_OFFSET; // a longer message is made in its caller's buffer

static void buildIdentifier(char Out[identifierRoom], u32 MessageNumber)
{
    if (SUPER_IS_GTI(MessageNumber))
        memcpy(Out, "GTI", 4);
    else
        snprintf(Out, identifierRoom, "ERZ%6.6d%c", static_cast<i32>(SUPER_MSG_DIGITS(MessageNumber)),
                 SUPER_MSG_LETTER(MessageNumber));
}

static bool isErzText(const char *Text)
{
    return strncmp(Text, "ERZ", 3) == 0;
}

// The catalogue's text of a message. Recovery is set when it is a recovery text, with its %s not yet filled.
static char *fetchText(u32 MessageNumber, bool *Recovery)
{
    char *const fallback = const_cast<char *>(textNoCatalog); // begins with ERZ, so it is never written
    char *const text = tks_catgets(SupER_GetData()->Catalog, SUPER_MSG_SET(MessageNumber),
                                   SUPER_MSG_CATALOG_NUMBER(MessageNumber), fallback);
    *Recovery = text == fallback || (!SUPER_IS_GTI(MessageNumber) && !isErzText(text));
    if (*Recovery && !isErzText(text)) memcpy(text, textCorrupted, sizeof textCorrupted);
    return text;
}

// The part of a text that Format asks for; the whole text where it has no blank or no colon to go by.
static const char *selectPart(const char *Text, i32 Format)
{
    if (Format == SUPER_FORMAT_BODY) {
        const char *blank = strchr(Text, ' ');
        return blank == nullptr ? Text : blank + 1;
    }
    if (Format == SUPER_FORMAT_SEVERITY) {
        const char *colon = strchr(Text, ':');
        return colon == nullptr || colon == Text ? Text : colon - 1;
    }
    return Text;
}

// The end of a process whose buffer cannot hold a message: the sequence of super_assert.h with a message, a source and
// an exit code of its own. Code is what SupER_IGetMessage would have returned, 0 included.
[[noreturn]] static void endOnOverflow(u32 MessageNumber, const char *Identifier, u32 Room, u32 Needed, u32 Code)
{
    INFTR_FUNCTION(SUPER, "SupER_IGetMessage");
    const bool isGti = SUPER_IS_GTI(MessageNumber);
    const i32 msn = isGti ? 11 : 19;

    if (isGti)
        SupER_Log(SUPER_CONSOLE, SUPER_MSG_GTI_OVERFLOW, msn, Room, Needed);
    else
        SupER_Log(SUPER_CONSOLE, SUPER_MSG_BUFFER_OVERFLOW, msn, Identifier, Room, Needed);
    SupER_FormatDiag("Message buffer overflow");
    SupER_StoreSymptom(inftrFunction, SupER_ServiceLevel57, __LINE__, SUPER_MSG_PROCESS_ENDING, msn,
                       SUPER_SOURCE_OVERFLOW, static_cast<i32>(Code), 0, SUPER_SECONDARY_MARKER);
    SupER_FlushSymptom();
    SupER_Log(SUPER_CONSOLE, SUPER_MSG_PROCESS_ENDING, msn, "", 5);
    INFTR_EXIT_CODE(1, Code);
    InfTR_ProcessTerminate();
    tks_Exit(static_cast<i32>(Code));
}

// Expands Text into Target and returns the length that all of it needs; a result of Room or more means that it was cut.
static u32 expandText(char *Target, u32 Room, const char *Text, bool Recovery, const char *Identifier, va_list Args)
{
    if (Recovery) {
        const int length = snprintf(Target, Room, Text, SUPER_CATALOG_NAME, Identifier);
        return length < 0 ? 0 : static_cast<u32>(length);
    }
    va_list args;
    va_copy(args, Args);
    const u32 length = FormatMessageA(FORMAT_MESSAGE_FROM_STRING, Text, 0, 0, Target, Room, &args);
    va_end(args);
    return length;
}

u32 SupER_IGetMessage(char *Buffer, u32 *Size, u16 Recipient, u16 Destination, i32 Format, u32 MessageNumber, i32 MSN,
                      va_list Args)
{
    INFTR_FUNCTION(SUPER, "SupER_IGetMessage");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %p, %hu, %hu, %d, %#8.8x, %d)", static_cast<void *>(Buffer),
                static_cast<void *>(Size), Recipient, Destination, Format, MessageNumber, MSN);

    if (Recipient != SUPER_SYSTEM_LOG && Recipient != SUPER_END_USER)
        SUPER_ASSERT_EXIT(SUPER, 1, "(Recipient == SUPER_END_USER || Recipient == SUPER_SYSTEM_LOG)", __LINE__,
                          SUPER_ILOG_FILE, 31,
                          "Unkown purpose of message. Message must be for end user SUPER_END_USER or VELA system "
                          "SUPER_SYSTEM_LOG");

    const bool isGti = SUPER_IS_GTI(MessageNumber);
    char identifier[identifierRoom];
    buildIdentifier(identifier, MessageNumber);

    const bool numbered = !isGti && Format != SUPER_FORMAT_BODY && Format != SUPER_FORMAT_SEVERITY && MSN != 0;
    const u32 offset = numbered ? SUPER_MSG_TEXT_OFFSET : 0;
    char *const target = Buffer + offset;
    const u32 room = *Size > offset ? *Size - offset : 0;

    bool recovery = false;
    const char *text = fetchText(MessageNumber, &recovery);
    u32 code = recovery ? SUPER_ERR_CATALOG : ERZ_OK;

    if (!isGti) {
        if (Format < SUPER_FORMAT_WHOLE || Format > SUPER_FORMAT_SEVERITY)
            SUPER_ASSERT_EXIT(SUPER, 2, "(FALSE)", __LINE__, SUPER_ILOG_FILE, 20, "Unknown message format");
        text = selectPart(text, Format);
    }

    u32 length = expandText(target, room, text, recovery, identifier, Args);
    if (length < 1) {
        length = static_cast<u32>(snprintf(target, room, textNoFormat, identifier));
        code = SUPER_ERR_FORMAT;
    }
    if (*Size <= length) endOnOverflow(MessageNumber, identifier, *Size, length + 1, code);

    if (numbered) {
        u32 size = *Size;
        length = SupER_IFormatMessage(target, length, Destination, MSN, Buffer, &size);
    }
    *Size = length;
    INFTR_RETURN_CODE(3, code);
}

u32 SupER_IFormatMessage(const char *Message, u32 Length, u16 Destination, i32 MSN, char *FmtMessage, u32 *Size)
{
    INFTR_FUNCTION(SUPER, "SupER_IFormatMessage");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %u, %hu, %d, %p, %p)", static_cast<const void *>(Message), Length, Destination,
                MSN, static_cast<void *>(FmtMessage), static_cast<void *>(Size));

    if (Message == nullptr || FmtMessage == nullptr || Size == nullptr)
        SUPER_ASSERT_EXIT(SUPER, 1, "(Message != NULL && FmtMessage != NULL && Size != NULL)", __LINE__,
                          SUPER_ILOG_FILE, 13, "Invalid - NULL - input");
    const u32 room = *Size;
    if (room <= SUPER_MSG_TEXT_OFFSET)
        SUPER_ASSERT_EXIT(SUPER, 2, "(TmpSize > SUPER_MSG_TEXT_OFFSET)", __LINE__, SUPER_ILOG_FILE, 24,
                          "Destination buffer too small");

    // A message that was cut to its room ends before Length.
    const u32 present = static_cast<u32>(strnlen(Message, Length));
    u32 i = 0;
    for (; i < present && i < room && Message[i] != ':'; ++i) FmtMessage[i] = Message[i];
    if (i > SUPER_MSG_NAME_SIZE + 1)
        SUPER_ASSERT_EXIT(SUPER, 3, "(i <= SUPER_MSG_NAME_SIZE+1)", __LINE__, SUPER_ILOG_FILE, 22,
                          "ERZ[...]s in message too long");

    // At most 11 characters, a slash, 11 more and a terminator: in front of what is still to be moved.
    u32 total = i + static_cast<u32>(snprintf(FmtMessage + i, room - i, "/%.*d", 4, MSN));
    *Size = total;
    if (room <= total)
        SUPER_ASSERT_EXIT(SUPER, 4, "(TmpSize > Offset)", __LINE__, SUPER_ILOG_FILE, 25, "Output buffer overflow");

    const u32 free = room - total > 2 ? room - total - 2 : 0;
    const u32 rest = present - i < free ? present - i : free;
    memmove(FmtMessage + total, Message + i, rest);
    total += rest;
    if (Destination == 1 && room - total > 1) FmtMessage[total++] = '\n';
    FmtMessage[total] = 0;
    INFTR_RETURN_VALUE(5, total);
}

u32 SupER_GetMessageVar(char *Buffer, u32 *Size, i32 Format, u32 MessageNumber, va_list Args)
{
    INFTR_FUNCTION(SUPER, "SupER_GetMessageVar");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %p, %d, %#8.8x)", static_cast<void *>(Buffer), static_cast<void *>(Size),
                Format, MessageNumber);

    const u32 code = SupER_IGetMessage(Buffer, Size, SUPER_END_USER, SUPER_END_USER, Format, MessageNumber, 0, Args);
    INFTR_RETURN_CODE(1, code);
}

u32 SupER_GetMessage(char *Buffer, u32 *Size, i32 Format, u32 MessageNumber, ...)
{
    INFTR_FUNCTION(SUPER, "SupER_GetMessage");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %p, %d, %#8.8x)", static_cast<void *>(Buffer), static_cast<void *>(Size),
                Format, MessageNumber);

    va_list args;
    va_start(args, MessageNumber);
    const u32 code = SupER_IGetMessage(Buffer, Size, SUPER_END_USER, SUPER_END_USER, Format, MessageNumber, 0, args);
    va_end(args);
    INFTR_RETURN_CODE(1, code);
}

u32 SupER_GetMessageLog(char *Buffer, u32 *Size, i32 Format, u32 MessageNumber, ...)
{
    INFTR_FUNCTION(SUPER, "SupER_GetMessageLog");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %p, %d, %#8.8x)", static_cast<void *>(Buffer), static_cast<void *>(Size),
                Format, MessageNumber);

    va_list args;
    va_start(args, MessageNumber);
    const u32 code =
        SupER_IGetMessage(Buffer, Size, SUPER_SYSTEM_LOG, SUPER_SYSTEM_LOG, Format, MessageNumber, 0, args);
    va_end(args);
    INFTR_RETURN_CODE(1, code);
}

u32 SupER_FormatMessageVar(char *Buffer, u32 *Size, i32 Format, u16 Destination, u32 MessageNumber, i32 MSN,
                           va_list Args)
{
    INFTR_FUNCTION(SUPER, "SupER_FormatMessageVar");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %p, %d, %hu, %#8.8x, %d)", static_cast<void *>(Buffer),
                static_cast<void *>(Size), Format, Destination, MessageNumber, MSN);

    if (Buffer == nullptr || Size == nullptr || *Size <= SUPER_MSG_TEXT_OFFSET)
        SUPER_ASSERT_EXIT(SUPER, 1,
                          "(MessageBuffer != NULL && MessageBufferSize != NULL && *MessageBufferSize > "
                          "SUPER_MSG_TEXT_OFFSET)",
                          __LINE__, SUPER_ILOG_FILE, 23, "Invalid input");

    // required: with both bits the end user wins, and the other bit stays in the destination
    u16 recipient = 0;
    if (Destination & SUPER_END_USER)
        recipient = SUPER_END_USER;
    else if (Destination & SUPER_SYSTEM_LOG)
        recipient = SUPER_SYSTEM_LOG;
    else
        SUPER_ASSERT_EXIT(SUPER, 2, "FALSE", __LINE__, SUPER_ILOG_FILE, 32,
                          "Destination must indicate purpose of message, i.e. END USER or VELA SYSTEM.  Destination "
                          "must be an ORing of one of these two and some other message destination");
    const u16 destination = static_cast<u16>(Destination & ~recipient);

    // required: one byte more than the caller states; the header asks for it. The text is made elsewhere, so that of the
    // caller's buffer only the message itself and its terminator are written.
    u32 size = *Size == 0xFFFFFFFFu ? *Size : *Size + 1;
    char text[formatRoom];
    char *const target = size <= formatRoom ? text : Buffer;
    const u32 code = SupER_IGetMessage(target, &size, recipient, destination, Format, MessageNumber, MSN, Args);
    if (target == text) memcpy(Buffer, text, size + 1);
    *Size = size + 1;
    INFTR_RETURN_CODE(3, code);
}

u32 SupER_FormatMessage(char *Buffer, u32 *Size, i32 Format, u16 Destination, u32 MessageNumber, i32 MSN, ...)
{
    INFTR_FUNCTION(SUPER, "SupER_FormatMessage");
    INFTR_ENTRY(INFTR_CLASS_API_ENTRY, "(%p, %p, %d, %hu, %#8.8x, %d)", static_cast<void *>(Buffer),
                static_cast<void *>(Size), Format, Destination, MessageNumber, MSN);

    va_list args;
    va_start(args, MSN);
    const u32 code = SupER_FormatMessageVar(Buffer, Size, Format, Destination, MessageNumber, MSN, args);
    va_end(args);
    INFTR_RETURN_CODE(1, code);
}
