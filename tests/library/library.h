// The built library, loaded for a test.
#pragma once

#include "common/ztk_common.h"
#include "tests/library/loaded_library.h"

namespace ztk::test {

constexpr uint64_t kMiB = 1024UL * 1024;

/// Path of the library under test.
constexpr const char* kLibraryPath = ZTK_LIBRARY_PATH;

/// Loads on construction and unloads at the end, or when told. A library that cannot be loaded ends the test
/// program: nothing here can go on without it.
class Library : public LoadedLibrary {
  public:
    Library();
    ~Library() { Unload(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    /// Returns false if dlclose() failed or left the library loaded.
    bool Unload();

  private:
    bool bLoaded_ = true;
};

}  // namespace ztk::test
