// Where the camera gets the shared memory from that it hands frames over in: the library's pool, or a
// fresh object for every frame.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "message.h"

namespace demo {

struct SharedBlock {
    void* pStart = nullptr;         ///< what Obtain() got
    std::uint8_t* pData = nullptr;  ///< where the pixels go
    std::size_t nLength = 0;        ///< bytes from pStart
    std::array<char, kNameSize> name{};
};

class SharedBlocks {
  public:
    SharedBlocks() = default;
    SharedBlocks(const SharedBlocks&) = delete;
    SharedBlocks& operator=(const SharedBlocks&) = delete;
    virtual ~SharedBlocks() = default;

    /// A block for @p nSize bytes of pixels. Throws std::runtime_error when there is none.
    virtual SharedBlock Obtain(std::size_t nSize) = 0;
    virtual void GiveBack(const SharedBlock& block) = 0;
    /// How the viewer has to open it.
    virtual Kind MessageKind() const = 0;
};

/// From the library: a block given back stays mapped and named, and the next Obtain() gets it again.
class PoolSharedBlocks : public SharedBlocks {
  public:
    SharedBlock Obtain(std::size_t nSize) override;
    void GiveBack(const SharedBlock& block) override;
    Kind MessageKind() const override { return Kind::kFrame; }
};

/// Without the library: shm_open(), ftruncate(), mmap(), munmap() and shm_unlink() for every frame.
class FreshSharedBlocks : public SharedBlocks {
  public:
    SharedBlock Obtain(std::size_t nSize) override;
    void GiveBack(const SharedBlock& block) override;
    Kind MessageKind() const override { return Kind::kFrameNoHeader; }

  private:
    std::uint64_t nMade_ = 0;
};

}  // namespace demo
