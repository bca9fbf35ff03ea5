#include "torture/processes/place.h"

#include <sys/statvfs.h>

#include <filesystem>
#include <fstream>

namespace ztk::torture {

void PlantObject(const std::string& name) {
    std::ofstream("/dev/shm/" + name) << std::string(8192, 'x');
}

std::uint64_t FreeShmBytes() {
    struct statvfs status {};
    if (statvfs("/dev/shm", &status) != 0) return 0;
    return status.f_bfree * status.f_bsize;
}

void EmptyShm() {
    for (const std::string& name : ShmEntries())
        std::filesystem::remove_all("/dev/shm/" + name);
}

}  // namespace ztk::torture
