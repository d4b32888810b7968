#ifndef BENCH_START_H
#define BENCH_START_H

// A process of a region for benchmarks, in a root of its own that goes with the process.

// Makes the root at the first call, and starts the process under this value of VELATRACE at each; nullptr for none.
void Bench_Start(const char *Velatrace);

// The root: registry/, install/, data/.
const char *Bench_Root();

#endif
