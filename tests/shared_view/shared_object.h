// A shared-memory object of a test's own, shaped as an owner would have made it or in any wrong way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ztk_test {

constexpr std::size_t kHeader = 128;

/// A header as an owner writes it: written out here byte by byte, apart from the code under test.
std::vector<unsigned char> Header(const std::string& szName, std::uint64_t nDataLen);

/// A name that no other test and no pool uses.
std::string UniqueName();

/// Creates the object and removes it. Objects that a test made under the name in another way are removed too.
class SharedObject {
  public:
    /// Only the name; nothing is there yet.
    SharedObject();
    /// A good block with @p nDataLen bytes of data, filled with a pattern.
    explicit SharedObject(std::size_t nDataLen);
    ~SharedObject();
    SharedObject(const SharedObject&) = delete;
    SharedObject& operator=(const SharedObject&) = delete;

    [[nodiscard]] const std::string& Name() const { return name_; }
    [[nodiscard]] std::string Path() const { return "/dev/shm/" + name_; }

    void Write(std::size_t nOffset, const std::vector<unsigned char>& bytes) const;
    void Resize(std::uint64_t nBytes) const;
    void Unlink() const;
    [[nodiscard]] std::vector<unsigned char> Content() const;

  private:
    [[nodiscard]] int Open() const;

    std::string name_;
};

/// The byte that a good block has at @p nOffset of its data.
constexpr unsigned char PatternAt(std::size_t nOffset) {
    return static_cast<unsigned char>(nOffset * 7 + 3);
}

}  // namespace ztk_test
