#include "picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "tools/made_up_objects.h"

namespace ztkmem {
namespace {

using test::Bytes;

Bytes Decoded(const std::string& shape, const Bytes& frame) {
    const PictureShape parsed = ParsePictureShape(shape);
    EXPECT_EQ(FrameSize(parsed), frame.size());
    Bytes pixels;
    Bytes row;
    for (std::size_t y = 0; y < parsed.nHeight; ++y) {
        Bytes bytes;
        for (const FrameSpan& span : RowSpans(parsed, y)) {
            for (std::size_t i = 0; i < span.nLength; ++i)
                bytes.push_back(frame.at(span.nOffset + i));
        }
        DecodeRow(parsed, bytes, row);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    return pixels;
}

TEST(Picture, GrayAndRgbStayAsTheyAre) {
    EXPECT_EQ(Decoded("gray8:5x3", test::Pattern(15)), test::Pattern(15));
    EXPECT_EQ(Decoded("rgb24:5x3", test::Pattern(45)), test::Pattern(45));
}

TEST(Picture, BgrIsTurnedRound) {
    EXPECT_EQ(Decoded("bgr24:2x1", {1, 2, 3, 4, 5, 6}), (Bytes{3, 2, 1, 6, 5, 4}));
}

TEST(Picture, KnownColoursOfVideo) {
    EXPECT_EQ(Decoded("yuyv:2x1", {16, 128, 235, 128}), (Bytes{0, 0, 0, 255, 255, 255}));
    const Bytes red = Decoded("yuyv:2x1", {81, 90, 81, 240});
    EXPECT_GE(red[0], 253);
    EXPECT_LE(red[1], 1);
    EXPECT_LE(red[2], 1);
    EXPECT_EQ(Decoded("nv12:2x2", {16, 16, 16, 235, 128, 128}),
              (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255}));
}

/// The conversion as the standard writes it, in floating point.
Bytes Reference(double y, double u, double v) {
    const double luma = 255.0 / 219.0 * (y - 16);
    const double chroma = 255.0 / 224.0;
    const auto byte = [](double value) {
        return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
    };
    return {byte(luma + chroma * 1.402 * (v - 128)),
            byte(luma - chroma * (0.344136 * (u - 128) + 0.714136 * (v - 128))),
            byte(luma + chroma * 1.772 * (u - 128))};
}

void ExpectPixel(const Bytes& pixels, std::size_t nPixel, const Bytes& wanted) {
    for (std::size_t c = 0; c < 3; ++c)
        EXPECT_NEAR(pixels.at(nPixel * 3 + c), wanted.at(c), 1) << "pixel " << nPixel << " channel " << c;
}

TEST(Picture, Nv12EveryPixelHasTheColourOfItsSquare) {
    constexpr std::size_t kWidth = 6;
    constexpr std::size_t kHeight = 4;
    const Bytes frame = test::Pattern(kWidth * kHeight * 3 / 2);
    const Bytes pixels = Decoded("nv12:6x4", frame);
    for (std::size_t y = 0; y < kHeight; ++y) {
        for (std::size_t x = 0; x < kWidth; ++x) {
            const std::size_t nChroma = kWidth * kHeight + (y / 2) * kWidth + (x / 2) * 2;
            ExpectPixel(pixels, y * kWidth + x,
                        Reference(frame[y * kWidth + x], frame[nChroma], frame[nChroma + 1]));
        }
    }
}

TEST(Picture, YuyvEveryPixelHasTheColourOfItsPair) {
    constexpr std::size_t kWidth = 4;
    const Bytes frame = test::Pattern(kWidth * 3 * 2);
    const Bytes pixels = Decoded("yuyv:4x3", frame);
    for (std::size_t i = 0; i < kWidth * 3; ++i) {
        const std::size_t nPair = i / 2 * 4;
        ExpectPixel(pixels, i, Reference(frame[i * 2], frame[nPair + 1], frame[nPair + 3]));
    }
}

TEST(PictureShape, IsReadInOneForm) {
    const PictureShape shape = ParsePictureShape("nv12:1920x1080");
    EXPECT_EQ(shape.enFormat, PixelFormat::kNv12);
    EXPECT_EQ(shape.nWidth, 1920U);
    EXPECT_EQ(shape.nHeight, 1080U);
    EXPECT_EQ(FrameSize(shape), 3110400U);
}

TEST(PictureShape, RefusesWhatNoFrameCanBe) {
    for (const char* szText : {"",
                               "nv12",
                               "nv12:",
                               "nv12:4",
                               "nv12:4x",
                               "nv12:x4",
                               "nv12:0x4",
                               "nv12:4x0",
                               "nv12:3x4",
                               "nv12:4x3",
                               "yuyv:3x4",
                               "NV12:4x4",
                               "gray8:-4x4",
                               "gray8:4x4 ",
                               "gray8:4X4",
                               "rgb:4x4",
                               "gray8:4x4x4",
                               "gray8:100000x100000",
                               "gray8:4294967296x4294967296",
                               "gray8:18446744073709551616x1"}) {
        EXPECT_THROW(ParsePictureShape(szText), std::invalid_argument) << szText;
    }
}

}  // namespace
}  // namespace ztkmem
