/* What hosts build against, as numbers: layouts that other modules see through exported pointers or read from files, and
 * the values of public constants. Compiled as C and as C++, so that both see the same. Nothing runs. */

#include "velaco.h"

#include <stddef.h>

#ifdef __cplusplus
#define HOLDS(Condition) static_assert(Condition, #Condition)
#else
#define HOLDS(Condition) _Static_assert(Condition, #Condition)
#endif

#define AT(Structure, Field, Offset) HOLDS(offsetof(struct Structure, Field) == (Offset))
#define FOLLOWS(Structure, First, Second)                                                                              \
    HOLDS(offsetof(struct Structure, Second) ==                                                                        \
          offsetof(struct Structure, First) + sizeof(((struct Structure *)0)->First))
#define BEFORE(Structure, First, Second) HOLDS(offsetof(struct Structure, First) < offsetof(struct Structure, Second))

/* ---- a record, in the ring and in files ---- */
AT(InfTR_TraceHeader, EyeCatcher, 0);
AT(InfTR_TraceHeader, SequenceNumber, 4);
AT(InfTR_TraceHeader, ProcessId, 8);
AT(InfTR_TraceHeader, ThreadId, 12);
AT(InfTR_TraceHeader, ProcessTag, 16);
AT(InfTR_TraceHeader, DataLength, 20);
AT(InfTR_TraceHeader, Component, 22);
AT(InfTR_TraceHeader, Depth, 24);
AT(InfTR_TraceHeader, RecordType, 26);
AT(InfTR_TraceHeader, Seconds, 28);
AT(InfTR_TraceHeader, NanoSeconds, 32);
AT(InfTR_TraceHeader, TimeZone, 36);
AT(InfTR_TraceHeader, Daylight, 40);
AT(InfTR_TraceHeader, CounterHigh, 44);
AT(InfTR_TraceHeader, CounterLow, 48);
AT(InfTR_TraceHeader, Class, 52);
HOLDS(sizeof(struct InfTR_TraceHeader) == 56);
AT(InfTR_TraceRecord, Data, 56);
HOLDS(sizeof(TraceRecord) == INFTR_MAXSIZE_RECORD);
HOLDS(INFTR_MAXSIZE_DATA == 4040 && INFTR_MAXSIZE_RECORD == 4096);

/* ---- the ring, and a dump file ---- */
AT(InfTR_RingHeader, RingEyeCatcher, 0);
AT(InfTR_RingHeader, RingSize, 8);
AT(InfTR_RingHeader, RingOffset, 12);
AT(InfTR_RingHeader, RingFree, 16);
AT(InfTR_RingHeader, RingRegion, 20);
AT(InfTR_RingHeader, RingProgram, 28);
HOLDS(sizeof(struct InfTR_RingHeader) == 36);

/* ---- the master trace area ---- */
AT(InfTR_MasterTraceArea, EyeCatcher, 0);
FOLLOWS(InfTR_MasterTraceArea, EyeCatcher, MasterLock);
FOLLOWS(InfTR_MasterTraceArea, MasterLock, TraceFlagAux);
FOLLOWS(InfTR_MasterTraceArea, TraceFlagAux, TraceFlagBuffer);
FOLLOWS(InfTR_MasterTraceArea, TraceFlagBuffer, TraceFlagExec);
FOLLOWS(InfTR_MasterTraceArea, TraceFlagExec, TraceFlagExternal);
FOLLOWS(InfTR_MasterTraceArea, TraceFlagExternal, ReservedFlag);
FOLLOWS(InfTR_MasterTraceArea, ReservedFlag, TraceFlagMaster);
FOLLOWS(InfTR_MasterTraceArea, TraceFlagMaster, TraceFlagSystem);
FOLLOWS(InfTR_MasterTraceArea, TraceFlagSystem, TraceFlagUser);
FOLLOWS(InfTR_MasterTraceArea, TraceFlagUser, TraceMaxSizeAux);
FOLLOWS(InfTR_MasterTraceArea, TraceMaxSizeAux, TraceMaxSizeBuffer);
FOLLOWS(InfTR_MasterTraceArea, TraceMaxSizeBuffer, NextDumpIndex);
FOLLOWS(InfTR_MasterTraceArea, NextDumpIndex, ReservedWord);
FOLLOWS(InfTR_MasterTraceArea, ReservedWord, TraceSpecTable);
FOLLOWS(InfTR_MasterTraceArea, TraceSpecTable, ReservedBytes);
FOLLOWS(InfTR_MasterTraceArea, ReservedBytes, TraceSystemSpec);
FOLLOWS(InfTR_MasterTraceArea, TraceSystemSpec, TraceDirectorySystem);
FOLLOWS(InfTR_MasterTraceArea, TraceDirectorySystem, TraceDirectoryUser);
BEFORE(InfTR_MasterTraceArea, TraceDirectoryUser, SpecTableInUse);
HOLDS(sizeof(((struct InfTR_MasterTraceArea *)0)->TraceSpecTable) == 2 * 1740);
HOLDS(sizeof(((struct InfTR_MasterTraceArea *)0)->ReservedBytes) == 9);
HOLDS(sizeof(((struct InfTR_MasterTraceArea *)0)->TraceSystemSpec) == 256);
HOLDS(sizeof(((struct InfTR_MasterTraceArea *)0)->TraceDirectorySystem) == 256);
HOLDS(sizeof(((struct InfTR_MasterTraceArea *)0)->TraceDirectoryUser) == 256);
HOLDS(INFTR_COMPONENT_COUNT == 116 && INFTR_PRODUCT_COUNT == 1 && INFTR_SPEC_TABLE_SIZE == 1740);

/* ---- the process cache ---- */
AT(InfTR_ProcessCache, EyeCatcher, 0);
FOLLOWS(InfTR_ProcessCache, EyeCatcher, ThreadFileLock);
FOLLOWS(InfTR_ProcessCache, ThreadFileLock, ProcessFileLock);
FOLLOWS(InfTR_ProcessCache, ProcessFileLock, RingLock);
FOLLOWS(InfTR_ProcessCache, RingLock, RegionNamePtr);
FOLLOWS(InfTR_ProcessCache, RegionNamePtr, ProcessId);
FOLLOWS(InfTR_ProcessCache, ProcessId, ProductIndex);
FOLLOWS(InfTR_ProcessCache, ProductIndex, StartWord);
FOLLOWS(InfTR_ProcessCache, StartWord, ProcessTag);
FOLLOWS(InfTR_ProcessCache, ProcessTag, Unused);
FOLLOWS(InfTR_ProcessCache, Unused, TerminateFlag);
FOLLOWS(InfTR_ProcessCache, TerminateFlag, ZeroedWords);
BEFORE(InfTR_ProcessCache, ZeroedWords, ThreadFileList);
FOLLOWS(InfTR_ProcessCache, ThreadFileList, ProcessFiles);
FOLLOWS(InfTR_ProcessCache, ProcessFiles, RegionField);
FOLLOWS(InfTR_ProcessCache, RegionField, ProgramField);
BEFORE(InfTR_ProcessCache, ProgramField, Ring);
FOLLOWS(InfTR_ProcessCache, Ring, RingData);
HOLDS(sizeof(((struct InfTR_ProcessCache *)0)->ProcessFiles) == 3 * sizeof(TraceFile));
HOLDS(sizeof(((struct InfTR_ProcessCache *)0)->RegionField) == 9);
HOLDS(sizeof(((struct InfTR_ProcessCache *)0)->ProgramField) == 9);

/* ---- a thread's auxiliary file ---- */
AT(InfTR_TraceFile, Lock, 0);
FOLLOWS(InfTR_TraceFile, Lock, FileStatus);
FOLLOWS(InfTR_TraceFile, FileStatus, FileType);
FOLLOWS(InfTR_TraceFile, FileType, Descriptor);
FOLLOWS(InfTR_TraceFile, Descriptor, MaximumSize);
FOLLOWS(InfTR_TraceFile, MaximumSize, BytesLeft);
FOLLOWS(InfTR_TraceFile, BytesLeft, SequenceNumber);
FOLLOWS(InfTR_TraceFile, SequenceNumber, Position);
BEFORE(InfTR_TraceFile, Position, Next);
FOLLOWS(InfTR_TraceFile, Next, LastError);
FOLLOWS(InfTR_TraceFile, LastError, Name);
HOLDS(INFTR_FILESTATUS_UNINIT == 0 && INFTR_FILESTATUS_CLOSED == 1 && INFTR_FILESTATUS_OPEN == 2);
HOLDS(INFTR_FILESTATUS_STOPPED == 3 && INFTR_FILESTATUS_FAILED == 4 && INFTR_FILESTATUS_DEAD == 5);

/* ---- classes of trace points, components ---- */
HOLDS(INFTR_CLASS_EVENT == 0x2 && INFTR_CLASS_ERROR == 0x8 && INFTR_CLASS_EXCEPTION == 0x10);
HOLDS(INFTR_CLASS_ENTRY == 0x40 && INFTR_CLASS_API_ENTRY == 0x80);
HOLDS(INFTR_CLASS_ERROR_EXIT == 0x100 && INFTR_CLASS_TYPED_EXIT == 0x200 && INFTR_CLASS_VOID_EXIT == 0x400);
HOLDS(INFTR_CLASS_MID == 0x8000 && INFTR_CLASS_HEX == 0x10000);
HOLDS(INFTR_COMPONENT_TERSH == 11 && INFTR_COMPONENT_COMRL == 41 && INFTR_COMPONENT_REGSE == 45);
HOLDS(INFTR_COMPONENT_INFTR == 49 && INFTR_COMPONENT_SUPPR == 56 && INFTR_COMPONENT_SUPER == 57);
HOLDS(INFTR_COMPONENT_SUPOS == 58 && INFTR_COMPONENT_TERBM == 62);
BEFORE(InfTR_OptionRow, Name, TakesValue);
BEFORE(InfTR_OptionRow, TakesValue, Value);
BEFORE(InfTR_ActionRow, Number, Name);
BEFORE(InfTR_ActionRow, Name, Options);

/* ---- messages and symptoms ---- */
HOLDS(SUPER_CONSOLE == 1 && SUPER_STDOUT == 2 && SUPER_SYSTEM_LOG == 8 && SUPER_END_USER == 16);
HOLDS(SUPER_MSG_TEXT_OFFSET == 17 && SUPER_MSG_NAME_SIZE == 10);
HOLDS(SUPER_FORMAT_WHOLE == 0 && SUPER_FORMAT_BODY == 1 && SUPER_FORMAT_SEVERITY == 2);
HOLDS(SUPER_ERR_CATALOG == 0x1CC00003 && SUPER_ERR_FORMAT == 0x1CA0000A);
HOLDS(SUPER_SOURCE_ASSERTION == 11 && SUPER_SOURCE_OVERFLOW == 12 && SUPER_EXIT_PROGRAM_CHECK == 99);
HOLDS(SUPER_MSG_PROGRAM_CHECK == 0x0E402009 && SUPER_MSG_PROCESS_ENDING == 0x0E406019);
HOLDS(SUPER_MSG_SET(0x0E409045) == 57 && SUPER_MSG_CATALOG_NUMBER(0x0E409045) == 9);
HOLDS(SUPER_MSG_DISPLAY_NUMBER(0x0E409045) == 17 && SUPER_MSG_LETTER(0x0E409045) == 'E');
HOLDS(SUPER_MSG_LETTER(0x0C408020) == 'I' && SUPER_MSG_LETTER(0x0E40C05A) == 'W' && SUPER_MSG_LETTER(3) == 'I');
HOLDS(SUPER_IS_GTI(0x2E83D000) && SUPER_IS_GTI(0x80000000) && SUPER_IS_GTI(0x20000000) && !SUPER_IS_GTI(0x1FFFFFFF));
HOLDS(sizeof SUPER_SECONDARY_MARKER == 2);
HOLDS(ERZ_OK == 0 && VELA_CODE_MASK == 0x1FFFFF);
HOLDS(SupOS_RC_REALLOC == 0x1D200004 && SupOS_RC_NOMEM == 0x1D20000A && SupOS_RC_SYSTEM == 0x1D20000E);

/* ---- registry entries ---- */
AT(SupOS_ServerEntry, Kind, 0);
BEFORE(SupOS_ServerEntry, Kind, EntryName);
FOLLOWS(SupOS_ServerEntry, EntryName, ExecutablePath);
FOLLOWS(SupOS_ServerEntry, ExecutablePath, Arguments);
FOLLOWS(SupOS_ServerEntry, Arguments, UserId);
FOLLOWS(SupOS_ServerEntry, UserId, GroupId);
FOLLOWS(SupOS_ServerEntry, GroupId, StdOut);
FOLLOWS(SupOS_ServerEntry, StdOut, StdErr);
HOLDS(SUPOS_SERVER_REGION == 0 && SUPOS_SERVER_RFS == 1 && SUPOS_SERVER_XGW == 2 && SUPOS_SERVER_LOG == 3);

/* ---- names ---- */
HOLDS(SUPPR_NAME_REGION == 0 && SUPPR_NAME_REGION_DIR == 1 && SUPPR_NAME_INSTALL_DIR == 2 && SUPPR_NAME_BIN_DIR == 3);
HOLDS(SUPPR_NAME_LIB_DIR == 4 && SUPPR_NAME_ETC_DIR == 5 && SUPPR_NAME_INCLUDE_DIR == 6 && SUPPR_NAME_DATA_DIR == 7);
HOLDS(SUPPR_NAME_MAPS_DIR == 8 && SUPPR_NAME_REGION_BIN_DIR == 9 && SUPPR_NAME_REGION_MAPS_DIR == 10);
HOLDS(SUPPR_NAME_REGION_DATA_DIR == 11 && SUPPR_NAME_REGION_CLASSES_DIR == 12 && SUPPR_NAME_RELEASE == 13);
HOLDS(SUPPR_NAME_REGIONS_DIR == 14 && SUPPR_NAME_REGION_DATABASE_DIR == 15 && SUPPR_NAME_SPARE_16 == 16);
HOLDS(SUPPR_NAME_ROM_DIR == 17 && SUPPR_NAME_PRODUCT_DIR == 18 && SUPPR_NAME_MSG_DIR == 19);
HOLDS(SUPPR_NAME_DEFAULT_DIR == 20 && SUPPR_NAME_TS_PROFILE == 21 && SUPPR_NAME_TS_NAME == 22);
HOLDS(SUPPR_NAME_TRPC_NAME == 23 && SUPPR_NAME_CDS_NAME == 24 && SUPPR_NAME_SPARE_25 == 25);
HOLDS(SUPPR_NAME_SERVERS_DIR == 26 && SUPPR_NAME_SERVERS_SSD_DIR == 27 && SUPPR_NAME_SERVERS_LSD_DIR == 28);
HOLDS(SUPPR_NAME_SERVERS_GSD_DIR == 29 && SUPPR_NAME_SERVERS_SCD_DIR == 30 && SUPPR_NAME_CLIENTS_DIR == 31);
HOLDS(SUPPR_NAME_ML_LEVEL == 32 && SUPPR_NAME_TMP_DIR == 33 && SUPPR_NAME_CLASSES_DIR == 34);
HOLDS(SUPPR_NAME_COUNT == 35 && SUPPR_NAME_ENTRY_SIZE == 256);
HOLDS(SUPPR_TS_NAME_SIZE == 17 && SUPPR_TRPC_NAME_SIZE == 19 && SUPPR_PROFILE_NAME_SIZE == 26);
HOLDS(SUPPR_ERR_NO_REGION == 0x1C200001 && SUPPR_ERR_REGION_ACCESS == 0x1C200002);
HOLDS(SUPPR_ERR_REGION_NAME_LONG == 0x1C200009 && SUPPR_ERR_ENV_REGION_ACCESS == 0x1C200013);

/* ---- terminal streams ---- */
HOLDS(TERBM_ERR_INCOMPLETE_ORDER == 0x1F200001 && TERBM_ERR_NO_STORAGE == 0x1F20000B);
HOLDS(TERBM_MAP_NOTHING == 0x00 && TERBM_MAP_SINGLE_BYTE == 0x10 && TERBM_MAP_DOUBLE_BYTE == 0x14);
HOLDS(sizeof TerBM_BinaryToGraphic == 64 && sizeof InfTR_ProductMaskTable == 24);
