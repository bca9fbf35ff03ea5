// Small pictures for the contact sheet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace demo {

/// Writes the picture (1 or 3 bytes a pixel) as PNG, shrunk to fit into a cell of the sheet; with
/// @p nFraction 2 into half the cell's width and height.
void WriteThumbnail(const std::string& path, const std::uint8_t* pPixels, std::size_t nWidth,
                    std::size_t nHeight, std::size_t nChannels, std::size_t nFraction = 1);

}  // namespace demo
