#pragma once

#include <fcntl.h>

#include <filesystem>
#include <set>
#include <string>

namespace ztk::test {

/// The descriptors this process has open.
inline std::set<int> OpenDescriptors() {
    std::set<int> listed;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        listed.insert(std::stoi(entry.path().filename()));
    std::set<int> open;  // without the listing's own
    for (const int hFile : listed) {
        if (fcntl(hFile, F_GETFD) != -1) open.insert(hFile);
    }
    return open;
}

}  // namespace ztk::test
