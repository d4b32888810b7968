// Build levels of the source components, which symptom records carry.
//
// Time and date are those of the compilation. A build that must come out the same twice defines VELA_BUILD_TIME and
// VELA_BUILD_DATE as texts in the form of __TIME__ and __DATE__, or sets SOURCE_DATE_EPOCH where the compiler heeds it.

#include "super_int.h"
#include "super_logging.h"

#ifndef VELA_BUILD_TIME
#define VELA_BUILD_TIME __TIME__
#endif
#ifndef VELA_BUILD_DATE
#define VELA_BUILD_DATE __DATE__
#endif

#define SUPER_LEVEL_TEXT(Component) "@(#)" Component ", " VELA_BUILD_TIME ", " VELA_BUILD_DATE ", " SUPER_RELEASE

constinit const char *SupER_ServiceLevel11 = SUPER_LEVEL_TEXT("tersh");
constinit const char *SupER_ServiceLevel45 = SUPER_LEVEL_TEXT("regse");
constinit const char *SupER_ServiceLevel49 = SUPER_LEVEL_TEXT("inftr");
constinit const char *SupER_ServiceLevel56 = SUPER_LEVEL_TEXT("suppr");
constinit const char *SupER_ServiceLevel57 = SUPER_LEVEL_TEXT("super");
constinit const char *SupER_ServiceLevel58 = SUPER_LEVEL_TEXT("supos");
constinit const char *SupER_ServiceLevel62 = SUPER_LEVEL_TEXT("terbm");
