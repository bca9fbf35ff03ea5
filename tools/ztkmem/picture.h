// Raw frames, as cameras and encoders leave them, into RGB. Rows follow each other without padding.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace ztkmem {

enum class PixelFormat {
    kGray8,
    kRgb24,
    kBgr24,
    kNv12,  ///< a plane of Y, then one of U and V in turn, each for 2 x 2 pixels
    kYuyv,  ///< Y U Y V for two pixels
};

struct PictureShape {
    PixelFormat enFormat = PixelFormat::kGray8;
    std::size_t nWidth = 0;
    std::size_t nHeight = 0;
};

/// Reads "nv12:1920x1080". Throws std::invalid_argument with one line on anything else, also on sizes that
/// the format does not allow (odd ones where pixels share colours) and on more than 100 million pixels.
PictureShape ParsePictureShape(std::string_view text);

/// Bytes of one frame.
std::size_t FrameSize(const PictureShape& shape);

/// 1 for gray, else 3.
std::size_t Channels(PixelFormat enFormat);

struct FrameSpan {
    std::size_t nOffset = 0;
    std::size_t nLength = 0;
};

/// Where in a frame a row stands: its pixels, and its colours if they have a plane of their own.
std::array<FrameSpan, 2> RowSpans(const PictureShape& shape, std::size_t nRow);

/// One row as gray values or RGB, from the bytes of its spans, one behind the other. Y, U and V are taken to
/// be BT.601 with the usual limited range (Y 16 to 235).
void DecodeRow(const PictureShape& shape, const std::vector<std::uint8_t>& bytes,
               std::vector<std::uint8_t>& row);

}  // namespace ztkmem
