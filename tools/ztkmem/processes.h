// The processes that /proc shows, and how far it can be trusted to show all.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "owner.h"

namespace ztkmem {

struct Process {
    int nId = 0;
    std::string command;  ///< as the process chose it: escape it
    OwnerProcess vitals;
    std::uint64_t nResident = 0;              ///< bytes of all its memory
    std::vector<int> innerIds;                ///< its ids in inner pid namespaces
    std::vector<std::uint64_t> mappedInodes;  ///< of /dev/shm, sorted
};

struct ProcessTable {
    std::vector<Process> processes;  ///< by id
    std::size_t nUnread = 0;         ///< processes whose mappings may not be read
    Visibility visibility;

    const Process* Find(int nId) const;
    bool HasInnerId(int nId) const;
};

enum class Mappings { kRead, kLeaveOut };

/// Processes that end while it reads are left out. @p nShmDevice: of the mappings to note.
ProcessTable ReadProcesses(Mappings enMappings, std::uint64_t nShmDevice, const std::string& root = "/proc");

/// Asks with signal 0, which is never delivered. @p nId must be above 0: else it means process groups.
Signalled AskFor(int nId);

}  // namespace ztkmem
