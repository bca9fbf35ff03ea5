#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace ztk {

/// The one setting that the library keeps for the kit. Any thread may read and write it.
class PoolSettings {
  public:
    /// Stores @p nNum, clamped to 1 .. 64.
    void SetImageBufferNodeNum(std::int32_t nNum) {
        nImageBufferNodeNum_.store(std::max(std::min(nNum, 64), 1), std::memory_order_relaxed);
    }
    std::int32_t GetImageBufferNodeNum() const {
        return nImageBufferNodeNum_.load(std::memory_order_relaxed);
    }

  private:
    std::atomic<std::int32_t> nImageBufferNodeNum_{1};
};

}  // namespace ztk
