#ifndef SUPOS_SERVICES_H
#define SUPOS_SERVICES_H

/* Small services under their Unix names. */

#include "vela_types.h"

VELA_BEGIN

VELA_API char *SupOS_strtok_r(char *Text, const char *Delimiters, char **Context);

VELA_END

#endif
