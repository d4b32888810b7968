#ifndef SUPOS_FAULTS_H
#define SUPOS_FAULTS_H

/* The report of an exception that nobody handled. */

#include "vela_types.h"
#include "win32_debug.h"

VELA_BEGIN

/**
 * The exception filter of a region's processes; hand it to SetUnhandledExceptionFilter (win32_debug.h) at process start,
 * after SupOS_SigInit, which loads what symbols need.
 *
 * @param[in] Pointers  the exception and the registers of its thread, as a filter gets them
 *
 * Writes the report into the file "velaPID.traceback" of the working directory, or to descriptor 2 where that cannot be
 * made, and then closes the descriptor, 2 too. Tells so in two service messages, and stores and writes a symptom. An
 * exception object of the thread library (code 0xE0646365) is reported only when it comes with its address alone, and
 * that is neither pthread_cancel_e nor one of the two orderly ends of a region: those end without a report.
 *
 * Environment, read at the report: VELA_MINIDUMP (set to anything) asks for a memory dump, which this system refuses and
 * the report then says so; SystemRoot, _NT_SYMBOL_PATH and _NT_ALTERNATE_SYMBOL_PATH are shown as symbol path.
 *
 * @return always 1: the handler's turn, which ends the process
 *
 * Runs on the failing thread and takes no lock of its own; a fault in the report is told on standard error and ends the
 * report. Two threads that fail at once write into one file. Traces nothing.
 */
VELA_API u32 SupOS_ExceptionHandler(EXCEPTION_POINTERS *Pointers);

VELA_END

#endif
