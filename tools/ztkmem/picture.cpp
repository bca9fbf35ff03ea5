#include "picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <string>

#include "text.h"

namespace ztkmem {
namespace {

constexpr std::size_t kMaxPixels = 100'000'000;

struct NamedFormat {
    std::string_view name;
    PixelFormat enFormat;
};

constexpr std::array<NamedFormat, 5> kFormats{{{"gray8", PixelFormat::kGray8},
                                               {"rgb24", PixelFormat::kRgb24},
                                               {"bgr24", PixelFormat::kBgr24},
                                               {"nv12", PixelFormat::kNv12},
                                               {"yuyv", PixelFormat::kYuyv}}};

std::invalid_argument Wrong(std::string_view text, std::string_view why) {
    return std::invalid_argument(fmt::format("\"{}\": {}", Escape(text), why));
}

PixelFormat ReadFormat(std::string_view name, std::string_view whole) {
    for (const NamedFormat& format : kFormats) {
        if (format.name == name) return format.enFormat;
    }
    throw Wrong(whole, "want gray8, rgb24, bgr24, nv12 or yuyv, then :WIDTHxHEIGHT");
}

std::size_t ReadLength(std::string_view digits, std::string_view whole) {
    std::size_t nLength = 0;
    const char* pEnd = digits.data() + digits.size();
    const auto [pStop, enError] = std::from_chars(digits.data(), pEnd, nLength);
    if (enError != std::errc() || pStop != pEnd || nLength == 0)
        throw Wrong(whole, "want a size as in gray8:640x480");
    return nLength;
}

void CheckSize(const PictureShape& shape, std::string_view whole) {
    if (shape.nWidth > kMaxPixels / shape.nHeight)
        throw Wrong(whole, fmt::format("more than {} pixels", kMaxPixels));
    const bool bPairs = shape.enFormat == PixelFormat::kNv12 || shape.enFormat == PixelFormat::kYuyv;
    if (bPairs && shape.nWidth % 2 != 0) throw Wrong(whole, "this format needs an even width");
    if (shape.enFormat == PixelFormat::kNv12 && shape.nHeight % 2 != 0)
        throw Wrong(whole, "this format needs an even height");
}

std::uint8_t Clamped(int nScaled) {
    constexpr int kShift = 8;
    constexpr int kHalf = 1 << (kShift - 1);
    return static_cast<std::uint8_t>(std::clamp((nScaled + kHalf) / (1 << kShift), 0, 255));
}

struct Yuv {
    std::uint8_t byY;
    std::uint8_t byU;
    std::uint8_t byV;
};

/// BT.601, limited range, in 1/256.
void PutRgb(const Yuv& yuv, std::uint8_t* pRgb) {
    const int nY = 298 * (yuv.byY - 16);
    const int nU = yuv.byU - 128;
    const int nV = yuv.byV - 128;
    pRgb[0] = Clamped(nY + 409 * nV);
    pRgb[1] = Clamped(nY - 100 * nU - 208 * nV);
    pRgb[2] = Clamped(nY + 516 * nU);
}

void SwapRedAndBlue(const std::uint8_t* pIn, std::vector<std::uint8_t>& row) {
    for (std::size_t i = 0; i < row.size(); i += 3) {
        row[i] = pIn[i + 2];
        row[i + 1] = pIn[i + 1];
        row[i + 2] = pIn[i];
    }
}

void DecodeNv12(const std::uint8_t* pLuma, const std::uint8_t* pChroma, std::vector<std::uint8_t>& row) {
    for (std::size_t x = 0; x < row.size() / 3; ++x) {
        const std::size_t nPair = x - x % 2;
        PutRgb({pLuma[x], pChroma[nPair], pChroma[nPair + 1]}, &row[x * 3]);
    }
}

void DecodeYuyv(const std::uint8_t* pIn, std::vector<std::uint8_t>& row) {
    for (std::size_t x = 0; x < row.size() / 3; ++x) {
        const std::uint8_t* pPair = pIn + (x - x % 2) * 2;
        PutRgb({pPair[(x % 2) * 2], pPair[1], pPair[3]}, &row[x * 3]);
    }
}

}  // namespace

PictureShape ParsePictureShape(std::string_view text) {
    const std::size_t nColon = text.find(':');
    PictureShape shape;
    shape.enFormat = ReadFormat(text.substr(0, nColon), text);
    const std::string_view size = nColon == std::string_view::npos ? "" : text.substr(nColon + 1);
    const std::size_t nCross = size.find('x');
    shape.nWidth = ReadLength(size.substr(0, nCross), text);
    shape.nHeight = ReadLength(nCross == std::string_view::npos ? "" : size.substr(nCross + 1), text);
    CheckSize(shape, text);
    return shape;
}

std::size_t FrameSize(const PictureShape& shape) {
    const std::size_t nPixels = shape.nWidth * shape.nHeight;
    switch (shape.enFormat) {
        case PixelFormat::kGray8:
            return nPixels;
        case PixelFormat::kNv12:
            return nPixels + nPixels / 2;
        case PixelFormat::kYuyv:
            return nPixels * 2;
        case PixelFormat::kRgb24:
        case PixelFormat::kBgr24:
            break;
    }
    return nPixels * 3;
}

std::size_t Channels(PixelFormat enFormat) {
    return enFormat == PixelFormat::kGray8 ? 1 : 3;
}

std::array<FrameSpan, 2> RowSpans(const PictureShape& shape, std::size_t nRow) {
    const std::size_t nWidth = shape.nWidth;
    switch (shape.enFormat) {
        case PixelFormat::kGray8:
            return {{{nRow * nWidth, nWidth}, {}}};
        case PixelFormat::kNv12:
            return {{{nRow * nWidth, nWidth}, {(shape.nHeight + nRow / 2) * nWidth, nWidth}}};
        case PixelFormat::kYuyv:
            return {{{nRow * nWidth * 2, nWidth * 2}, {}}};
        case PixelFormat::kRgb24:
        case PixelFormat::kBgr24:
            break;
    }
    return {{{nRow * nWidth * 3, nWidth * 3}, {}}};
}

void DecodeRow(const PictureShape& shape, const std::vector<std::uint8_t>& bytes,
               std::vector<std::uint8_t>& row) {
    row.resize(shape.nWidth * Channels(shape.enFormat));
    switch (shape.enFormat) {
        case PixelFormat::kGray8:
        case PixelFormat::kRgb24:
            std::copy_n(bytes.data(), row.size(), row.data());
            break;
        case PixelFormat::kBgr24:
            SwapRedAndBlue(bytes.data(), row);
            break;
        case PixelFormat::kNv12:
            DecodeNv12(bytes.data(), bytes.data() + shape.nWidth, row);
            break;
        case PixelFormat::kYuyv:
            DecodeYuyv(bytes.data(), row);
            break;
    }
}

}  // namespace ztkmem
