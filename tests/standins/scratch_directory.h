// A directory of a test's own, removed with all it holds.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace ztk_test {

class ScratchDirectory {
  public:
    ScratchDirectory() {
        path_ = std::filesystem::temp_directory_path() / "ztk-standins-XXXXXX";
        if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("mkdtemp " + path_);
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    [[nodiscard]] const std::string& Path() const { return path_; }
    [[nodiscard]] std::string File(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

inline std::string ContentOf(const std::string& szFile) {
    std::ifstream file(szFile, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace ztk_test
