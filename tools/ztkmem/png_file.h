// Pictures as files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "picture.h"

namespace ztkmem {

/// Decodes a frame of FrameSize() bytes and writes it. Throws std::runtime_error with one line; a file that
/// cannot be completed is removed.
void WritePng(const std::string& path, const PictureShape& shape, const std::vector<std::uint8_t>& frame);

}  // namespace ztkmem
