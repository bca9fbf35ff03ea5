// operator new of the test programs: as the library's own, but it can be told to fail.
#include <cstddef>
#include <cstdlib>
#include <new>

#include "support/interception.h"
#include "support/system_calls.h"

extern "C" void* __real_malloc(std::size_t nSize);
extern "C" void __real_free(void* pAddr);

namespace {

thread_local int t_nOwn = 0;
thread_local int t_nCount = 0;
thread_local int t_nFailAt = -1;  ///< 0: every one

/// Null where the allocation is to fail.
void* Allocate(std::size_t nSize) {
    if (t_nOwn == 0) {
        ++t_nCount;
        if (t_nFailAt == 0 || t_nFailAt == t_nCount) return nullptr;
    }
    return __real_malloc(nSize > 0 ? nSize : 1);
}

void* AllocateOrThrow(std::size_t nSize) {
    void* pAddr = Allocate(nSize);
    if (pAddr == nullptr) throw std::bad_alloc();
    return pAddr;
}

}  // namespace

namespace ztk::test {

OwnAllocations::OwnAllocations() {
    ++t_nOwn;
}
OwnAllocations::~OwnAllocations() {
    --t_nOwn;
}

void Bookkeeping::FailNew(int nOccurrence) {
    t_nCount = 0;
    t_nFailAt = nOccurrence;
}

int Bookkeeping::Count() {
    return t_nCount;
}

}  // namespace ztk::test

void* operator new(std::size_t nSize) {
    return AllocateOrThrow(nSize);
}
void* operator new[](std::size_t nSize) {
    return AllocateOrThrow(nSize);
}
void* operator new(std::size_t nSize, const std::nothrow_t& /*tag*/) noexcept {
    return Allocate(nSize);
}
void* operator new[](std::size_t nSize, const std::nothrow_t& /*tag*/) noexcept {
    return Allocate(nSize);
}

void operator delete(void* pAddr) noexcept {
    __real_free(pAddr);
}
void operator delete[](void* pAddr) noexcept {
    __real_free(pAddr);
}
void operator delete(void* pAddr, std::size_t /*nSize*/) noexcept {
    __real_free(pAddr);
}
void operator delete[](void* pAddr, std::size_t /*nSize*/) noexcept {
    __real_free(pAddr);
}
void operator delete(void* pAddr, const std::nothrow_t& /*tag*/) noexcept {
    __real_free(pAddr);
}
void operator delete[](void* pAddr, const std::nothrow_t& /*tag*/) noexcept {
    __real_free(pAddr);
}
