// Replaces the heap of the library, for tests that count allocations, let them fail and inspect them.
#pragma once

#include <cstdint>
#include <vector>

namespace heap {

int live();                       // allocations of the library that were not freed
int calls();                      // calls of calloc and free so far
void* lastFreed();                // by any thread
void failAt(int nth);             // the nth next allocation fails, once; 0 for none
std::vector<uint64_t> requests(); // bytes of the allocations since failAt()
void catchMemset();               // the next memset writes nothing
uint64_t caughtBytes();           // its size

} // namespace heap
