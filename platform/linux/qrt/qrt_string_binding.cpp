// String bindings: putting them together and taking them apart.

#include "rpc_binding.h"

#include "qrt_int.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

unsigned_char_p_t Qrt_NewString(const char *Text)
{
    const size_t size = strlen(Text) + 1;
    void *copy = Plat_Sys.Malloc(size);
    if (copy) memcpy(copy, Text, size);
    return static_cast<unsigned_char_p_t>(copy);
}

void rpc_string_free(unsigned_char_p_t *String, u32 *Status)
{
    *Status = rpc_s_ok;
    if (!String) return;
    free(*String);
    *String = nullptr;
}

// ---- composing

static size_t escapedSize(const char *field, const char *special)
{
    size_t size = 0;
    for (; *field; ++field) size += strchr(special, *field) ? 2 : 1;
    return size;
}

static char *appendEscaped(char *out, const char *field, const char *special)
{
    for (; *field; ++field) {
        if (strchr(special, *field)) *out++ = '\\';
        *out++ = *field;
    }
    return out;
}

static char *append(char *out, const char *text)
{
    const size_t size = strlen(text);
    memcpy(out, text, size);
    return out + size;
}

// Of each field the characters that would end it or turn it into another one.
constexpr char protocolSpecial[] = "\\:@[";
constexpr char addressSpecial[] = "\\[]";
constexpr char endpointSpecial[] = "\\[],=";

void rpc_string_binding_compose(const unsigned_char_t *ObjectUuid, const unsigned_char_t *ProtocolSequence,
                                const unsigned_char_t *NetworkAddress, const unsigned_char_t *Endpoint,
                                const unsigned_char_t *Options, unsigned_char_p_t *StringBinding, u32 *Status)
{
    *StringBinding = nullptr;
    uuid_t object;
    uuid_from_string(ObjectUuid, &object, Status);
    if (*Status != uuid_s_ok) return;

    char objectText[QRT_UUID_TEXT + 1] = "";
    u32 ignored;
    if (!uuid_is_nil(&object, &ignored)) {
        Qrt_UuidText(&object, objectText);
        strcat(objectText, "@");
    }
    const char *protocol = ProtocolSequence ? Qrt_Chars(ProtocolSequence) : "";
    const char *address = NetworkAddress ? Qrt_Chars(NetworkAddress) : "";
    const char *endpoint = Endpoint ? Qrt_Chars(Endpoint) : "";
    const char *options = Options ? Qrt_Chars(Options) : "";

    const size_t size = strlen(objectText) + escapedSize(protocol, protocolSpecial) +
                        escapedSize(address, addressSpecial) + escapedSize(endpoint, endpointSpecial) +
                        strlen(options) + sizeof ":[,]";
    char *text = static_cast<char *>(Plat_Sys.Malloc(size));
    if (!text) {
        *Status = rpc_s_no_memory;
        return;
    }
    char *out = append(text, objectText);
    out = appendEscaped(out, protocol, protocolSpecial);
    *out++ = ':';
    out = appendEscaped(out, address, addressSpecial);
    if (*endpoint || *options) {
        *out++ = '[';
        out = appendEscaped(out, endpoint, endpointSpecial);
        if (*options) {
            *out++ = ',';
            out = append(out, options);
        }
        *out++ = ']';
    }
    *out = '\0';
    *StringBinding = reinterpret_cast<unsigned_char_p_t>(text);
    *Status = rpc_s_ok;
}

// ---- parsing

struct Span {
    const char *Begin;
    const char *End;
};

struct Parts {
    Span Object, Protocol, Address, Endpoint;
    char *Options; // room for all options of the text, joined with commas
    bool OptionsFull;
};

// The first of Set, outside escapes, from At on; the end of the text when there is none. A lone backslash at the end
// gives NULL.
static const char *findUnescaped(const char *at, const char *end, const char *set)
{
    for (; at < end; ++at) {
        if (*at == '\\') {
            if (++at == end) return nullptr;
        } else if (strchr(set, *at)) {
            return at;
        }
    }
    return end;
}

static bool startsWith(Span span, const char *text)
{
    const size_t size = strlen(text);
    return static_cast<size_t>(span.End - span.Begin) >= size && memcmp(span.Begin, text, size) == 0;
}

// One item between the brackets: the endpoint, as such or by name, or an option.
static bool takeItem(Parts *parts, Span item, bool first)
{
    const char *equals = findUnescaped(item.Begin, item.End, "=");
    if (!equals) return false;
    const bool named = startsWith(item, "endpoint=");
    if (named || equals == item.End) {
        if (named) item.Begin = equals + 1;
        if (!named && !first) return false; // a bare endpoint stands first
        if (parts->Endpoint.Begin != parts->Endpoint.End) return false; // two of them
        parts->Endpoint = item;
        return true;
    }
    if (parts->OptionsFull) strcat(parts->Options, ",");
    strncat(parts->Options, item.Begin, static_cast<size_t>(item.End - item.Begin));
    parts->OptionsFull = true;
    return true;
}

static bool takeItems(Parts *parts, const char *at, const char *end)
{
    for (bool first = true; at <= end; first = false) {
        const char *comma = findUnescaped(at, end, ",");
        if (!comma || findUnescaped(at, comma, "[]") != comma) return false;
        if (comma == at && !first) return false; // nothing between two commas
        if (!takeItem(parts, {at, comma}, first)) return false;
        at = comma + 1;
    }
    return true;
}

static bool split(const char *text, Parts *parts)
{
    const char *const end = text + strlen(text);
    const char *mark = findUnescaped(text, end, "@:[");
    if (!mark || mark == end || *mark == '[') return false;
    parts->Object = {text, text};
    if (*mark == '@') {
        parts->Object.End = mark;
        text = mark + 1;
        mark = findUnescaped(text, end, "@:[");
        if (!mark || mark == end || *mark != ':') return false;
    }
    parts->Protocol = {text, mark};
    if (text == mark) return false;

    text = mark + 1;
    mark = findUnescaped(text, end, "[]");
    if (!mark) return false;
    parts->Address = {text, mark};
    parts->Endpoint = {end, end};
    if (mark == end) return true;
    if (*mark == ']' || end[-1] != ']' || end - 1 == mark) return false;
    const char *close = findUnescaped(mark + 1, end, "]");
    if (close != end - 1) return false; // an escaped bracket, or text behind it
    return close == mark + 1 || takeItems(parts, mark + 1, close);
}

static unsigned_char_p_t newUnescaped(Span span)
{
    char *text = static_cast<char *>(Plat_Sys.Malloc(static_cast<size_t>(span.End - span.Begin) + 1));
    if (!text) return nullptr;
    char *out = text;
    for (const char *at = span.Begin; at < span.End; ++at) {
        if (*at == '\\') ++at;
        *out++ = *at;
    }
    *out = '\0';
    return reinterpret_cast<unsigned_char_p_t>(text);
}

static bool handOut(unsigned_char_p_t *out, Span span)
{
    if (!out) return true;
    *out = newUnescaped(span);
    return *out != nullptr;
}

void rpc_string_binding_parse(const unsigned_char_t *StringBinding, unsigned_char_p_t *ObjectUuid,
                              unsigned_char_p_t *ProtocolSequence, unsigned_char_p_t *NetworkAddress,
                              unsigned_char_p_t *Endpoint, unsigned_char_p_t *Options, u32 *Status)
{
    unsigned_char_p_t *const results[] = {ObjectUuid, ProtocolSequence, NetworkAddress, Endpoint, Options};
    for (unsigned_char_p_t *result : results) {
        if (result) *result = nullptr;
    }
    *Status = rpc_s_invalid_string_binding;
    if (!StringBinding) return;

    Parts parts = {};
    parts.Options = static_cast<char *>(Plat_Sys.Malloc(strlen(Qrt_Chars(StringBinding)) + 1));
    if (!parts.Options) {
        *Status = rpc_s_no_memory;
        return;
    }
    parts.Options[0] = '\0';
    if (split(Qrt_Chars(StringBinding), &parts)) {
        const bool all = handOut(ObjectUuid, parts.Object) && handOut(ProtocolSequence, parts.Protocol) &&
                         handOut(NetworkAddress, parts.Address) && handOut(Endpoint, parts.Endpoint);
        if (all && Options) {
            *Options = reinterpret_cast<unsigned_char_p_t>(parts.Options);
            parts.Options = nullptr;
        }
        *Status = all ? rpc_s_ok : rpc_s_no_memory;
    }
    free(parts.Options);
    if (*Status == rpc_s_ok) return;
    u32 ignored;
    for (unsigned_char_p_t *result : results) rpc_string_free(result, &ignored);
}
