// The heap under the library, for tests that count or refuse its allocations.
#pragma once

namespace heap {

int live();           // allocations of the library that were not freed
int calls();          // calls of calloc and free so far
void* lastFreed();    // by this thread
void failAt(int nth); // the nth next allocation fails, once; 0 for none

} // namespace heap
