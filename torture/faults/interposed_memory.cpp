// The heap, the operators on it, and the random device (a class of the C++ library, which may read a
// processor's register instead of a file).
#include <cstddef>
#include <new>
#include <random>
#include <stdexcept>
#include <string>

#include "torture/faults/heap_book.h"
#include "torture/faults/interposer.h"
#include "torture/faults/shared_result.h"

using ztk::torture::Call;
using ztk::torture::IsLibrarysCall;
using ztk::torture::IsLibrarysOwnCode;

extern "C" {
void* __libc_malloc(std::size_t nSize);
void __libc_free(void* pBlock);
}

namespace {

thread_local int t_nThrowing = 0;

/// An exception is thrown in the library's name: its memory is the library's to give back, and may not fail.
class Throwing {
  public:
    Throwing() { ++t_nThrowing; }
    ~Throwing() { --t_nThrowing; }
    Throwing(const Throwing&) = delete;
    Throwing& operator=(const Throwing&) = delete;

  private:
    ztk::torture::OwnCode ours_;
};

void* Allocate(std::size_t nSize, bool bLibrarys) {
    void* pBlock = __libc_malloc(nSize > 0 ? nSize : 1);
    if (bLibrarys || t_nThrowing > 0) ztk::torture::EnterHeapBlock(pBlock);
    return pBlock;
}

/// operator new in all its forms.
void* AllocateNew(std::size_t nSize, const void* pCaller) {
    const bool bLibrarys = IsLibrarysCall(pCaller);
    if (bLibrarys && ztk::torture::CountCall(Call::kNew) != nullptr) return nullptr;
    return Allocate(nSize, bLibrarys);
}

void* OrThrow(void* pBlock) {
    if (pBlock != nullptr) return pBlock;
    const Throwing throwing;
    throw std::bad_alloc();
}

void GiveBack(void* pBlock, const void* pCaller) {
    if (pBlock == nullptr) return;
    if (!ztk::torture::StrikeHeapBlock(pBlock) && IsLibrarysOwnCode(pCaller)) {
        const ztk::torture::OwnCode ours;
        ztk::torture::NoteResult("WRONG free: the library never had this block");
    }
    __libc_free(pBlock);
}

}  // namespace

ZTK_IN_PLACE_OF_LIBC void* malloc(std::size_t nSize) {
    const bool bLibrarys = IsLibrarysCall(__builtin_return_address(0));
    const auto* pKind = bLibrarys ? ztk::torture::CountCall(Call::kMalloc) : nullptr;
    if (pKind != nullptr) return ztk::torture::NullWith(*pKind);
    return Allocate(nSize, bLibrarys);
}
ZTK_IN_PLACE_OF_LIBC void free(void* pBlock) {
    const int nErrno = errno;
    GiveBack(pBlock, __builtin_return_address(0));
    errno = nErrno;
}

void* operator new(std::size_t nSize) {
    return OrThrow(AllocateNew(nSize, __builtin_return_address(0)));
}
void* operator new[](std::size_t nSize) {
    return OrThrow(AllocateNew(nSize, __builtin_return_address(0)));
}
void* operator new(std::size_t nSize, const std::nothrow_t& /*tag*/) noexcept {
    return AllocateNew(nSize, __builtin_return_address(0));
}
void* operator new[](std::size_t nSize, const std::nothrow_t& /*tag*/) noexcept {
    return AllocateNew(nSize, __builtin_return_address(0));
}
void operator delete(void* pBlock) noexcept {
    GiveBack(pBlock, __builtin_return_address(0));
}
void operator delete[](void* pBlock) noexcept {
    GiveBack(pBlock, __builtin_return_address(0));
}
void operator delete(void* pBlock, std::size_t /*nSize*/) noexcept {
    GiveBack(pBlock, __builtin_return_address(0));
}
void operator delete[](void* pBlock, std::size_t /*nSize*/) noexcept {
    GiveBack(pBlock, __builtin_return_address(0));
}
void operator delete(void* pBlock, const std::nothrow_t& /*tag*/) noexcept {
    GiveBack(pBlock, __builtin_return_address(0));
}
void operator delete[](void* pBlock, const std::nothrow_t& /*tag*/) noexcept {
    GiveBack(pBlock, __builtin_return_address(0));
}

// std::random_device by the names under which it is linked. The real one asks the processor what it can do,
// which a virtual machine answers slowly; nobody but this program sees the names that are made of these
// numbers.
namespace {
[[noreturn]] void FailRandom(const char* szWhat) {
    const Throwing throwing;
    throw std::runtime_error(szWhat);
}
}  // namespace

ZTK_IN_PLACE_OF_LIBC void RandomDeviceInit(void* pDevice, const std::string& token) __asm__(
    "_ZNSt13random_device7_M_initERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
void RandomDeviceInit(void* /*pDevice*/, const std::string& /*token*/) {
    if (ZTK_DUE(Call::kRandomOpen) != nullptr) FailRandom("no random device");
}

ZTK_IN_PLACE_OF_LIBC void RandomDeviceFini(void* pDevice) __asm__("_ZNSt13random_device7_M_finiEv");
void RandomDeviceFini(void* /*pDevice*/) {}

ZTK_IN_PLACE_OF_LIBC unsigned RandomDeviceGetval(void* pDevice) __asm__("_ZNSt13random_device9_M_getvalEv");
unsigned RandomDeviceGetval(void* /*pDevice*/) {
    if (ZTK_DUE(Call::kRandomRead) != nullptr) FailRandom("no random number");
    static std::mt19937 numbers;
    return static_cast<unsigned>(numbers());
}
