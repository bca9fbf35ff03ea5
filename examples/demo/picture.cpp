#include "picture.h"

#include <fmt/format.h>
#include <png.h>
#include <turbojpeg.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace demo {

namespace {

// Enough for any camera; keeps a forged header from asking for the whole machine.
constexpr std::size_t kMaxPixels = 100'000'000;

void CheckPixels(const std::string& path, std::size_t nWidth, std::size_t nHeight) {
    if (nWidth == 0 || nHeight == 0 || nWidth > kMaxPixels / nHeight) {
        throw std::runtime_error(
            fmt::format("{}: {} x {} pixels, the demo takes at most {}", path, nWidth, nHeight, kMaxPixels));
    }
}

std::vector<std::uint8_t> ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) throw std::runtime_error(fmt::format("{}: {}", path, std::strerror(errno)));
    return bytes;
}

}  // namespace

FileKind KindOfFile(const std::string& path) {
    std::array<unsigned char, 8> head{};
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file) throw std::runtime_error(fmt::format("{}: {}", path, std::strerror(errno)));
    const std::size_t nRead = std::fread(head.data(), 1, head.size(), file.get());
    if (std::ferror(file.get()) != 0)
        throw std::runtime_error(fmt::format("{}: {}", path, std::strerror(errno)));
    if (nRead == 0) throw std::runtime_error(fmt::format("{}: the file is empty", path));
    if (nRead == head.size() && png_sig_cmp(head.data(), 0, head.size()) == 0) return FileKind::kPng;
    const bool bJpeg = nRead >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF;
    return bJpeg ? FileKind::kJpeg : FileKind::kOther;
}

Picture ReadPng(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) {
        throw std::runtime_error(fmt::format("{}: not a readable PNG ({})", path, image.message));
    }
    const std::unique_ptr<png_image, void (*)(png_image*)> guard(&image, &png_image_free);
    CheckPixels(path, image.width, image.height);
    image.format = PNG_FORMAT_RGB;
    Picture picture{image.width, image.height, std::vector<std::uint8_t>(PNG_IMAGE_SIZE(image))};
    const png_color white{255, 255, 255};  // behind transparent pixels
    if (png_image_finish_read(&image, &white, picture.rgb.data(), 0, nullptr) == 0) {
        throw std::runtime_error(fmt::format("{}: damaged PNG ({})", path, image.message));
    }
    return picture;
}

Picture ReadJpeg(const std::string& path) {
    const std::vector<std::uint8_t> bytes = ReadFile(path);
    const std::unique_ptr<void, int (*)(void*)> decoder(tjInitDecompress(), &tjDestroy);
    if (!decoder)
        throw std::runtime_error(fmt::format("{}: no JPEG decoder ({})", path, tjGetErrorStr2(nullptr)));
    int nWidth = 0;
    int nHeight = 0;
    int nSubsampling = 0;
    int nColorspace = 0;
    const int nResult = tjDecompressHeader3(decoder.get(), bytes.data(), bytes.size(), &nWidth, &nHeight,
                                            &nSubsampling, &nColorspace);
    if (nResult != 0 || nWidth <= 0 || nHeight <= 0) {
        throw std::runtime_error(fmt::format("{}: not a readable JPEG", path));
    }
    Picture picture{static_cast<std::size_t>(nWidth), static_cast<std::size_t>(nHeight), {}};
    CheckPixels(path, picture.nWidth, picture.nHeight);
    picture.rgb.resize(picture.nWidth * picture.nHeight * 3);
    if (tjDecompress2(decoder.get(), bytes.data(), bytes.size(), picture.rgb.data(), nWidth, 0, nHeight,
                      TJPF_RGB, 0) != 0) {
        throw std::runtime_error(fmt::format("{}: damaged JPEG ({})", path, tjGetErrorStr2(decoder.get())));
    }
    return picture;
}

void WritePng(const std::string& path, const std::uint8_t* pPixels, std::size_t nWidth, std::size_t nHeight,
              std::size_t nChannels) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(nWidth);
    image.height = static_cast<png_uint_32>(nHeight);
    image.format = nChannels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
    image.flags = PNG_IMAGE_FLAG_FAST;
    if (png_image_write_to_file(&image, path.c_str(), 0, pPixels, 0, nullptr) == 0) {
        throw std::runtime_error(fmt::format("{}: cannot be written ({})", path, image.message));
    }
}

}  // namespace demo
