#ifndef INFTR_H
#define INFTR_H

/* The trace facility: process-wide trace state, process and thread ends, record writers, dumps.
 *
 * A trace point first runs the guard of inftr_guard.h; only when the guard says yes does it call a writer of this
 * header. Every layout below is the one that other modules of a process see through the exported pointers. */

#include "tks_thread.h"
#include "vela_types.h"

VELA_BEGIN

/* Classes of trace points, one bit each. */
#define INFTR_CLASS_EVENT 0x2u
#define INFTR_CLASS_ERROR 0x8u
#define INFTR_CLASS_EXCEPTION 0x10u
#define INFTR_CLASS_ENTRY 0x40u
#define INFTR_CLASS_API_ENTRY 0x80u
#define INFTR_CLASS_ERROR_EXIT 0x100u
#define INFTR_CLASS_TYPED_EXIT 0x200u
#define INFTR_CLASS_VOID_EXIT 0x400u
#define INFTR_CLASS_MID 0x8000u
#define INFTR_CLASS_HEX 0x10000u

#define INFTR_COMPONENT_COUNT 116
#define INFTR_PRODUCT_COUNT 1
#define INFTR_PRODUCT_ROWS 15
#define INFTR_SPEC_TABLE_SIZE (INFTR_PRODUCT_ROWS * INFTR_COMPONENT_COUNT)
#define INFTR_LEVEL_COUNT 6

#define INFTR_MAXSIZE_DATA 4040
#define INFTR_MAXSIZE_RECORD 4096

/* A trace record: 56 bytes of header, then DataLength bytes of data. Native byte order, no padding.
 * The layout of the data by class stands in docs/formats.md. */
struct InfTR_TraceHeader {
    u8 EyeCatcher[4]; /*  0  06 0A 19 68 */
    u32 SequenceNumber; /*  4  per thread, counted by the auxiliary file */
    u32 ProcessId; /*  8 */
    u32 ThreadId; /* 12 */
    char ProcessTag[4]; /* 16 */
    u16 DataLength; /* 20  a multiple of 4 once written */
    u16 Component; /* 22 */
    u16 Depth; /* 24 */
    u16 RecordType; /* 26  1409 to 1416 */
    u32 Seconds; /* 28 */
    u32 NanoSeconds; /* 32  a multiple of 1000 */
    i32 TimeZone; /* 36 */
    i32 Daylight; /* 40 */
    u32 CounterHigh; /* 44 */
    u32 CounterLow; /* 48 */
    u32 Class; /* 52 */
};

typedef struct InfTR_TraceRecord {
    struct InfTR_TraceHeader TraceHeader;
    u8 Data[INFTR_MAXSIZE_DATA]; /* 56 */
} TraceRecord;

/* The ring's header; the ring's data stands directly behind it. A dump file is a copy of both. */
struct InfTR_RingHeader {
    char RingEyeCatcher[8]; /*  0  "ERZ49RNG" */
    i32 RingSize; /*  8  capacity in bytes */
    i32 RingOffset; /* 12  where the next byte goes */
    i32 RingFree; /* 16  bytes from there to the end */
    char RingRegion[8]; /* 20  blank-padded */
    char RingProgram[8]; /* 28  blank-padded */
};

/* The master trace area. Flags are compared with 1, any other value counts as off. */
struct InfTR_MasterTraceArea {
    char EyeCatcher[8]; /* "ERZ49MST", no terminator */
    tks_Mutex MasterLock; /* guards NextDumpIndex */
    u32 TraceFlagAux;
    u32 TraceFlagBuffer;
    u32 TraceFlagExec;
    u32 TraceFlagExternal;
    u32 ReservedFlag;
    u32 TraceFlagMaster;
    u32 TraceFlagSystem;
    u32 TraceFlagUser;
    i32 TraceMaxSizeAux; /* bytes, 0 = unlimited */
    i32 TraceMaxSizeBuffer; /* bytes, at least 4096; read once at process start */
    i32 NextDumpIndex;
    u32 ReservedWord;
    u8 TraceSpecTable[2][INFTR_SPEC_TABLE_SIZE]; /* a level, 0 to 5, at the index of its component */
    u8 ReservedBytes[9];
    char TraceSystemSpec[256];
    char TraceDirectorySystem[256];
    char TraceDirectoryUser[256];
    u32 SpecTableInUse; /* 1 = the first table, any other value = the second */
};

/* States of a thread's auxiliary file. */
#define INFTR_FILESTATUS_UNINIT 0u
#define INFTR_FILESTATUS_CLOSED 1u
#define INFTR_FILESTATUS_OPEN 2u
#define INFTR_FILESTATUS_STOPPED 3u
#define INFTR_FILESTATUS_FAILED 4u
#define INFTR_FILESTATUS_DEAD 5u

#define INFTR_FILENAME_SIZE 1024

/* One thread's auxiliary trace file. */
typedef struct InfTR_TraceFile {
    tks_Mutex Lock; /* guards all of the block */
    u32 FileStatus;
    u32 FileType;
    i32 Descriptor;
    i32 MaximumSize; /* bytes, 0 = unlimited */
    i32 BytesLeft; /* before the next wrap */
    u32 SequenceNumber;
    i32 Position;
    struct InfTR_TraceFile *Next; /* in ThreadFileList, guarded by ThreadFileLock */
    i32 LastError; /* errno of the call that failed */
    char Name[INFTR_FILENAME_SIZE];
    i32 Offset; /* where the next write lands; spares an lseek for each record */
} TraceFile;

/* The process cache: one block per process, the ring at its end. Never freed. */
struct InfTR_ProcessCache {
    char EyeCatcher[8]; /* "ERZ49PRC" */
    tks_Mutex ThreadFileLock; /* guards ThreadFileList; before a TraceFile's own lock */
    tks_Mutex ProcessFileLock;
    tks_Mutex RingLock; /* guards the ring; a leaf */
    char *RegionNamePtr;
    u32 ProcessId;
    i32 ProductIndex; /* 1 or more: this process traces nothing */
    u32 StartWord;
    char ProcessTag[4]; /* copied into every record */
    u32 Unused;
    u32 TerminateFlag; /* set by another module of the process; InfTR_ProcessTerminate then does nothing */
    u32 ZeroedWords[2];
    TraceFile *ThreadFileList;
    TraceFile ProcessFiles[3];
    char RegionField[9];
    char ProgramField[9];
    struct InfTR_RingHeader Ring;
    u8 RingData[4]; /* RingSize bytes and 4 spare ones */
};

extern VELA_API struct InfTR_MasterTraceArea InfTR_MasterTraceArea;

/* NULL until the master area may be read. */
extern VELA_API struct InfTR_MasterTraceArea *InfTR_TracePtr;

/* NULL until the process cache exists with its ring and slots; every level then counts as 0. */
extern VELA_API struct InfTR_ProcessCache *InfTR_CachePtr;

/* Classes that a level lets through. */
extern VELA_API const u32 InfTR_ProductMaskTable[INFTR_LEVEL_COUNT];

/* An option of a utility's command line; Value is NULL in a table, all ones for a given option without a value. */
struct InfTR_OptionRow {
    char *Name; /* NULL ends the table */
    u32 TakesValue;
    char *Value;
};

struct InfTR_ActionRow {
    i32 Number;
    char *Name; /* NULL ends the list */
    struct InfTR_OptionRow *Options;
};

/* The commands of a trace-control utility: "" (help), "dump" and "set". Never changed; a row without a name ends it. */
extern VELA_API struct InfTR_ActionRow InfTR_TC_ActionList[];

/**
 * Starts the trace facility: the normal way into this library, before any other call that is to leave a trace.
 *
 * @param[in] ProgramPath  path of the program, as in argv[0]; of its last part the first 8 characters name the trace
 *                         files. NULL counts as an empty text.
 * @param[in] RegionName   name of the region; what stands behind its first 8 characters is not used. NULL as empty.
 *
 * Reads VELATRACE and VELAEXTERNALTRACE, fills InfTR_MasterTraceArea, then calls InfTR_InitProcess with 0 for the rest.
 * Bad options are logged and skipped. Without memory for the process cache the process ends with exit code 99.
 * For the process's first thread alone, before it starts others. Traces as INFTR: only its exit, since nothing can be
 * traced before.
 */
VELA_API void InfTR_SInit(char *ProgramPath, char *RegionName);

/**
 * Creates the process cache with the ring, and the two thread-data slots.
 *
 * @param[in] ProgramPath   as for InfTR_SInit
 * @param[in] RegionName    as for InfTR_SInit; also fills the names table
 * @param[in] Word          kept in StartWord, read by nothing here
 * @param[in] Unused        ignored
 * @param[in] ProductIndex  0 in an ordinary process; with 1 or more it traces nothing
 *
 * A process that calls it without InfTR_SInit has filled InfTR_MasterTraceArea first: eye-catcher, MasterLock
 * initialised, flags, TraceMaxSizeBuffer (a value below 4096 counts as 4096), and the level table in use. Without memory
 * it logs ERZ049010E and leaves InfTR_CachePtr NULL, which the caller tests. The cache is never freed. A second call
 * makes a second cache. Before other threads start. Traces as INFTR.
 */
VELA_API void InfTR_InitProcess(char *ProgramPath, char *RegionName, u32 Word, u32 Unused, i32 ProductIndex);

/**
 * Ends the calling thread's trace: the last act of a thread, in place of the exit record of its outermost function.
 *
 * @param[in] Component     goes into the exit record; the level of component INFTR decides whether there is one
 * @param[in] FunctionName  of the outermost function
 * @param[in] Point         exit point
 *
 * Closes the thread's auxiliary file and frees the thread's record buffer; trace points behind it leave no record. A
 * thread that never calls it leaks both until the process ends. With TerminateFlag set a thread that has a file keeps
 * file and buffer. Takes ThreadFileLock, then the file's lock, not both at once.
 */
VELA_API void InfTR_ThreadExit(u16 Component, const char *FunctionName, u32 Point);

/**
 * Tells the facility that the process is about to end; called before every tks_Exit.
 *
 * Does nothing without trace state or with TerminateFlag set. Open auxiliary files are left to the system; the ring is
 * not dumped. Carries no guard.
 */
VELA_API void InfTR_ProcessTerminate(void);

/**
 * Gives out the next number for a dump file, from 0 upward; 0 without counting when no trace state exists.
 *
 * From any thread: MasterLock guards the count. Carries no guard.
 */
VELA_API i32 InfTR_GetNextDumpIndex(void);

/**
 * Writes the ring to a new file PROGRAM.pPID.INDEX.veladmp, an exact image of header and data.
 *
 * @param[in] DumpIndex     goes into the file name, as %03d
 * @param[in] SubDirectory  NULL: the file lies in TraceDirectorySystem. Otherwise in the directory SUB_TRACE below it,
 *                          made when missing; SUB is the text before the first "."
 *
 * Logs ERZ049008I with the name, or ERZ049007E with what failed. A ring without a record writes no file and says so in a
 * service message. Tracing threads wait on RingLock while the file is written. The descriptor stays open until the
 * process ends. Returns at once without trace state. Traces as INFTR.
 */
VELA_API void InfTR_DumpRingBuffer(u32 DumpIndex, const char *SubDirectory);

/**
 * Puts the arguments of an entry record in place; stands only as the fourth argument of InfTR_TraceFnEntry.
 *
 * @param[in] Format  printf format of the arguments, "(void)" for none. A text above 4006 bytes ends the process with
 *                    exit code 99, so a text of unknown length has no place in it. Of a text above 255 bytes the record
 *                    shows the first (length modulo 256).
 *
 * Returns the thread's record, NULL when no sink is on, the thread has ended or there is no memory. No locks.
 */
VELA_API TraceRecord *InfTR_EntryArgs(const char *Format, ...) VELA_PRINTF(1, 2);

/**
 * Writes an entry record, INFTR_CLASS_ENTRY or INFTR_CLASS_API_ENTRY, and counts the thread's depth up.
 *
 * @param[in] Component     does not reach the record, which shows the component of the thread's previous one
 * @param[in] FunctionName  cut to 30 characters
 * @param[in] Record        from InfTR_EntryArgs; NULL leaves the mark of a lost record
 *
 * Behind a guard that said yes, like all writers. Any thread; RingLock is held for the copy into the ring.
 */
VELA_API void InfTR_TraceFnEntry(u16 Component, const char *FunctionName, u32 Class, TraceRecord *Record);

/** Writes the exit record of a function without a result: Point, and up to 31 characters of the name. */
VELA_API void InfTR_TraceVoidExit(u16 Component, const char *FunctionName, u32 Point);

/** Writes the exit record of a function that returns a code; Code is by convention its low 21 bits. */
VELA_API void InfTR_TraceErrorExit(u16 Component, const char *FunctionName, u32 Code, u32 Point);

/** Writes the exit record of a function with another result: of Value, Size bytes, at most 4. A Size of 0 or less and a
 * NULL Value copy nothing. */
VELA_API void InfTR_TraceTypedExit(u16 Component, const char *FunctionName, i32 Size, const void *Value, u32 Point);

VELA_END

#endif
