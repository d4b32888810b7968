#ifndef SUPER_INT_H
#define SUPER_INT_H

/* What the files of the message facility share: the per-thread block, symptoms, condition names. */

#include <stdarg.h>
#include <stddef.h>

#include "super_formatting.h"
#include "tks_thread.h"

VELA_BEGIN

/* Messages that this facility issues itself. ERZ057002E and ERZ057006E stand in super_assert.h. */
#define SUPER_MSG_NO_DATA 0x0E409045u /* ERZ057017E  no memory for SupERData */
#define SUPER_MSG_BUFFER_OVERFLOW 0x0E40B055u /* ERZ057021E  message longer than its buffer */
#define SUPER_MSG_SYMPTOM_FLUSH 0x0E40C05Au /* ERZ057022W  a symptom could not be flushed */
#define SUPER_MSG_SYMPTOM_WRITE 0x0E41006Au /* ERZ057026W  a symptom could not be written */
#define SUPER_MSG_GTI_OVERFLOW 0x0E416081u /* ERZ057032E  text without identifier longer than its buffer */

#define SUPER_EXIT_NO_DATA 98
#define SUPER_CATALOG_NAME "vela.cat"
#define SUPER_NOT_OPEN 0xFFFFFFFFu
#define SUPER_CATALOG_TRIES 5

#define SUPER_PRODUCT "8831QX470"
#define SUPER_RELEASE "620"

/* Lengths of the texts of a symptom, without terminator. */
#define SUPER_FUNC_SIZE 30
#define SUPER_LEVEL_SIZE 32
#define SUPER_SECONDARY_SIZE 512

typedef struct SymptomRecord {
    i32 Line;
    u32 MesgNumber;
    i32 MSN;
    i32 Source; /* SUPER_SOURCE_* */
    i32 RetCode; /* exit or return code */
    u32 Abcode; /* abend code, 0 if none */
    char Func[SUPER_FUNC_SIZE + 1];
    char Level[SUPER_LEVEL_SIZE + 1];
    char Secondary[516];
    i32 ProcessId;
    i32 ThreadId; /* always 0 */
} SymptomRecord;

/* The per-thread block of the message facility. No lock: a thread sees its own block alone. */
typedef struct SupERData {
    u32 Reserved; /* all ones */
    u32 Catalog; /* descriptor of the message catalogue; SUPER_NOT_OPEN while it is not open */
    u32 Stored; /* 1 while a symptom waits to be written */
    SymptomRecord Symptom;
    u32 OtherBusy; /* 1 while SupER_Log runs for neither stream ... */
    u32 ConsoleBusy; /* ... for the console ... */
    u32 StdoutBusy; /* ... for standard output alone */
    tks_Mutex *OutputLock; /* keeps the symptoms of all threads apart; NULL while the block is being built */
    u32 ReservedEnd; /* 0 */
} SupERData;

/* The calling thread's block, made at the first call. Never NULL: without memory the process ends with code 98. */
SupERData *SupER_GetData(void);

/* Clears a block's state and opens the catalogue when that is not open. Data may be NULL. */
void SupER_InitData(SupERData *Data);

/* A catalogue descriptor, SUPER_NOT_OPEN after SUPER_CATALOG_TRIES failures. */
u32 SupER_TKSCatOpen(const char *Name, i32 Flag);

/* The name of an abend code: at most five characters into the 6 bytes of Buffer, which is returned. */
char *SupER_AbToStr(char *Buffer, u32 Code);

/* Writes a stored symptom to standard error. Returns the calling thread's block. */
SupERData *SupER_IFlushSymptom(void);

/* Forgets a stored symptom. */
void SupER_ClearSymptom(void);

/* Local date and time with nanoseconds, "MM/DD/YY HH:MM:SS.nnnnnnnnn": 27 characters. Returns their count. */
#define SUPER_TIME_TEXT_ROOM 50
size_t SupER_TimeText(char Out[SUPER_TIME_TEXT_ROOM]);

/* Room of a service message with its line end and terminator. */
#define SUPER_SERVICE_ROOM 1032

/* Forms the line of a service message in the SUPER_SERVICE_ROOM bytes of Buffer; a longer text is cut. */
void SupER_ServiceFormatMessage(const char *Format, char *Buffer, va_list Args);

/* A condition of the application programming interface. */
typedef struct SupER_Condition {
    const char *Name; /* empty for an unassigned code, NULL in the row that ends the table */
    u32 Code;
} SupER_Condition;

#define SUPER_CONDITION_COUNT 94
extern const SupER_Condition ConditionNameTable[SUPER_CONDITION_COUNT + 1];

VELA_END

#endif
