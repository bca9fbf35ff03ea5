#include "plain_memory.h"

#include <cstdlib>
#include <new>

namespace demo {

std::uint8_t* PlainMemory::ObtainForCapture(std::size_t nSize) {
    void* pBlock = std::malloc(nSize);
    if (pBlock == nullptr) throw std::bad_alloc();
    return static_cast<std::uint8_t*>(pBlock);
}

std::uint8_t* PlainMemory::ObtainForWork(std::size_t nSize) {
    // aligned_alloc() wants a multiple of the alignment.
    void* pBlock = std::aligned_alloc(kCacheLine, (nSize + kCacheLine - 1) / kCacheLine * kCacheLine);
    if (pBlock == nullptr) throw std::bad_alloc();
    return static_cast<std::uint8_t*>(pBlock);
}

void PlainMemory::GiveBack(std::uint8_t* pBlock) noexcept {
    std::free(pBlock);
}

}  // namespace demo
