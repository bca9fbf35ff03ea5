#include "picture_source.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "image_ops.h"
#include "video.h"

namespace demo {

namespace {

constexpr std::size_t kMaxWidth = 1600;
constexpr std::size_t kMaxHeight = 1200;
constexpr std::size_t kMinSide = 16;
constexpr std::size_t kMaxPictures = 96;
constexpr std::size_t kSheetRows = 4;

Picture Halved(const Picture& picture) {
    Picture half{picture.nWidth / 2, picture.nHeight / 2, {}};
    half.rgb.resize(half.nWidth * half.nHeight * 3);
    Halve(picture.rgb.data(), picture.nWidth, picture.nHeight, half.rgb.data());
    return half;
}

// Halves until it has the size of a camera's frame, so that a run's length does not depend on the user's
// pictures.
Picture Fitted(Picture picture, const std::string& path) {
    while (picture.nWidth > kMaxWidth || picture.nHeight > kMaxHeight)
        picture = Halved(picture);
    if (std::min(picture.nWidth, picture.nHeight) < kMinSide) {
        throw std::runtime_error(fmt::format(
            "{}: too small or too narrow for the demo (at least {} x {} pixels)", path, kMinSide, kMinSide));
    }
    return picture;
}

std::vector<Picture> ReadAny(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0)
        throw std::runtime_error(fmt::format("{}: {}", path, std::strerror(errno)));
    if (!S_ISREG(info.st_mode)) throw std::runtime_error(fmt::format("{}: not a file", path));
    switch (KindOfFile(path)) {
        case FileKind::kPng:
            return {ReadPng(path)};
        case FileKind::kJpeg:
            return {ReadJpeg(path)};
        case FileKind::kOther:
            break;
    }
    return ReadVideo(path);
}

}  // namespace

Scenes::Scenes(const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        for (Picture& picture : ReadAny(path)) {
            scenes_.push_back(Fitted(std::move(picture), path));
            scenes_.push_back(Halved(scenes_.back()));
        }
        if (PictureCount() > kMaxPictures) {
            throw std::runtime_error(fmt::format("more than {} pictures and video frames", kMaxPictures));
        }
    }
    if (scenes_.empty()) throw std::runtime_error("no pictures given");
}

std::vector<std::size_t> Scenes::SheetFrames() const {
    const std::size_t nRows = std::min(kSheetRows, PictureCount());
    std::vector<std::size_t> frames;
    for (std::size_t i = 0; i < nRows; ++i)
        frames.push_back(2 * (i * PictureCount() / nRows));
    return frames;
}

}  // namespace demo
