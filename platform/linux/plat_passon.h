#ifndef PLAT_PASSON_H
#define PLAT_PASSON_H

// Descriptors that children get under their own number, beside their three streams: accepted sockets.

// The largest number of such descriptors at a time; one more is not passed on.
constexpr int PLAT_PASSON_ROOM = 64;

void Plat_PassOn(int Descriptor);
void Plat_PassOnNoMore(int Descriptor);

// Those of now in ascending order; returns their count.
int Plat_PassedOn(int (&Out)[PLAT_PASSON_ROOM]);

#endif
