#ifndef SUPOS_ENVIRONMENT_H
#define SUPOS_ENVIRONMENT_H

/* The environment that a region gives its processes. */

#include "vela_types.h"

VELA_BEGIN

/**
 * Sets environment variables from the region's file "environment", which lies in the region's directory below
 * vela_regions below the registry's DataPath. A region without the file changes nothing.
 *
 * @param[in] Region  name of the region
 *
 * The file is text, a line of at most 511 bytes an assignment:
 *
 *     # a comment; blank lines are skipped too
 *     NAME=value                letters, digits and underscores; no blank before '='
 *     NAME="two words"          a pair of quotes " or ' around the value falls away, and so do blanks behind it
 *     PATH=/opt/vela/bin:%PATH% the value of another variable; one that is not set stays as it is written
 *     NAME=                     removes the variable
 *
 * Any other line is passed over without a word, and so is one that grows beyond 4095 bytes by its references. Later
 * lines see the variables of earlier ones.
 *
 * A registry without DataPath ends the process with exit code 99, a lack of memory with exit code 1. For process start,
 * before threads. Traces as SUPOS.
 */
VELA_API void SupOS_Environment(const char *Region);

VELA_END

#endif
