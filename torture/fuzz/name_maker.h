// Names for a directory: well formed, nearly so, and arbitrary bytes.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace ztk::torture {

class NameMaker {
  public:
    /// @p ids are texts of process ids that mean something where the names are used; they are made more
    /// often.
    NameMaker(std::uint64_t nSeed, std::vector<std::string> ids);

    /// 1 to 255 bytes without a slash and a NUL, as any file's name is; never "." or "..".
    const std::string& Next();

  private:
    std::uint32_t Pick(std::uint32_t nBelow) {
        return static_cast<std::uint32_t>((random_() & 0xffffffffU) * nBelow >> 32U);
    }
    void AppendId();
    void AppendRandom(std::size_t nBytes);
    void AppendMark();
    void MakeWellFormed();
    void MakeOfPieces();
    void Spoil();
    void Fit();

    std::mt19937_64 random_;
    std::vector<std::string> ids_;
    std::string name_;
};

}  // namespace ztk::torture
