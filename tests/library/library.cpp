#include "tests/library/library.h"

#include <cstdlib>

namespace ztk::test {

Library::Library() : LoadedLibrary{} {
    if (LoadTheLibrary(kLibraryPath, this) != 0) std::abort();
}

bool Library::Unload() {
    if (!bLoaded_) return true;
    bLoaded_ = false;
    return UnloadTheLibrary(this) == 0 && IsLibraryLoaded(kLibraryPath) == 0;
}

}  // namespace ztk::test
