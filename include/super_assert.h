#ifndef SUPER_ASSERT_H
#define SUPER_ASSERT_H

/* The end of a process on a program error: message, symptom, exit code 99.
 *
 *     SUPER_ASSERT_EXIT(SUPOS, 3, "(rc == TRUE)", 140, "sup\\os\\nt_intel\\src\\supos_reg", 1410,
 *                       "Failed to access registry key %s%s", root, key);
 *
 * The sequence: ERZ057002E with condition, function, line, file and component; the diagnostic (a printf format and its
 * arguments, at most 511 bytes), stored and written as a symptom; ERZ057006E; the function's exit record; then the end.
 * It is written out at each place. Arguments are evaluated more than once, so they have no side effects. */

#include "inftr_guard.h"
#include "super_logging.h"
#include "super_symptoms.h"
#include "tks_process.h"

#define SUPER_MSG_PROGRAM_CHECK 0x0E402009u /* ERZ057002E */
#define SUPER_MSG_PROCESS_ENDING 0x0E406019u /* ERZ057006E */
#define SUPER_EXIT_PROGRAM_CHECK 99

#define SUPER_LEVEL_NAME_(Number) SupER_ServiceLevel##Number
#define SUPER_LEVEL_NAME(Number) SUPER_LEVEL_NAME_(Number)

/* The sequence up to the function's exit record.
 * Component is one of the words of INFTR_COMPONENT_*; File the source's name below the source tree, backslashes. */
#define SUPER_ASSERT_REPORT(Component, ConditionText, Function, Line, File, MSN, ...)                                  \
    do {                                                                                                               \
        SupER_Log(SUPER_CONSOLE, SUPER_MSG_PROGRAM_CHECK, (MSN), (ConditionText), (Function), (int)(Line), (File),     \
                  (int)INFTR_COMPONENT_##Component);                                                                   \
        SupER_FormatDiag(__VA_ARGS__);                                                                                 \
        SupER_StoreSymptom((Function), SUPER_LEVEL_NAME(INFTR_COMPONENT_##Component), (Line),                          \
                           SUPER_MSG_PROCESS_ENDING, (MSN), SUPER_SOURCE_ASSERTION, SUPER_EXIT_PROGRAM_CHECK, 0,       \
                           SUPER_SECONDARY_MARKER);                                                                    \
        SupER_FlushSymptom();                                                                                          \
        SupER_Log(SUPER_CONSOLE, SUPER_MSG_PROCESS_ENDING, (MSN), "", 5);                                              \
    } while (0)

/* In a function with INFTR_FUNCTION; Point goes into its exit record. */
#define SUPER_ASSERT_EXIT(Component, Point, ConditionText, Line, File, MSN, ...)                                       \
    do {                                                                                                               \
        SUPER_ASSERT_REPORT(Component, ConditionText, inftrFunction, Line, File, MSN, __VA_ARGS__);                    \
        INFTR_EXIT_CODE(Point, SUPER_EXIT_PROGRAM_CHECK);                                                              \
        InfTR_ProcessTerminate();                                                                                      \
        tks_Exit(SUPER_EXIT_PROGRAM_CHECK);                                                                            \
    } while (0)

/* In a function that carries no guard. */
#define SUPER_ASSERT_EXIT_UNTRACED(Component, Function, ConditionText, Line, File, MSN, ...)                           \
    do {                                                                                                               \
        SUPER_ASSERT_REPORT(Component, ConditionText, Function, Line, File, MSN, __VA_ARGS__);                         \
        InfTR_ProcessTerminate();                                                                                      \
        tks_Exit(SUPER_EXIT_PROGRAM_CHECK);                                                                            \
    } while (0)

#endif
