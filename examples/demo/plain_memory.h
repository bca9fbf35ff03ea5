// The same memory without the library: malloc(), aligned_alloc() and free() for every block.
#pragma once

#include "memory.h"

namespace demo {

class PlainMemory : public Memory {
  public:
    std::uint8_t* ObtainForCapture(std::size_t nSize) override;
    std::uint8_t* ObtainForWork(std::size_t nSize) override;
    void GiveBack(std::uint8_t* pBlock) noexcept override;
};

}  // namespace demo
