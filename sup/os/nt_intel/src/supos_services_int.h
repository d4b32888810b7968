#ifndef SUPOS_SERVICES_INT_H
#define SUPOS_SERVICES_INT_H

// Small services that stay within the operating-system layer. All trace as SUPOS.

#include <time.h>

#include "supos_services.h"

VELA_BEGIN

/* What SupOS_SigInit installs; Signal has the numbers of plat_signal.h. Ends the process with exit code 99. */
void SupOS_SignalHandler(i32 Signal);

/* 0 while a process lives, -1 when it has ended, never was, or may not be looked at. It need not be a child. */
i32 SupOS_ProcessAlive(u32 Pid);

/* As SupOS_gethostbyaddr_r, by name. */
i32 SupOS_gethostbyname_r(const char *Name, struct hostent *Host, u32 Unused);

/* The local time as "Thu Jan  1 00:00:00 1970\n". Required: copied as strncpy does, so a Length below 26 gives no
 * terminator. A time whose year does not fit gives an empty text. Returns 0. */
i32 SupOS_ctime_r(const time_t *Time, char *Out, u32 Length);

/* The text of an errno value, cut to Length bytes with its terminator; of the values 2, 12, 13, 17 and 28 it comes
 * from the message catalogue, and there Length must hold it whole, or SupER_GetMessage ends the process.
 * Returns 0, or -1 when there is no text or Length is 0. */
i32 SupOS_GetErroString(i32 Error, char *Out, u32 Length);

VELA_END

#endif
