#ifndef CATALOG_HOOK_H
#define CATALOG_HOOK_H

// The catalogue calls of this test program stand in front of those of the base services: they pass calls on, unless a
// test puts something of its own there. Process-wide; each test begins with Hook_Reset.

#include <string>

#include "vela_types.h"

void Hook_Reset();

// So many calls of tks_catopen fail from now on; all ones for all of them. Hook_OpenCount counts calls since the reset.
void Hook_FailOpens(u32 Count);
u32 Hook_OpenCount();

// tks_catgets gives Text for this set and catalogue number.
void Hook_SetText(u32 MessageNumber, const std::string &Text);

// Runs Call within the next tks_catgets of any thread, once.
void Hook_InNextGet(void (*Call)());

// Runs call in a thread of its own, which starts without a block of the message facility.
void onNewThread(void (*Call)());

#endif
