#include "torture/faults/world.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "common/ztk_common.h"
#include "torture/faults/board.h"
#include "torture/faults/heap_book.h"
#include "torture/faults/inside.h"
#include "torture/faults/normal_form.h"
#include "torture/faults/reclaimers.h"
#include "torture/faults/shared_result.h"

namespace ztk::torture {
namespace {

constexpr char kShm[] = "/dev/shm";

std::size_t CountEntries(const char* szFolder) {
    const std::filesystem::directory_iterator entries(szFolder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t CountViews() {
    std::ifstream maps("/proc/self/maps");
    std::string line;
    std::size_t nViews = 0;
    while (std::getline(maps, line))
        nViews += line.find("/dev/shm/") != std::string::npos ? 1 : 0;
    return nViews;
}

std::vector<std::string> NamesInShm() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kShm))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

template <class Number>
void AddChange(std::string& text, const char* szWhat, Number nBefore, Number nNow) {
    const long nChange = static_cast<long>(nNow) - static_cast<long>(nBefore);
    if (nChange != 0)
        text += std::string(" ") + szWhat + (nChange > 0 ? " +" : " ") + std::to_string(nChange) + ',';
}

void AddNames(std::string& text, const char* szSign, const std::vector<std::string>& some,
              const std::vector<std::string>& others) {
    std::vector<std::string> only;
    std::set_difference(some.begin(), some.end(), others.begin(), others.end(), std::back_inserter(only));
    // as they will be read: the order must not depend on process ids
    std::sort(only.begin(), only.end(), [](const std::string& one, const std::string& other) {
        return NormalForm(one) < NormalForm(other);
    });
    for (const std::string& name : only)
        text += std::string(" ") + szSign + name + ',';
}

template <class Function>
void FindExport(void* hLibrary, const char* szName, Function*& pFunction) {
    pFunction = reinterpret_cast<Function*>(dlsym(hLibrary, szName));
}

const char* Untouched(const void* pBlock) {
    return pBlock == nullptr ? "untouched" : "WRONG: output written";
}

}  // namespace

Belongings TakeStock() {
    return {CountEntries("/proc/self/fd"), CountViews(), CountMmzBlocks(), CountHeapBlocks(),
            CountLibrarysThreads(),        NamesInShm()};
}

void NoteChange(const std::string& heading, const Belongings& before, const Belongings& now) {
    std::string text;
    AddChange(text, "descriptors", before.nDescriptors, now.nDescriptors);
    AddChange(text, "views", before.nViews, now.nViews);
    AddChange(text, "MMZ blocks", before.nMmzBlocks, now.nMmzBlocks);
    AddChange(text, "threads", before.nThreads, now.nThreads);
    AddNames(text, "-", before.objects, now.objects);
    AddNames(text, "+", now.objects, before.objects);
    if (!text.empty()) text.pop_back();
    NoteResult(heading + ':' + (text.empty() ? " nothing" : text));
}

void World::Note(const std::string& what, std::uint32_t nStatus, const std::string& more) const {
    if (!bNoting_) return;
    char szStatus[32];
    static_cast<void>(std::snprintf(szStatus, sizeof(szStatus), "%#" PRIx32, nStatus));
    NoteResult(what + " = " + szStatus + (more.empty() ? "" : " " + more));
}

void World::Load() {
    void* hLibrary = nullptr;
    {
        const LoadingOrUnloading loading;
        hLibrary = dlopen(libraryPath_.c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    bLoaded_ = hLibrary != nullptr;
    Note("load", bLoaded_ ? 0 : 1, bLoaded_ ? "" : dlerror());
    if (!bLoaded_) return;
    library_.hLibrary = hLibrary;
    FindExport(hLibrary, "AllocatePoolMemory", library_.AllocatePoolMemory);
    FindExport(hLibrary, "AllocateAlignedPoolMemory", library_.AllocateAlignedPoolMemory);
    FindExport(hLibrary, "FreePoolMemory", library_.FreePoolMemory);
    FindExport(hLibrary, "AllocatePoolSharedMemory", library_.AllocatePoolSharedMemory);
    FindExport(hLibrary, "FreePoolSharedMemory", library_.FreePoolSharedMemory);
    FindExport(hLibrary, "GetAvailableOSSize", library_.GetAvailableOSSize);
    FindExport(hLibrary, "GetAvailableShareOSSize", library_.GetAvailableShareOSSize);
    FindExport(hLibrary, "SetImageBufferNodeNum", library_.SetImageBufferNodeNum);
    FindExport(hLibrary, "GetImageBufferNodeNum", library_.GetImageBufferNodeNum);
    FindExport(hLibrary, "NotifyIncToolCount", library_.NotifyIncToolCount);
    FindExport(hLibrary, "NotifyDecToolCount", library_.NotifyDecToolCount);
    FindExport(hLibrary, "ZTKMemMap", library_.ZTKMemMap);
    FindExport(hLibrary, "ZTKMemUnmap", library_.ZTKMemUnmap);
}

void World::Unload() {
    int nResult = 0;
    {
        const LoadingOrUnloading unloading;
        nResult = dlclose(library_.hLibrary);
    }
    bLoaded_ = false;
    const bool bStillThere = dlopen(libraryPath_.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr;
    Note("unload", nResult != 0 || bStillThere ? 1 : 0);
}

void* World::Allocate(std::uint64_t nSize, std::int32_t nAlign, std::int32_t enMemType) {
    void* pBlock = nullptr;
    std::uint64_t nHandle = 0;
    std::uint32_t nStatus = 0;
    {
        const Inside inside;
        nStatus = nAlign != 0
                      ? library_.AllocateAlignedPoolMemory(nSize, nAlign, enMemType, &pBlock, &nHandle)
                      : library_.AllocatePoolMemory(nSize, enMemType, &pBlock, &nHandle);
    }
    Note("allocate", nStatus, nStatus != 0 ? Untouched(pBlock) : "");
    if (nStatus != 0) return nullptr;
    if (nAlign > 0 && reinterpret_cast<std::uintptr_t>(pBlock) % static_cast<std::uintptr_t>(nAlign) != 0) {
        NoteResult("WRONG alignment");
    }
    std::memset(pBlock, 0x5A, std::min<std::uint64_t>(nSize, 65536));
    return pBlock;
}

void* World::AllocateShared(std::uint64_t nSize) {
    void* pBlock = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE] = "";
    std::uint32_t nStatus = 0;
    {
        const Inside inside;
        nStatus = library_.AllocatePoolSharedMemory(nSize, &pBlock, szName);
    }
    Note("allocate shared", nStatus, nStatus != 0 ? Untouched(szName[0] == '\0' ? pBlock : szName) : "");
    if (nStatus != 0) return nullptr;
    std::memset(static_cast<char*>(pBlock) + ZTK_SHARED_HEADER_SIZE, 0x5A, nSize - ZTK_SHARED_HEADER_SIZE);
    struct stat status {};
    const std::string path = std::string(kShm) + '/' + szName;
    if (stat(path.c_str(), &status) != 0 || static_cast<std::uint64_t>(status.st_size) < nSize) {
        NoteResult("WRONG object: " + std::string(szName));
    }
    return pBlock;
}

void World::Free(void* pBlock) {
    std::uint32_t nStatus = 0;
    {
        const Inside inside;
        nStatus = library_.FreePoolMemory(pBlock);
    }
    Note("free", nStatus);
}

void World::FreeShared(void* pBlock) {
    std::uint32_t nStatus = 0;
    {
        const Inside inside;
        nStatus = library_.FreePoolSharedMemory(pBlock);
    }
    Note("free shared", nStatus);
}

void World::AskForMemory() {
    std::uint64_t nBytes = 0;
    {
        const Inside inside;
        nBytes = library_.GetAvailableOSSize();
    }
    Note("available", 0, std::to_string(nBytes));
}

void World::UseSettings() {
    std::int32_t nNum = 0;
    bool bFixed = false;
    {
        const Inside inside;
        library_.SetImageBufferNodeNum(65);
        nNum = library_.GetImageBufferNodeNum();
        bFixed = library_.GetAvailableShareOSSize() == 0 && library_.NotifyIncToolCount() == 0 &&
                 library_.NotifyDecToolCount() == 0 && library_.ZTKMemMap() == nullptr &&
                 library_.ZTKMemUnmap() == -1;
    }
    Note("node number", static_cast<std::uint32_t>(nNum));
    Note("fixed answers", bFixed ? 0 : 1);
}

void World::Exercise() {
    constexpr std::uint64_t kSize = 5000;
    constexpr std::int32_t kAlign = 256;
    for (const std::int32_t enMemType : {kHeap, kMmz}) {
        for (const std::int32_t nAlign : {0, kAlign}) {
            void* pFirst = Allocate(kSize, nAlign, enMemType);
            if (pFirst == nullptr) {
                NoteResult("UNUSABLE afterwards: type " + std::to_string(enMemType));
                continue;
            }
            Free(pFirst);
            if (Allocate(kSize, nAlign, enMemType) == nullptr) NoteResult("UNUSABLE afterwards: no reuse");
            Free(pFirst);
        }
    }
    void* pShared = AllocateShared(kSize);
    if (pShared == nullptr) {
        NoteResult("UNUSABLE afterwards: shared");
        return;
    }
    FreeShared(pShared);
}

void PutIntoShm(const std::string& name, bool bDirectory) {
    const std::string path = std::string(kShm) + '/' + name;
    if (bDirectory) {
        std::filesystem::create_directory(path);
    } else {
        std::ofstream(path) << "content";
    }
}

void EmptyShm() {
    for (const auto& entry : std::filesystem::directory_iterator(kShm))
        std::filesystem::remove_all(entry.path());
}

}  // namespace ztk::torture
