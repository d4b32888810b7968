#ifndef TRACE_PEERS_H
#define TRACE_PEERS_H

// The tracers that stand beside ours in trace_bench, each as a loop of so many trace points or records. What was not
// there at build or run time says so in one line and has no rows.

#include "vela_types.h"

// LTTng-UST: whether its headers were there, and whether a session records the events of this program.
bool Peers_HaveLttng();
bool Peers_LttngRecords();

void Peers_LttngOff(u32 Times); // trace points that no session has switched on
void Peers_LttngLeave(u32 Times); // events with the payload of an exit record: name and point
void Peers_LttngEnter(u32 Times); // and of an entry record: name, pointer, text, number
void Peers_LttngCall(u32 Times); // one of each

// spdlog's ring of messages below the level that is shown, with the text of an entry record.
bool Peers_HaveSpdlog();
void Peers_SpdlogEnter(u32 Times);

#endif
