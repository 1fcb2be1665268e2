#pragma once

// Heap allocation counting for the programs that link AllocationCounter.cpp
// (it replaces the global allocation functions, so it is not part of the
// support library every test program links).
namespace sctest {

// Allocations made by the calling thread so far.
long allocationCount();

// Whether malloc, calloc and realloc are counted too. Sanitizer builds own
// malloc: there only operator new is counted.
bool countsMalloc();

template <typename F>
long allocationsDuring(F&& f) {
    const long before = allocationCount();
    f();
    return allocationCount() - before;
}

}  // namespace sctest
