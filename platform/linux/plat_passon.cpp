// The short list of descriptors that children inherit.

#include "plat_passon.h"

#include <pthread.h>

static constinit pthread_mutex_t listLock = PTHREAD_MUTEX_INITIALIZER;
static constinit int list[PLAT_PASSON_ROOM] = {}; // ascending
static constinit int listCount = 0;

void Plat_PassOnNoMore(int Descriptor)
{
    pthread_mutex_lock(&listLock);
    int kept = 0;
    for (int i = 0; i < listCount; ++i)
        if (list[i] != Descriptor) list[kept++] = list[i];
    listCount = kept;
    pthread_mutex_unlock(&listLock);
}

void Plat_PassOn(int Descriptor)
{
    Plat_PassOnNoMore(Descriptor); // the number may have been closed behind our back
    pthread_mutex_lock(&listLock);
    if (listCount < PLAT_PASSON_ROOM) {
        int at = listCount++;
        for (; at > 0 && list[at - 1] > Descriptor; --at) list[at] = list[at - 1];
        list[at] = Descriptor;
    }
    pthread_mutex_unlock(&listLock);
}

int Plat_PassedOn(int (&Out)[PLAT_PASSON_ROOM])
{
    pthread_mutex_lock(&listLock);
    for (int i = 0; i < listCount; ++i) Out[i] = list[i];
    const int count = listCount;
    pthread_mutex_unlock(&listLock);
    return count;
}
