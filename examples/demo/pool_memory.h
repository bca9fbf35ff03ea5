// Memory from the library's pools: MMZ for the captured frame, aligned heap blocks for the work.
#pragma once

#include "memory.h"

namespace demo {

class PoolMemory : public Memory {
  public:
    std::uint8_t* ObtainForCapture(std::size_t nSize) override;
    std::uint8_t* ObtainForWork(std::size_t nSize) override;
    void GiveBack(std::uint8_t* pBlock) noexcept override;
};

}  // namespace demo
