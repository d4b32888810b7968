#ifndef SUPOS_REGEX_INT_H
#define SUPOS_REGEX_INT_H

// A matcher for short patterns such as those of yes and no answers. No general regular expressions.
//
//     c         the byte itself; a plus sign is one too
//     \         a backslash in the text; the character behind it is an ordinary atom
//     .         any byte
//     [yY]      any of these, no ranges; [^yY] any other
//     ( )       a group
//     X* X?     any number, at most one; only the last .* gives back what it took too much
//     ^         nothing in front, no match elsewhere
//     $         the end of the text
//
// A match begins at the start of the text and need not reach its end. Bytes are compared: no case folding, no
// multibyte characters. An asterisk directly behind a group, a $ or a ?, that has matched, never ends: such a pattern is not to be
// passed.

#include "vela_types.h"

#define SUPOS_REGEX_SIZE 80

/* A pattern, kept as its text: what stands behind SUPOS_REGEX_SIZE bytes of it is cut. */
struct SupOS_Regex {
    char Pattern[SUPOS_REGEX_SIZE + 1];
};

/* Keeps a pattern; Flags are not used. Always returns 0: a malformed pattern matches nothing. */
u32 SupOS_Regcomp(SupOS_Regex *Regex, const char *Pattern, u32 Flags);

/* 0 when Text matches, else 1. Count, Matches and Flags are not used. Readers may share Regex. */
u32 SupOS_Regexec(const SupOS_Regex *Regex, const char *Text, i32 Count, void *Matches, u32 Flags);

/* Empties Out, which may be NULL, and returns 1. */
u32 SupOS_Regerror(u32 Code, const SupOS_Regex *Regex, char *Out, u32 Size);

/* Nothing to release. */
void SupOS_Regfree(SupOS_Regex *Regex);

#endif
