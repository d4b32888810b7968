#ifndef LISTENER_INTERFACE_H
#define LISTENER_INTERFACE_H

// The listener interface: its types and, by version, its operations in the order of their numbers.

#include "client_stub.h"
#include "comrl_stubs.h"

// length bytes of data, sent whole
constexpr RemIf_Definition bufferData = arrayOf(codeConformant, plainChar, 0, {boundFirst, boundBy(codeLong, 1)});
constexpr RemIf_Definition bufferType =
    structure(sizeof(ComRL_Buffer), &bufferData,
              {align4, longAt(offsetof(ComRL_Buffer, length)), arrayAt(offsetof(ComRL_Buffer, data), bufferData)});

// room of a fixed size, length bytes of it sent
constexpr RemIf_Definition largeData = arrayOf(codeVarying, plainChar, 32767, {boundFirst, boundBy(codeLong, 1)});
constexpr RemIf_Definition largeType =
    structure(sizeof(ComRL_LargeArea), nullptr,
              {align4, longAt(offsetof(ComRL_LargeArea, length)), arrayAt(offsetof(ComRL_LargeArea, data), largeData)});
constexpr RemIf_Definition smallData = arrayOf(codeVarying, plainChar, 1024, {boundFirst, boundBy(codeLong, 1)});
constexpr RemIf_Definition smallType =
    structure(sizeof(ComRL_SmallArea), nullptr,
              {align4, longAt(offsetof(ComRL_SmallArea, length)), arrayAt(offsetof(ComRL_SmallArea, data), smallData)});

constexpr RemIf_Definition name64 = textOf(COMRL_NAME_SIZE);
constexpr RemIf_Definition code5 = textOf(COMRL_CODE_SIZE);

// Version 1.0 has the first three.
constexpr RemIf_Operation listenerOperations[] = {
    {"Op0",
     {in(text()), in(text()), in(text()), in(longWord()), in(longWord()), in(buffer(bufferType)),
      in(buffer(bufferType)), out(unsignedWord())}},
    {"Op1", {in(unsignedWord())}},
    {"Op2", {inOut(textBuffer(name64))}},
    {"Op3",
     {in(text()), in(text()), in(text()), in(longWord()), in(buffer(bufferType)), in(buffer(bufferType)),
      out(unsignedWord()), out(boolean()), out(textBuffer(code5)), out(character()), out(textBuffer(code5)),
      inOut(fixedArea(largeType)), inOut(fixedArea(smallType))}},
};

constexpr uuid_t listenerId = {0x00939856, 0xb996, 0x1cb2, 0xa1, 0xd2, {0x10, 0x00, 0x5a, 0x4f, 0xa4, 0x41}};
constexpr RemIf_Interface listener_v1_0 = {listenerId, 1, 0, enumeration(), listenerOperations, 3};
constexpr RemIf_Interface listener_v1_1 = {listenerId, 1, 1, enumeration(), listenerOperations, 4};

constexpr u32 listenerLength_v1_0 = 0x208;
constexpr u32 listenerLength_v1_1 = 0x410;

#endif
