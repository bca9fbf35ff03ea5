#include "image_ops.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace demo {

namespace {

// The mean of a window that slides along one line of pixels, nStep bytes apart; the line's end pixels
// stand for what lies beyond it.
void BlurLine(const std::uint8_t* pIn, std::size_t nCount, std::size_t nStep, std::size_t nRadius,
              std::uint8_t* pOut) {
    const auto at = [=](std::size_t i) -> std::uint32_t { return pIn[std::min(i, nCount - 1) * nStep]; };
    const auto nWindow = static_cast<std::uint32_t>(2 * nRadius + 1);
    auto nSum = static_cast<std::uint32_t>(nRadius + 1) * at(0);
    for (std::size_t i = 1; i <= nRadius; ++i)
        nSum += at(i);
    for (std::size_t i = 0; i < nCount; ++i) {
        pOut[i * nStep] = static_cast<std::uint8_t>(nSum / nWindow);
        nSum += at(i + nRadius + 1);
        nSum -= at(i > nRadius ? i - nRadius : 0);
    }
}

std::array<std::uint8_t, 256> GammaCurve() {
    constexpr double kGamma = 0.65;
    std::array<std::uint8_t, 256> curve{};
    for (std::size_t i = 0; i < curve.size(); ++i) {
        curve[i] =
            static_cast<std::uint8_t>(std::lround(255.0 * std::pow(static_cast<double>(i) / 255.0, kGamma)));
    }
    return curve;
}

}  // namespace

void Gray(const std::uint8_t* pRgb, std::size_t nPixels, std::uint8_t* pGray) {
    for (std::size_t i = 0; i < nPixels; ++i) {
        // Weights of ITU-R BT.601 in 256ths.
        pGray[i] =
            static_cast<std::uint8_t>((77 * pRgb[3 * i] + 150 * pRgb[3 * i + 1] + 29 * pRgb[3 * i + 2]) >> 8);
    }
}

void BlurRows(const std::uint8_t* pGray, std::size_t nWidth, std::size_t nHeight, std::size_t nRadius,
              std::uint8_t* pOut) {
    for (std::size_t y = 0; y < nHeight; ++y)
        BlurLine(pGray + y * nWidth, nWidth, 1, nRadius, pOut + y * nWidth);
}

void BlurColumns(const std::uint8_t* pGray, std::size_t nWidth, std::size_t nHeight, std::size_t nRadius,
                 std::uint8_t* pOut) {
    for (std::size_t x = 0; x < nWidth; ++x)
        BlurLine(pGray + x, nHeight, nWidth, nRadius, pOut + x);
}

void Edges(const std::uint8_t* pGray, std::size_t nWidth, std::size_t nHeight, std::uint8_t* pOut) {
    std::memset(pOut, 0, nWidth * nHeight);
    for (std::size_t y = 1; y + 1 < nHeight; ++y) {
        const std::uint8_t* pUp = pGray + (y - 1) * nWidth;
        const std::uint8_t* pMid = pUp + nWidth;
        const std::uint8_t* pLow = pMid + nWidth;
        for (std::size_t x = 1; x + 1 < nWidth; ++x) {
            const int nAcross =
                pUp[x + 1] + 2 * pMid[x + 1] + pLow[x + 1] - pUp[x - 1] - 2 * pMid[x - 1] - pLow[x - 1];
            const int nDown = pLow[x - 1] + 2 * pLow[x] + pLow[x + 1] - pUp[x - 1] - 2 * pUp[x] - pUp[x + 1];
            pOut[y * nWidth + x] =
                static_cast<std::uint8_t>(std::min((std::abs(nAcross) + std::abs(nDown)) / 2, 255));
        }
    }
}

void Halve(const std::uint8_t* pRgb, std::size_t nWidth, std::size_t nHeight, std::uint8_t* pOut) {
    for (std::size_t y = 0; y < nHeight / 2; ++y) {
        const std::uint8_t* pUp = pRgb + 2 * y * nWidth * 3;
        const std::uint8_t* pLow = pUp + nWidth * 3;
        for (std::size_t x = 0; x < nWidth / 2; ++x) {
            for (std::size_t c = 0; c < 3; ++c) {
                const std::size_t i = 6 * x + c;
                *pOut++ = static_cast<std::uint8_t>((pUp[i] + pUp[i + 3] + pLow[i] + pLow[i + 3] + 2) / 4);
            }
        }
    }
}

void Shrink(const std::uint8_t* pIn, std::size_t nWidth, std::size_t nHeight, std::size_t nChannels,
            std::uint8_t* pOut, std::size_t nOutWidth, std::size_t nOutHeight) {
    const auto mean = [&](std::size_t x, std::size_t y, std::size_t c) {
        const std::size_t nLeft = x * nWidth / nOutWidth;
        const std::size_t nRight = (x + 1) * nWidth / nOutWidth;
        std::size_t nSum = 0;
        std::size_t nCount = 0;
        for (std::size_t i = y * nHeight / nOutHeight; i < (y + 1) * nHeight / nOutHeight; ++i) {
            for (std::size_t j = nLeft; j < nRight; ++j, ++nCount)
                nSum += pIn[(i * nWidth + j) * nChannels + c];
        }
        return static_cast<std::uint8_t>(nSum / std::max<std::size_t>(nCount, 1));
    };
    for (std::size_t y = 0; y < nOutHeight; ++y) {
        for (std::size_t x = 0; x < nOutWidth; ++x) {
            for (std::size_t c = 0; c < nChannels; ++c)
                *pOut++ = mean(x, y, c);
        }
    }
}

void Brighten(const std::uint8_t* pRgb, std::size_t nPixels, std::uint8_t* pOut) {
    static const std::array<std::uint8_t, 256> curve = GammaCurve();
    for (std::size_t i = 0; i < nPixels * 3; ++i)
        pOut[i] = curve[pRgb[i]];
}

Histogram CountValues(const std::uint8_t* pRgb, std::size_t nPixels) {
    Histogram histogram{};
    for (std::size_t i = 0; i < nPixels; ++i) {
        for (std::size_t c = 0; c < 3; ++c)
            ++histogram[c][pRgb[3 * i + c]];
    }
    return histogram;
}

std::uint64_t CheckSum(const std::uint8_t* pBytes, std::size_t nSize) {
    std::uint64_t nLow = 1;
    std::uint64_t nHigh = 0;
    for (std::size_t i = 0; i < nSize; ++i) {
        nLow += pBytes[i];
        nHigh += nLow;
    }
    return nHigh;
}

}  // namespace demo
