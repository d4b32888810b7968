#ifndef FAILING_MALLOC_H
#define FAILING_MALLOC_H

// Allocations of one size that fail, in a test program without a sanitizer (NO_MEMORY_SKIP there).

#include <cstddef>

// The size for which malloc and realloc give NULL; 0 = none. Process-wide, and defined in supos_alloc_test.cpp.
extern size_t FailingMalloc_Size;

#endif
