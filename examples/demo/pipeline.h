// The work on one frame, in one process: capture, gray, blur, edges, half size. Six blocks a frame.
#pragma once

#include <functional>

#include "memory.h"
#include "picture.h"

namespace demo {

/// What one frame became; valid during the call that receives it.
struct Stages {
    std::size_t nWidth;
    std::size_t nHeight;
    const std::uint8_t* pCaptured;  ///< RGB
    const std::uint8_t* pGray;
    const std::uint8_t* pBlurred;
    const std::uint8_t* pEdges;
    const std::uint8_t* pHalf;  ///< RGB, nWidth / 2 by nHeight / 2
};

void ProcessFrame(Memory& memory, const Picture& scene, std::size_t nFrame,
                  const std::function<void(const Stages&)>& onStages = {});

}  // namespace demo
