// /dev/shm as it is: looked at without following links, without waiting, without changing anything.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "descriptor.h"
#include "proc_text.h"

namespace ztkmem {

struct ObjectFacts {
    ObjectId id;
    bool bRegular = false;
    std::uint64_t nLength = 0;    ///< 0 for all but regular files
    std::uint64_t nResident = 0;  ///< bytes that take memory now, in RAM or swap
    unsigned nMode = 0;           ///< permission bits
    unsigned nUser = 0;
    /// Seconds since 1970: its birth where the kernel tells it, or its last change where that is earlier.
    std::int64_t nMadeAt = 0;
};

/// An object open for reading. It may be shortened at any time: reads come back short, nothing worse.
class ObjectFile {
  public:
    explicit ObjectFile(Descriptor file) : file_(std::move(file)) {}

    bool IsOpen() const { return file_.IsOpen(); }

    /// Now; the next moment it may be another. Throws std::system_error.
    std::uint64_t Length() const;

    /// At most @p nSize bytes; fewer at the object's end. Throws std::system_error.
    std::vector<std::uint8_t> Read(std::uint64_t nOffset, std::size_t nSize) const;

  private:
    Descriptor file_;
};

class ShmDirectory {
  public:
    /// Throws std::system_error if it cannot be opened.
    explicit ShmDirectory(const std::string& path = "/dev/shm");

    /// In the directory's order, dot entries left out.
    std::vector<std::string> Names() const;

    /// No value if nothing bears the name (any more). Throws std::system_error.
    std::optional<ObjectFacts> Look(const std::string& name) const;

    /// Not open, with the reason in errno, if it cannot be read or is no regular file.
    ObjectFile Open(const std::string& name) const;

    /// 0, or the errno.
    int Remove(const std::string& name) const;

    std::uint64_t Device() const;

  private:
    std::string path_;
    Descriptor folder_;
};

}  // namespace ztkmem
