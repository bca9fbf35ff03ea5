// Where a pipeline gets its memory from: the library's pools or plain malloc(), behind one face, so that
// both do the same work.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace demo {

class Memory {
  public:
    Memory() = default;
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;
    virtual ~Memory() = default;

    /// For a frame from the camera unit: on a board that is memory which the unit can reach.
    virtual std::uint8_t* ObtainForCapture(std::size_t nSize) = 0;
    /// For a step of the work on the processor: heap memory on a cache line boundary.
    virtual std::uint8_t* ObtainForWork(std::size_t nSize) = 0;
    virtual void GiveBack(std::uint8_t* pBlock) noexcept = 0;
};

struct GiveBackTo {
    Memory* pMemory;
    void operator()(std::uint8_t* pBlock) const noexcept { pMemory->GiveBack(pBlock); }
};

/// A block that goes back where it came from.
using Block = std::unique_ptr<std::uint8_t, GiveBackTo>;

inline Block CaptureBlock(Memory& memory, std::size_t nSize) {
    return {memory.ObtainForCapture(nSize), GiveBackTo{&memory}};
}

inline Block WorkBlock(Memory& memory, std::size_t nSize) {
    return {memory.ObtainForWork(nSize), GiveBackTo{&memory}};
}

constexpr std::size_t kCacheLine = 64;

}  // namespace demo
