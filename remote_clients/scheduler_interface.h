#ifndef SCHEDULER_INTERFACE_H
#define SCHEDULER_INTERFACE_H

// The transaction scheduler interface: its records, and its operations in the order of their numbers.

#include "client_stub.h"
#include "ts_stubs.h"

constexpr RemIf_Definition text64 = textOf(TS_TEXT_SIZE);

// ---- records

constexpr RemIf_Definition pair =
    structure(sizeof(ts_Pair), nullptr, {align4, longAt(offsetof(ts_Pair, Field1)), longAt(offsetof(ts_Pair, Field2))});

// Used bytes sent, room for Size
constexpr RemIf_Definition schedulerData =
    arrayOf(codeConformantVarying, plainChar, 0, {boundFirst, boundBy(codeLong, 2), boundFirst, boundBy(codeLong, 1)});
constexpr RemIf_Definition schedulerBuffer =
    structure(sizeof(ts_Buffer), &schedulerData,
              {align4, longAt(offsetof(ts_Buffer, Used)), longAt(offsetof(ts_Buffer, Size)),
               arrayAt(offsetof(ts_Buffer, Data), schedulerData)});

constexpr RemIf_Definition stamp =
    structure(sizeof(ts_Stamp), nullptr,
              {align4, beginNested, longAt(offsetof(ts_Stamp, Field1.Field1)),
               longAt(offsetof(ts_Stamp, Field1.Field2)), endNested, unsignedAt(offsetof(ts_Stamp, Field2))});

constexpr RemIf_Definition idPair =
    structure(sizeof(ts_IdPair), nullptr,
              {align4, unsignedAt(offsetof(ts_IdPair, Field1)), unsignedAt(offsetof(ts_IdPair, Field2))});

constexpr RemIf_Definition recordA =
    structure(sizeof(ts_RecordA), nullptr,
              {align4, textAt(offsetof(ts_RecordA, Field1), text64), unsignedAt(offsetof(ts_RecordA, Field2))});

constexpr RemIf_Definition recordB =
    structure(sizeof(ts_RecordB), nullptr,
              {align4, textAt(offsetof(ts_RecordB, Field1), text64), textAt(offsetof(ts_RecordB, Field2), text64),
               unsignedAt(offsetof(ts_RecordB, Field3)), longAt(offsetof(ts_RecordB, Field4)),
               longAt(offsetof(ts_RecordB, Field5))});

constexpr RemIf_Definition recordC =
    structure(sizeof(ts_RecordC), nullptr,
              {align4, textAt(offsetof(ts_RecordC, Field1), text64), unsignedAt(offsetof(ts_RecordC, Field2)),
               unsignedAt(offsetof(ts_RecordC, Field3)), unsignedAt(offsetof(ts_RecordC, Field4)), beginNested,
               longAt(offsetof(ts_RecordC, Field5.Field1)), longAt(offsetof(ts_RecordC, Field5.Field2)), endNested,
               longAt(offsetof(ts_RecordC, Field6))});

constexpr RemIf_Definition recordD =
    structure(sizeof(ts_RecordD), nullptr,
              {align4, textAt(offsetof(ts_RecordD, Field1), text64), textAt(offsetof(ts_RecordD, Field2), text64),
               textAt(offsetof(ts_RecordD, Field3), text64), align4, beginNested,
               longAt(offsetof(ts_RecordD, Field4.Field1)), longAt(offsetof(ts_RecordD, Field4.Field2)), endNested,
               beginNested, longAt(offsetof(ts_RecordD, Field5.Field1)), longAt(offsetof(ts_RecordD, Field5.Field2)),
               endNested, longAt(offsetof(ts_RecordD, Field6)), longAt(offsetof(ts_RecordD, Field7))});

constexpr RemIf_Definition recordE =
    structure(sizeof(ts_RecordE), nullptr,
              {align4, textAt(offsetof(ts_RecordE, Field1), text64), longAt(offsetof(ts_RecordE, Field2))});

constexpr RemIf_Definition recordF =
    structure(sizeof(ts_RecordF), nullptr,
              {align4, textAt(offsetof(ts_RecordF, Field1), text64), longAt(offsetof(ts_RecordF, Field2))});

constexpr RemIf_Definition recordG =
    structure(sizeof(ts_RecordG), nullptr,
              {align4, unsignedAt(offsetof(ts_RecordG, Field1)), unsignedAt(offsetof(ts_RecordG, Field2)),
               textAt(offsetof(ts_RecordG, Field3), text64), textAt(offsetof(ts_RecordG, Field4), text64),
               textAt(offsetof(ts_RecordG, Field5), text64), textAt(offsetof(ts_RecordG, Field6), text64),
               textAt(offsetof(ts_RecordG, Field7), text64), align4, beginNested,
               longAt(offsetof(ts_RecordG, Field8.Field1)), longAt(offsetof(ts_RecordG, Field8.Field2)), endNested,
               beginNested, longAt(offsetof(ts_RecordG, Field9.Field1)), longAt(offsetof(ts_RecordG, Field9.Field2)),
               endNested, longAt(offsetof(ts_RecordG, Field10)), longAt(offsetof(ts_RecordG, Field11))});

// ---- lists: a count and so many records, behind a pointer

constexpr RemIf_Definition itemsOf(const RemIf_Definition &record)
{
    return arrayOf(codeConformant, value(record), 0, {boundFirst, boundBy(codeLong, 1)});
}

template <class List>
constexpr RemIf_Definition listStructure(const RemIf_Definition &items)
{
    return structure(sizeof(List), &items,
                     {align4, longAt(offsetof(List, Count)), arrayAt(offsetof(List, Items), items)});
}

constexpr RemIf_Definition itemsRecordA = itemsOf(recordA);
constexpr RemIf_Definition structureRecordA = listStructure<ts_RecordAList>(itemsRecordA);
constexpr RemIf_Definition listRecordA = pointeeOf(structureRecordA);

constexpr RemIf_Definition itemsRecordB = itemsOf(recordB);
constexpr RemIf_Definition structureRecordB = listStructure<ts_RecordBList>(itemsRecordB);
constexpr RemIf_Definition listRecordB = pointeeOf(structureRecordB);

constexpr RemIf_Definition itemsRecordC = itemsOf(recordC);
constexpr RemIf_Definition structureRecordC = listStructure<ts_RecordCList>(itemsRecordC);
constexpr RemIf_Definition listRecordC = pointeeOf(structureRecordC);

constexpr RemIf_Definition itemsRecordD = itemsOf(recordD);
constexpr RemIf_Definition structureRecordD = listStructure<ts_RecordDList>(itemsRecordD);
constexpr RemIf_Definition listRecordD = pointeeOf(structureRecordD);

constexpr RemIf_Definition itemsRecordE = itemsOf(recordE);
constexpr RemIf_Definition structureRecordE = listStructure<ts_RecordEList>(itemsRecordE);
constexpr RemIf_Definition listRecordE = pointeeOf(structureRecordE);

constexpr RemIf_Definition itemsRecordF = itemsOf(recordF);
constexpr RemIf_Definition structureRecordF = listStructure<ts_RecordFList>(itemsRecordF);
constexpr RemIf_Definition listRecordF = pointeeOf(structureRecordF);

constexpr RemIf_Definition itemsRecordG = itemsOf(recordG);
constexpr RemIf_Definition structureRecordG = listStructure<ts_RecordGList>(itemsRecordG);
constexpr RemIf_Definition listRecordG = pointeeOf(structureRecordG);

// ---- arrays sized by the argument before them

constexpr RemIf_Definition countedWords =
    arrayOf(codeConformant, unsignedWord(), 0, {boundFirst, boundBy(codeUnsigned, 2)});
constexpr RemIf_Definition countedPairs =
    arrayOf(codeConformant, value(idPair), 0, {boundFirst, boundBy(codeUnsigned, 3)});

// ---- operations

constexpr RemIf_Operation schedulerOperations[] = {
    {"tsRPC_ScheduleTransaction",
     {in(text()), in(text()), in(text()), in(longWord()), in(value(pair)), in(buffer(schedulerBuffer)),
      out(unsignedWord()), inOut(buffer(schedulerBuffer)), inOut(buffer(schedulerBuffer))}},
    {"tsRPC_Op1", {in(value(recordA))}},
    {"tsRPC_Op2", {in(value(recordA))}},
    {"tsRPC_Op3", {in(text())}},
    {"tsRPC_Op4", {in(value(recordA)), out(listOf(listRecordA))}},
    {"tsRPC_Op5", {in(value(recordB))}},
    {"tsRPC_Op6", {in(value(recordB))}},
    {"tsRPC_Op7", {in(text())}},
    {"tsRPC_Op8", {in(text()), out(listOf(listRecordB))}},
    {"tsRPC_Op9", {in(text())}},
    {"tsRPC_Op10", {in(text()), in(value(pair)), in(value(stamp)), out(longWord())}},
    {"tsRPC_Op11", {in(value(recordC))}},
    {"tsRPC_Op12", {in(value(recordC))}},
    {"tsRPC_Op13", {in(text())}},
    {"tsRPC_Op14", {in(text()), out(listOf(listRecordC))}},
    {"tsRPC_Op15", {in(text())}},
    {"tsRPC_Op16", {in(text()), in(value(pair)), in(value(stamp)), in(longWord()), out(longWord())}},
    {"tsRPC_Op17", {in(value(recordD))}},
    {"tsRPC_Op18", {in(value(recordD))}},
    {"tsRPC_Op19", {in(text())}},
    {"tsRPC_Op20", {in(text()), out(listOf(listRecordD))}},
    {"tsRPC_Op21", {in(text())}},
    {"tsRPC_Op22", {in(text()), in(value(pair)), in(value(stamp)), out(longWord())}},
    {"tsRPC_Op23", {in(value(recordE))}},
    {"tsRPC_Op24", {in(value(recordE))}},
    {"tsRPC_Op25", {in(text())}},
    {"tsRPC_Op26", {in(text()), out(listOf(listRecordE))}},
    {"tsRPC_Op27", {in(value(recordF))}},
    {"tsRPC_Op28", {in(value(recordF))}},
    {"tsRPC_Op29", {in(text())}},
    {"tsRPC_Op30", {in(text()), out(listOf(listRecordF))}},
    {"tsRPC_Op31", {in(text()), in(text())}},
    {"tsRPC_Op32", {in(text()), in(unsignedWord()), in(text()), in(text())}},
    {"tsRPC_Op33", {in(text()), in(text())}},
    {"tsRPC_Op34", {in(unsignedWord()), in(array(countedWords)), out(listOf(listRecordG))}},
    {"tsRPC_Op35", {in(value(stamp)), in(unsignedWord()), inOut(array(countedPairs))}},
    {"tsRPC_Op36", {in(value(pair))}},
    {"tsRPC_Op37", {inOut(textBuffer(text64))}},
};

constexpr RemIf_Interface scheduler = {{0x450bc92a, 0xafc8, 0x0000, 0x02, 0xc0, {0x36, 0xe2, 0x10, 0x00, 0x00, 0x00}},
                                       1,
                                       0,
                                       unsignedWord(),
                                       schedulerOperations,
                                       sizeof schedulerOperations / sizeof schedulerOperations[0]};

constexpr u32 schedulerLength = 0x1270;

static_assert(scheduler.Count == 38);

#endif
