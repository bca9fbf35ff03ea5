// Counts and times the requests that a pipeline makes of another Memory, and marks each in the log.
#pragma once

#include <chrono>
#include <cstddef>
#include <set>

#include "memory.h"

namespace demo {

struct Usage {
    std::size_t nRequests = 0;
    std::chrono::nanoseconds spent{0};  ///< in the calls that obtain and give back
    std::set<const std::uint8_t*>
        addresses;  ///< a pool that gave nothing back to the system owns a block for each
};

class MeteredMemory : public Memory {
  public:
    explicit MeteredMemory(Memory& memory) : memory_(memory) {}

    std::uint8_t* ObtainForCapture(std::size_t nSize) override;
    std::uint8_t* ObtainForWork(std::size_t nSize) override;
    void GiveBack(std::uint8_t* pBlock) noexcept override;

    const Usage& Used() const { return usage_; }

  private:
    std::uint8_t* Note(std::uint8_t* pBlock);

    Memory& memory_;
    Usage usage_;
};

}  // namespace demo
