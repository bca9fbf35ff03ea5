// The camera's side of the hand-over. Each frame is captured into MMZ memory, worked on in heap memory and
// published in a shared block with one copy; the block goes back when the viewer has answered.
#pragma once

#include <chrono>
#include <deque>
#include <set>
#include <string>

#include "memory.h"
#include "picture.h"
#include "shared_blocks.h"
#include "viewer_process.h"

namespace demo {

/// What the shared memory of one way to hand over has cost.
struct HandOverUsage {
    std::size_t nFrames = 0;
    std::set<std::string> names;        ///< of the shared objects that carried them
    std::chrono::nanoseconds spent{0};  ///< obtaining, filling, giving back
};

class Camera {
  public:
    Camera(ViewerProcess& viewer, Memory& memory, SharedBlocks& blocks)
        : viewer_(viewer), memory_(memory), blocks_(blocks) {}
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;
    ~Camera();

    /// Takes one frame and hands it over; waits for the viewer only if too many frames are with it.
    /// @p nSheetRow 0: nothing to save.
    void Take(const Picture& scene, Format format, std::size_t nFrame, std::uint32_t nSheetRow = 0);

    /// Waits until the viewer has answered for every frame.
    void Drain();

    const HandOverUsage& Used() const { return usage_; }

  private:
    struct InFlight {
        std::size_t nFrame;
        SharedBlock block;
    };

    void Publish(FrameMessage& frame, const std::uint8_t* pPixels);
    void AwaitOldest();
    void GiveBack(const SharedBlock& block);

    ViewerProcess& viewer_;
    Memory& memory_;
    SharedBlocks& blocks_;
    std::deque<InFlight> inFlight_;
    HandOverUsage usage_;
};

}  // namespace demo
