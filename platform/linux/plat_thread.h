#ifndef PLAT_THREAD_H
#define PLAT_THREAD_H

// Per-thread data of the platform itself, freed at thread end behind the data of the public slots.

#include "tks_thread.h"

enum Plat_InnerSlot : u32 {
    PLAT_INNER_CATALOG_TEXT, // text buffer of tks_catgets
    PLAT_INNER_SIGNAL_STACK, // alternate stack of plat_signal.cpp
    PLAT_INNER_NETWORK, // answers of win32_network.cpp
    PLAT_INNER_SLOTS
};

void *Plat_ThreadGetInner(Plat_InnerSlot Slot);
void Plat_ThreadSetInner(Plat_InnerSlot Slot, void *Value, tks_ThreadDestructor Destructor);

#endif
