#ifndef VELA_TYPES_H
#define VELA_TYPES_H

/* Types, codes and marks that all headers of libvelaco share. */

#include "plat_types.h"

#define VELA_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define VELA_BEGIN extern "C" {
#define VELA_END }
#else
#define VELA_BEGIN
#define VELA_END
#endif

/* Marks a call whose arguments follow a printf format. */
#define VELA_PRINTF(FormatArgument, FirstArgument) __attribute__((format(printf, FormatArgument, FirstArgument)))

/* A return code: 0 for success, else the facility in the high bits and the code within it in the low 21. */
#define ERZ_OK 0u
#define VELA_CODE_MASK 0x1FFFFFu

/* Component numbers of this library; the same numbers are message sets. The whole list is in inftr_components. */
#define INFTR_COMPONENT_TERSH 11
#define INFTR_COMPONENT_COMRL 41
#define INFTR_COMPONENT_REGSE 45
#define INFTR_COMPONENT_INFTR 49
#define INFTR_COMPONENT_SUPPR 56
#define INFTR_COMPONENT_SUPER 57
#define INFTR_COMPONENT_SUPOS 58
#define INFTR_COMPONENT_TERBM 62

/* General codes of the operating-system layer. */
#define SupOS_RC_REALLOC 0x1D200004u
#define SupOS_RC_NOMEM 0x1D20000Au
#define SupOS_RC_SYSTEM 0x1D20000Eu

#endif
