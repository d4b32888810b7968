// A matcher for short patterns, in one pass over the pattern's text.
//
// Pattern and text are walked together, an atom at a time. An atom that is repeated puts the pattern back on itself
// after each match; behind a failed one the text goes back to where the atom began. There is one point to come back
// to, set by .*: it first takes all that it can, and then gives back a byte at a time.

#include "supos_regex_int.h"

#include "inftr_guard.h"

#include <cstring>

// A place of the scan. Positions are pointers into the pattern and the text, NULL while unset.
struct scan {
    const char *pattern;
    const char *text;
    const char *patternStart;
    const char *atomPattern; // where the current atom began
    const char *atomText;
    bool matched; // outcome of the last atom; false until one has run
    bool escaped;
    i32 depth; // open parentheses
    const char *groupStart; // text at the last open one
    const char *resume; // pattern behind the .* that can give back
    const char *retry; // text up to which it took
    const char *floor; // text where it may not go below
};

enum scanStep { scanGoOn, scanRepeat, scanFail };

// The characters of a class, from behind its bracket to its end.
static bool matchClass(scan *S)
{
    ++S->pattern;
    const bool others = *S->pattern == '^' && *S->text != '\0';
    if (others) ++S->pattern;
    S->matched = others;
    for (; *S->pattern != ']' && *S->pattern != '\0'; ++S->pattern)
        if (*S->text != '\0' && *S->pattern == *S->text) S->matched = !others;
    if (*S->pattern != ']') return false;
    ++S->pattern;
    if (*S->text != '\0') ++S->text;
    return true;
}

// One atom. scanGoOn: look what stands behind it; scanRepeat: on to the next one.
static scanStep matchAtom(scan *S)
{
    switch (*S->pattern) {
    case '$':
        ++S->pattern;
        S->matched = *S->text == '\0';
        return scanGoOn;
    case '(':
        ++S->depth;
        S->groupStart = S->text;
        ++S->pattern;
        return scanRepeat;
    case ')':
        --S->depth;
        ++S->pattern;
        return scanRepeat;
    case '*':
    case '?': return scanGoOn; // the outcome is that of the atom before
    case '.':
        ++S->pattern;
        S->matched = *S->text != '\0';
        if (S->matched) ++S->text;
        return scanGoOn;
    case '[': return matchClass(S) ? scanGoOn : scanFail;
    case '\\': S->escaped = true; return scanRepeat; // required: the backslash itself is compared next
    case '^':
        if (S->pattern != S->patternStart) return scanFail;
        ++S->pattern;
        return scanRepeat;
    default:
        S->matched = *S->pattern == *S->text;
        ++S->pattern;
        if (*S->text != '\0') ++S->text;
        return scanGoOn;
    }
}

// True when the asterisk at the pattern's place repeats a point.
static bool repeatsAny(const scan *S)
{
    return S->pattern > S->patternStart && S->pattern[-1] == '.';
}

// What stands behind an atom. scanGoOn: the atom failed and nothing excuses it.
static scanStep matchRepeat(scan *S)
{
    if (*S->pattern == '?') {
        ++S->pattern;
        if (!S->matched) S->text = S->atomText;
        return scanRepeat;
    }
    if (*S->pattern != '*') return S->matched ? scanRepeat : scanGoOn;
    if (!S->matched) {
        if (repeatsAny(S)) {
            S->resume = S->pattern + 1;
            S->retry = S->text;
        }
        ++S->pattern;
        S->text = S->atomText;
        return scanRepeat;
    }
    if (repeatsAny(S) && (S->resume == nullptr || S->pattern >= S->resume)) {
        S->floor = S->text;
        S->resume = S->pattern + 1;
    }
    S->pattern = S->atomPattern;
    return scanRepeat;
}

// A failed group that may be absent is passed over.
static bool passGroup(scan *S)
{
    if (S->depth == 0) return false;
    while (*S->pattern != ')' && *S->pattern != '\0') ++S->pattern;
    if (*S->pattern == '\0') return false;
    --S->depth;
    if (S->pattern[1] != '*' && S->pattern[1] != '?') return false;
    S->pattern += 2;
    S->atomText = S->groupStart;
    S->text = S->groupStart;
    return true;
}

static bool stepBack(scan *S)
{
    if (S->floor == nullptr || S->retry == nullptr || S->floor > S->retry) return false;
    --S->retry;
    S->text = S->retry;
    S->pattern = S->resume;
    return true;
}

static bool matches(const char *Pattern, const char *Text)
{
    scan s = {};
    s.pattern = s.patternStart = Pattern;
    s.text = s.groupStart = Text;
    while (*s.pattern != '\0') {
        s.atomPattern = s.pattern;
        s.atomText = s.text;
        if (s.escaped) {
            if (*s.pattern != *s.text) return false;
            ++s.pattern;
            ++s.text;
            s.escaped = false;
            continue;
        }
        scanStep step = matchAtom(&s);
        if (step == scanGoOn) step = matchRepeat(&s);
        if (step == scanFail) return false;
        if (step == scanGoOn && !passGroup(&s) && !stepBack(&s)) return false;
    }
    return true;
}

u32 SupOS_Regcomp(SupOS_Regex *Regex, const char *Pattern, u32 Flags)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Regcomp");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %s, %x)", static_cast<void *>(Regex), Pattern, Flags);

    strncpy(Regex->Pattern, Pattern, SUPOS_REGEX_SIZE);
    Regex->Pattern[SUPOS_REGEX_SIZE] = '\0';
    INFTR_RETURN_VALUE(1, 0u);
}

u32 SupOS_Regexec(const SupOS_Regex *Regex, const char *Text, i32 Count, void *Matches, u32 Flags)
{
    INFTR_FUNCTION(SUPOS, "SupOS_Regexec");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%p, %s, %d, %p, %x)", static_cast<const void *>(Regex), Text, Count, Matches,
                Flags);

    if (!matches(Regex->Pattern, Text)) INFTR_RETURN_VALUE(2, 1u);
    INFTR_RETURN_VALUE(1, 0u);
}

u32 SupOS_Regerror(u32, const SupOS_Regex *, char *Out, u32 Size)
{
    if (Out != nullptr && Size > 0) *Out = '\0';
    return 1;
}

void SupOS_Regfree(SupOS_Regex *)
{
}
