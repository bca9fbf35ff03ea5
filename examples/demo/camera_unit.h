// Stands in for the board's camera unit, which writes frames into MMZ memory by itself.
#pragma once

#include <algorithm>

#include "picture.h"

namespace demo {

/// Fills the block with the scene, which scrolls up from frame to frame.
inline void CaptureFrame(const Picture& scene, std::size_t nFrame, std::uint8_t* pFrame) {
    const std::size_t nFirstRow = nFrame % scene.nHeight;
    const auto middle = scene.rgb.begin() + static_cast<std::ptrdiff_t>(nFirstRow * scene.nWidth * 3);
    std::rotate_copy(scene.rgb.begin(), middle, scene.rgb.end(), pFrame);
}

}  // namespace demo
