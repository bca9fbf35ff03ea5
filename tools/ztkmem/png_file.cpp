#include "png_file.h"

#include <fmt/format.h>
#include <png.h>

#include <array>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "text.h"

namespace ztkmem {
namespace {

using ErrorText = std::array<char, 128>;

[[noreturn]] void OnPngError(png_structp pPng, png_const_charp szWhat) {
    auto* pText = static_cast<ErrorText*>(png_get_error_ptr(pPng));
    std::snprintf(pText->data(), pText->size(), "%s", szWhat);
    png_longjmp(pPng, 1);
}

void OnPngWarning(png_structp /*pPng*/, png_const_charp /*szWhat*/) {}

/// libpng leaves by a jump when something fails: @p work has nothing to destroy.
template <typename Work>
bool Try(png_structp pPng, const Work& work) {
    if (setjmp(png_jmpbuf(pPng)) != 0) return false;  // NOLINT(cert-err52-cpp): libpng's only way
    work();
    return true;
}

}  // namespace

struct PngFile::Writer {
    explicit Writer(const std::string& path) : pFile(std::fopen(path.c_str(), "wbe")) {
        if (pFile == nullptr) return;
        pPng = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, OnPngError, OnPngWarning);
        if (pPng != nullptr) pInfo = png_create_info_struct(pPng);
    }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    ~Writer() {
        png_destroy_write_struct(&pPng, &pInfo);
        Close();
    }

    bool Close() {
        FILE* pOpen = std::exchange(pFile, nullptr);
        return pOpen == nullptr || std::fclose(pOpen) == 0;
    }

    ErrorText error{};
    FILE* pFile;
    png_structp pPng = nullptr;
    png_infop pInfo = nullptr;
};

PngFile::PngFile(const std::string& path, const PictureShape& shape)
    : path_(path), shape_(shape), pWriter_(std::make_unique<Writer>(path)) {
    Writer& writer = *pWriter_;
    if (writer.pFile == nullptr) Fail(std::strerror(errno));
    const auto nWidth = static_cast<png_uint_32>(shape.nWidth);
    const auto nHeight = static_cast<png_uint_32>(shape.nHeight);
    const int nColour = Channels(shape.enFormat) == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB;
    const bool bBegun =
        writer.pInfo != nullptr && Try(writer.pPng, [&] {
            png_init_io(writer.pPng, writer.pFile);
            png_set_IHDR(writer.pPng, writer.pInfo, nWidth, nHeight, 8, nColour, PNG_INTERLACE_NONE,
                         PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
            png_write_info(writer.pPng, writer.pInfo);
        });
    if (bBegun) return;
    std::remove(path_.c_str());
    Fail(writer.error.data());
}

PngFile::~PngFile() {
    if (!bFinished_) std::remove(path_.c_str());
}

void PngFile::Fail(const std::string& why) const {
    throw std::runtime_error(fmt::format("{}: cannot be written ({})", Escape(path_), why));
}

void PngFile::AddRow(const std::vector<std::uint8_t>& bytes) {
    DecodeRow(shape_, bytes, row_);
    Writer& writer = *pWriter_;
    const std::uint8_t* pRow = row_.data();
    if (!Try(writer.pPng, [&] { png_write_row(writer.pPng, pRow); })) Fail(writer.error.data());
}

void PngFile::Finish() {
    Writer& writer = *pWriter_;
    if (!Try(writer.pPng, [&] { png_write_end(writer.pPng, nullptr); })) Fail(writer.error.data());
    if (!writer.Close()) Fail(std::strerror(errno));
    bFinished_ = true;
}

}  // namespace ztkmem
