// Kept in its own file so the compiler never pairs these definitions with
// inlined new-expressions.
#include "tests/support/AllocationCounter.h"

#include <cstdlib>
#include <new>

// Sanitizers own malloc, and so does valgrind, which cannot follow a program
// that forwards malloc to glibc itself: programs run under memcheck build this
// file with SC_COUNT_MALLOC=0 and count operator new alone.
#ifndef SC_COUNT_MALLOC
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SC_COUNT_MALLOC 0
#else
#define SC_COUNT_MALLOC 1
#endif
#endif

namespace {
// Per thread: what other threads do meanwhile is not the caller's allocation.
thread_local long gAllocations = 0;
}  // namespace

namespace sctest {
long allocationCount() { return gAllocations; }
bool countsMalloc() { return SC_COUNT_MALLOC; }
}  // namespace sctest

#if SC_COUNT_MALLOC
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
extern "C" void* malloc(size_t n) {
    ++gAllocations;
    return __libc_malloc(n);
}
extern "C" void* calloc(size_t n, size_t size) {
    ++gAllocations;
    return __libc_calloc(n, size);
}
extern "C" void* realloc(void* p, size_t n) {
    ++gAllocations;
    return __libc_realloc(p, n);
}
// operator new below allocates through malloc, which counts it.
#define SC_COUNT_NEW()
#else
#define SC_COUNT_NEW() ++gAllocations
#endif

// Every non-aligned form, so that no allocation meets a foreign deallocation.
void* operator new(std::size_t size) {
    SC_COUNT_NEW();
    if (void* p = std::malloc(size ? size : 1)) return p;
    std::abort();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    SC_COUNT_NEW();
    return std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
