#ifndef INFTR_CONTROL_H
#define INFTR_CONTROL_H

/* Control of the trace facility from inside this library and its tests: options, specification, auxiliary files, and
 * the parser for the command lines of trace utilities. */

#include "inftr.h"

VELA_BEGIN

#define INFTR_ERR_NO_MEMORY 0x18A00001u
#define INFTR_ERR_NO_ACTION 0x18A00002u
#define INFTR_ERR_NO_OPTION 0x18A00003u
#define INFTR_ERR_NO_VALUE 0x18A00004u

/* The value of a given option that takes none. */
#define INFTR_OPTION_GIVEN ((char *)(intptr_t)-1)

#define INFTR_COMMAND_DUMP 2u
#define INFTR_COMMAND_TERMINATE 4u
#define INFTR_COMMAND_CLOSE_FILES 5u

/* The one action of the format utility, in the shape of InfTR_TC_ActionList. */
extern struct InfTR_ActionRow InfTR_FormatActionList[];

/* Applies an option string ("-B ON -t ALL=3") to Master, and rebuilds the level table when a -t was accepted.
 *
 * Options     cut in place by the scanner; of any length
 * LogChanges  not 0: each accepted option logs its new value
 *
 * Bad options are logged and skipped. Beside any number of guards, never beside another update. */
void InfTR_UpdateMasterTrace(struct InfTR_MasterTraceArea *Master, char *Options, i32 LogChanges);

/* Turns Master's TraceSystemSpec into the level table not in use, and flips SpecTableInUse as the last act. */
void InfTR_UpdateTraceSpecTable(struct InfTR_MasterTraceArea *Master);

/* Parses the command line of a trace utility.
 *
 * CommandLine  "set -B ON -t ALL=3": an action of no or more words, then its options; not changed
 * List         the utility's actions
 * Result       receives one block: the action's row with a table of its own, where a given option has its value, or
 *              INFTR_OPTION_GIVEN, and every other option NULL. The caller frees it with tks_trace_Free. NULL on failure.
 *
 * Returns 0 or one of INFTR_ERR_*. */
u32 InfTR_GetAction(const char *CommandLine, const struct InfTR_ActionRow *List, struct InfTR_ActionRow **Result);

/* The option row of that name, or NULL. */
struct InfTR_OptionRow *InfTR_GetOption(const struct InfTR_ActionRow *Action, const char *Name);

/* Low half of Command: 2 dumps the ring with the high half as index, 5 closes the open auxiliary files of all threads
 * until their next record; any other does nothing but trace. */
void InfTR_ControlAux(u32 Command);

VELA_END

#endif
