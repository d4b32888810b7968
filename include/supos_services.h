#ifndef SUPOS_SERVICES_H
#define SUPOS_SERVICES_H

/* Small services under their Unix names: command lines, signals, look-ups, tokens, the system's name. */

#include "vela_types.h"

struct hostent;
struct servent;

VELA_BEGIN

/* The state of SupOS_Getopt, under the names of POSIX. In a program that also uses the C library's getopt both share
 * these words, so one of the two scanners is used at a time. */
extern VELA_API i32 optind; /* index of the next argument to look at, at first 1 */
extern VELA_API i32 opterr; /* not 0: a missing argument is told on stderr; at first 1 */
extern VELA_API char *optarg; /* argument of the option last returned; NULL where it takes none */

/**
 * Scans a command line for options, one call an option.
 *
 * @param[in] Argc     number of arguments
 * @param[in] Argv     the arguments; optarg points into them
 * @param[in] Options  the option letters, each followed by ':' where it takes an argument
 *
 * @return the option letter; '?' for an unknown option, and for one whose argument is missing; -1 at the first
 *         argument that is no option, at a lone "-" and at the end. "--" is the option '-' like any other.
 *
 * Required: one leading ':' of an option's argument is dropped ("-o :x" gives "x"). An unknown option is not told on
 * stderr. Has process-wide state and is for start-up, before threads. Traces as SUPOS.
 */
VELA_API i32 SupOS_Getopt(i32 Argc, char **Argv, const char *Options);

/**
 * Makes the abnormal signals end the process in an orderly way: abort, floating-point error, illegal instruction,
 * interrupt, segment violation, termination.
 *
 * Each of them then ends the process with exit code 99; all but the interrupt first leave the message ERZ058916E and a
 * symptom. Replaces the handlers that these signals had. The first call also loads the libraries that a fault report
 * (supos_faults.h) takes its symbols from. For process start. Traces as SUPOS.
 */
VELA_API void SupOS_SigInit(void);

/**
 * Looks up a host by its address.
 *
 * @param[in]  Address  in network order
 * @param[in]  Length   of Address in bytes, 4
 * @param[in]  Type     2 (AF_INET)
 * @param[out] Host     receives the answer; its pointers stay in the memory of the resolver, which the next look-up of
 *                      any thread overwrites
 * @param[in]  Unused   not looked at
 *
 * @return 0; or -1 with errno: 22 for any other Type, else the resolver's reason (11001 no such host, 11002 try again,
 *         11003 no recovery, 11004 no data, 10022 invalid argument ...)
 *
 * Look-ups wait for one another; blocks as long as the resolver does. Safe from any thread. Traces as SUPOS.
 */
VELA_API i32 SupOS_gethostbyaddr_r(const char *Address, i32 Length, i32 Type, struct hostent *Host, u32 Unused);

/**
 * Looks up a service by its name.
 *
 * @param[in]  Name      name or alias of the service
 * @param[in]  Protocol  "tcp", "udp"; NULL for any
 * @param[out] Service   receives the answer, its port in host order; its pointers as in SupOS_gethostbyaddr_r
 * @param[in]  Unused    not looked at
 *
 * @return 0; or -1, with errno left alone
 *
 * Look-ups wait for one another. Safe from any thread. Traces as SUPOS.
 */
VELA_API i32 SupOS_getservbyname_r(const char *Name, const char *Protocol, struct servent *Service, u32 Unused);

/**
 * Takes the next token of a text.
 *
 * @param[in,out] Text        the text at the first call, which is cut in place; NULL to go on behind the last token
 * @param[in]     Delimiters  characters that end a token; may differ from call to call
 * @param[in,out] Context     the caller's place, not NULL; NULL in it stands for the end of the text
 *
 * @return the token, within the text; NULL when there is none left, and then Context is as it was
 *
 * Safe from any thread as long as text and place are the caller's own. Traces as SUPOS.
 */
VELA_API char *SupOS_strtok_r(char *Text, const char *Delimiters, char **Context);

/* The answer of SupOS_uname; every field ends with a zero byte. */
typedef struct SupOS_utsname {
    char sysname[32]; /* "NT" */
    char nodename[32]; /* name of this computer, in capitals, at most 15 characters */
    char release[32]; /* minor version of the system, in digits */
    char version[32]; /* major version of the system, in digits */
    char machine[32]; /* empty */
} SupOS_utsname;

/**
 * Names the system.
 *
 * @return 0, or -1 when the system does not tell its version or name; the fields known by then are filled
 *
 * Safe from any thread. Traces as SUPOS.
 */
VELA_API i32 SupOS_uname(SupOS_utsname *Out);

VELA_END

#endif
