// Counts what the whole process asks of the heap.
#pragma once

namespace nubrix {

/// Allocations by all threads since the process began: malloc, calloc, realloc and the aligned
/// ones, and with them operator new and everything in the C and C++ libraries.
unsigned long heapCalls();

}  // namespace nubrix
