// A picture in ordinary memory, and the two file formats it is read from. Decoding and encoding are
// libpng's and libjpeg-turbo's work.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace demo {

struct Picture {
    std::size_t nWidth = 0;
    std::size_t nHeight = 0;
    std::vector<std::uint8_t> rgb;  ///< three bytes a pixel, rows from the top, no padding
};

enum class FileKind { kPng, kJpeg, kOther };

/// What the first bytes of the file say. Throws if it cannot be read.
FileKind KindOfFile(const std::string& path);

/// Throws std::runtime_error with one line that names the file.
Picture ReadPng(const std::string& path);
Picture ReadJpeg(const std::string& path);

/// Writes 1 (gray) or 3 (RGB) bytes a pixel.
void WritePng(const std::string& path, const std::uint8_t* pPixels, std::size_t nWidth, std::size_t nHeight,
              std::size_t nChannels);

}  // namespace demo
