#include "thumbnail.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "image_ops.h"
#include "picture.h"

namespace demo {

namespace {

// A cell of contact-sheet.gp.
constexpr std::size_t kCellWidth = 200;
constexpr std::size_t kCellHeight = 168;

}  // namespace

void WriteThumbnail(const std::string& path, const std::uint8_t* pPixels, std::size_t nWidth,
                    std::size_t nHeight, std::size_t nChannels, std::size_t nFraction) {
    const auto ratio = [](std::size_t n, std::size_t nOf) {
        return static_cast<double>(n) / static_cast<double>(nOf);
    };
    const double dScale =
        std::min({1.0, ratio(kCellWidth, nWidth * nFraction), ratio(kCellHeight, nHeight * nFraction)});
    const auto scaled = [dScale](std::size_t nSide) {
        return static_cast<std::size_t>(std::max(1L, std::lround(dScale * static_cast<double>(nSide))));
    };
    const std::size_t nOutWidth = scaled(nWidth);
    const std::size_t nOutHeight = scaled(nHeight);
    std::vector<std::uint8_t> small(nOutWidth * nOutHeight * nChannels);
    Shrink(pPixels, nWidth, nHeight, nChannels, small.data(), nOutWidth, nOutHeight);
    WritePng(path, small.data(), nOutWidth, nOutHeight, nChannels);
}

}  // namespace demo
