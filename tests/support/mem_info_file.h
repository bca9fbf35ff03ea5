// A /proc/meminfo of the test's own.
#pragma once

#include <string>

namespace ztk::test {

/// While one exists, /proc/meminfo of this process's mount namespace reads as the text given. Needs a private
/// /dev/shm (see private_shm.h), where the text is kept without a name.
class MemInfoFile {
  public:
    explicit MemInfoFile(const std::string& text);
    ~MemInfoFile();
    MemInfoFile(const MemInfoFile&) = delete;
    MemInfoFile& operator=(const MemInfoFile&) = delete;

    bool IsMounted() const { return bMounted_; }

  private:
    bool bMounted_ = false;
};

/// While one exists, this process can open no further file.
class NoMoreDescriptors {
  public:
    NoMoreDescriptors();
    ~NoMoreDescriptors();
    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

  private:
    unsigned long nBefore_;
};

}  // namespace ztk::test
