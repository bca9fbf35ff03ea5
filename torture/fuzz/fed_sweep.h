// A sweep of /dev/shm whose directory, objects and processes are made up: every call that it makes and every
// line that it logs is compared, in order, with what the oracle says of the entry.
//
// The calls come here because this file's functions bear the C library's names (or, where ZTK_WRAPPED is
// defined, because the linker leads them here). Outside a fed sweep they are passed on.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>

#include "torture/fuzz/name_oracle.h"

namespace ztk::torture {

/// One entry of the directory, and what the system will say about it.
struct FedEntry {
    std::string name;
    EntryType enType = EntryType::kRegular;
    int nLstatError = 0;  ///< not 0: it cannot be inspected
    int hObject = -1;     ///< what opening it gives
    bool bRemovable = true;
};

/// How the directory begins.
enum class FedDirectory { kReadable, kUnopenable, kEmpty };

struct FedSweep {
    FedDirectory enDirectory = FedDirectory::kReadable;
    pid_t nOwn = 0;
    std::uint64_t nAliveSeed = 0;                     ///< decides which processes answer
    std::function<bool(FedEntry&)> next;              ///< fills in the next entry; false at the end
    std::function<void(const std::string&)> differs;  ///< is told of what is not as it must be
};

/// From now on the next sweep of this process is fed.
void BeginFedSweep(FedSweep sweep);

/// Compares what the last entry came to, and passes calls on again. Returns how many entries were handled.
std::uint64_t EndFedSweep();

}  // namespace ztk::torture
