// Pictures as files.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "picture.h"

namespace ztkmem {

/// A picture that is written row by row. Unless it is finished, it is removed in the end. Everything throws
/// std::runtime_error with one line.
class PngFile {
  public:
    PngFile(const std::string& path, const PictureShape& shape);
    PngFile(const PngFile&) = delete;
    PngFile& operator=(const PngFile&) = delete;
    ~PngFile();

    /// The next row, from the bytes of its spans in the frame.
    void AddRow(const std::vector<std::uint8_t>& bytes);

    void Finish();

  private:
    struct Writer;
    [[noreturn]] void Fail(const std::string& why) const;

    const std::string path_;
    const PictureShape shape_;
    std::vector<std::uint8_t> row_;
    std::unique_ptr<Writer> pWriter_;
    bool bFinished_ = false;
};

}  // namespace ztkmem
