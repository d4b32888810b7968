// Signals: the end of a process that gets one which it did not expect.

#include "supos_services_int.h"

#include "inftr_guard.h"
#include "plat_signal.h"
#include "super_logging.h"
#include "super_symptoms.h"
#include "supos_trap_int.h"
#include "tks_process.h"

constexpr u32 unexpectedSignal = 0x0E872E51; // ERZ058916E
constexpr i32 unexpectedSignalMSN = 1;
constexpr i32 symptomLine = 118;
constexpr i32 exitCode = 99;

void SupOS_SignalHandler(i32 Signal)
{
    INFTR_FUNCTION(SUPOS, "SupOS_SignalHandler");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(%d)", Signal);

    if (Signal != PLAT_SIGINT) { // an interrupt is a wish, all others are faults
        SupER_FormatDiag("Unexpected signal %d caught", Signal);
        SupER_StoreSymptom(inftrFunction, SupER_ServiceLevel58, symptomLine, unexpectedSignal, unexpectedSignalMSN,
                           SUPER_SOURCE_ASSERTION, 0, 0, SUPER_SECONDARY_MARKER);
        SupER_FlushSymptom();
        SupER_Log(SUPER_CONSOLE, unexpectedSignal, unexpectedSignalMSN, Signal);
    }
    InfTR_ProcessTerminate();
    tks_Exit(exitCode);
}

void SupOS_SigInit(void)
{
    static constexpr i32 signals[] = {PLAT_SIGABRT, PLAT_SIGFPE, PLAT_SIGILL, PLAT_SIGINT, PLAT_SIGSEGV, PLAT_SIGTERM};

    INFTR_FUNCTION(SUPOS, "SupOS_SigInit");
    INFTR_ENTRY(INFTR_CLASS_ENTRY, "(void)");

    for (const i32 signal : signals) plat_signal(signal, SupOS_SignalHandler);
    static constinit u32 librariesLoaded = 0; // a failing process cannot load what its report needs
    if (__atomic_exchange_n(&librariesLoaded, 1, __ATOMIC_ACQ_REL) == 0) SupOS_LoadDiagnosticLibraries();
    INFTR_RETURN(1);
}
