// The texts of /proc, read without trusting them: a process chooses its own name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ztkmem {

/// Of /proc/<pid>/stat.
struct ProcessStat {
    std::string command;
    char chState = '?';
    std::int64_t nThreads = 0;
    std::uint64_t nStartTicks = 0;  ///< since boot
    std::uint64_t nResidentPages = 0;
};

/// No value if it does not look like one.
std::optional<ProcessStat> ParseStat(std::string_view text);

/// The ids that a process has in inner pid namespaces, from /proc/<pid>/status; mostly none.
std::vector<int> ParseInnerIds(std::string_view status);

/// One file of the system: device and inode.
struct ObjectId {
    std::uint64_t nDevice = 0;
    std::uint64_t nInode = 0;
};

inline bool operator==(const ObjectId& one, const ObjectId& other) {
    return one.nDevice == other.nDevice && one.nInode == other.nInode;
}

/// The files on @p nDevice of which /proc/<pid>/maps speaks, each once, sorted: their inodes.
std::vector<std::uint64_t> ParseMappedInodes(std::string_view maps, std::uint64_t nDevice);

/// The number in "pid:[4026531836]".
std::optional<std::uint64_t> ParseNamespaceLink(std::string_view text);

}  // namespace ztkmem
