// Frames of a video, or of any picture that is neither PNG nor JPEG: whatever the ffmpeg program decodes.
#pragma once

#include <string>
#include <vector>

#include "picture.h"

namespace demo {

/// The first seconds of the video, four frames a second, each fitted into 960 x 540 with bars.
/// Throws std::runtime_error with one line: no ffmpeg, or nothing that it can decode.
std::vector<Picture> ReadVideo(const std::string& path);

}  // namespace demo
