// What is done to the pixels. Every function reads one block and writes another of the same or a smaller
// size; none of them allocates. RGB is three bytes a pixel, gray one; rows are not padded.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace demo {

void Gray(const std::uint8_t* pRgb, std::size_t nPixels, std::uint8_t* pGray);

/// A mean over 2 * nRadius + 1 pixels, along the rows; BlurColumns() of its result is a box blur.
void BlurRows(const std::uint8_t* pGray, std::size_t nWidth, std::size_t nHeight, std::size_t nRadius,
              std::uint8_t* pOut);
void BlurColumns(const std::uint8_t* pGray, std::size_t nWidth, std::size_t nHeight, std::size_t nRadius,
                 std::uint8_t* pOut);

/// The Sobel operator: how steep the brightness is, halved; the outermost pixels are 0.
void Edges(const std::uint8_t* pGray, std::size_t nWidth, std::size_t nHeight, std::uint8_t* pOut);

/// Means of 2 x 2 pixels: nWidth / 2 by nHeight / 2; an odd last row or column is dropped.
void Halve(const std::uint8_t* pRgb, std::size_t nWidth, std::size_t nHeight, std::uint8_t* pOut);

/// Means over the part of the picture that falls on each pixel of a smaller one.
void Shrink(const std::uint8_t* pIn, std::size_t nWidth, std::size_t nHeight, std::size_t nChannels,
            std::uint8_t* pOut, std::size_t nOutWidth, std::size_t nOutHeight);

/// Lifts the shadows: a gamma curve on every channel.
void Brighten(const std::uint8_t* pRgb, std::size_t nPixels, std::uint8_t* pOut);

/// Pixels per value, for each of the channels of RGB.
using Histogram = std::array<std::array<std::uint32_t, 256>, 3>;
Histogram CountValues(const std::uint8_t* pRgb, std::size_t nPixels);

/// A sum over all bytes in which every position counts, to tell whether a frame arrived as it was sent.
std::uint64_t CheckSum(const std::uint8_t* pBytes, std::size_t nSize);

}  // namespace demo
