// What a run works on: the loaded library, the blocks it gave, and what it has of the system.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/library/loaded_library.h"

namespace ztk::torture {

/// What the library has of the system, in numbers and names.
struct Belongings {
    std::size_t nDescriptors = 0;
    std::size_t nViews = 0;  ///< mappings of shared-memory objects
    std::size_t nMmzBlocks = 0;
    std::size_t nHeapBlocks = 0;
    int nThreads = 0;
    std::vector<std::string> objects;  ///< the names in /dev/shm, sorted
};

Belongings TakeStock();

/// Notes what there is more, and what less, than before; "nothing" if all is as it was.
void NoteChange(const std::string& heading, const Belongings& before, const Belongings& now);

constexpr std::int32_t kHeap = 0;
constexpr std::int32_t kMmz = 1;

class World {
  public:
    explicit World(std::string libraryPath) : libraryPath_(std::move(libraryPath)) {}

    // What scenarios are made of. Each notes its result as long as Noting(true).
    void Load();
    void Unload();
    bool IsLoaded() const { return bLoaded_; }
    void* Allocate(std::uint64_t nSize, std::int32_t nAlign, std::int32_t enMemType);
    void* AllocateShared(std::uint64_t nSize);
    void Free(void* pBlock);
    void FreeShared(void* pBlock);
    void AskForMemory();
    void UseSettings();

    void Noting(bool bNoting) { bNoting_ = bNoting; }

    /// Uses every kind of block of both pools; notes what does not work.
    void Exercise();

  private:
    void Note(const std::string& what, std::uint32_t nStatus, const std::string& more = "") const;

    std::string libraryPath_;
    LoadedLibrary library_{};
    bool bLoaded_ = false;
    bool bNoting_ = false;
};

/// Makes an object in /dev/shm; a directory if @p bDirectory.
void PutIntoShm(const std::string& name, bool bDirectory = false);

/// Removes all from /dev/shm.
void EmptyShm();

}  // namespace ztk::torture
