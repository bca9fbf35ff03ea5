// A file descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <utility>

namespace ztkmem {

class Descriptor {
  public:
    explicit Descriptor(int hFile = -1) : hFile_(hFile) {}
    Descriptor(Descriptor&& other) noexcept : hFile_(std::exchange(other.hFile_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(hFile_, other.hFile_);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (hFile_ >= 0) close(hFile_);
    }

    int Get() const { return hFile_; }
    bool IsOpen() const { return hFile_ >= 0; }

  private:
    int hFile_;
};

}  // namespace ztkmem
