#include "png_file.h"

#include <fmt/format.h>
#include <png.h>

#include <stdexcept>

namespace ztkmem {
namespace {

std::vector<std::uint8_t> Decode(const PictureShape& shape, const std::vector<std::uint8_t>& frame) {
    std::vector<std::uint8_t> pixels;
    pixels.reserve(shape.nWidth * shape.nHeight * Channels(shape.enFormat));
    std::vector<std::uint8_t> row;
    for (std::size_t nRow = 0; nRow < shape.nHeight; ++nRow) {
        DecodeRow(shape, frame, nRow, row);
        pixels.insert(pixels.end(), row.begin(), row.end());
    }
    return pixels;
}

}  // namespace

void WritePng(const std::string& path, const PictureShape& shape, const std::vector<std::uint8_t>& frame) {
    const std::vector<std::uint8_t> pixels = Decode(shape, frame);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(shape.nWidth);
    image.height = static_cast<png_uint_32>(shape.nHeight);
    image.format = Channels(shape.enFormat) == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, path.c_str(), 0, pixels.data(), 0, nullptr) == 0)
        throw std::runtime_error(fmt::format("{}: cannot be written ({})", path, image.message));
}

}  // namespace ztkmem
