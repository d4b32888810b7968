#ifndef SUPPR_EXCEPTIONS_H
#define SUPPR_EXCEPTIONS_H

/* Names of exceptions. */

#include "qrt_exceptions.h"
#include "vela_types.h"

VELA_BEGIN

#define SUPPR_EXCEPTION_TEXT_SIZE 200

/**
 * The name of an exception as text, such as "rpc_x_comm_failure".
 *
 * @param[in] Exception  compared by its first two words with the exceptions of the thread library, of the
 *                       remote-procedure-call runtime and of a region; must not be null
 *
 * @return the name, or "kind=" with the first word in hexadecimal for an exception that is none of them. It stands in
 *         one buffer of the process, which the next call overwrites, whichever thread makes it: there is no lock.
 *
 * Traces as SUPPR, API entry.
 */
VELA_API char *SupPR_ExceptionToString(const exc_Object *Exception);

VELA_END

#endif
