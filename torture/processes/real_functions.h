// The C library's functions behind those that a program puts in their place.
//
// A program whose functions bear the C library's names (and that exports them) is called by the loaded
// library instead. It finds the real ones once, before any library is loaded: a look-up while the loader
// holds its lock deadlocks.
#pragma once

#include <dlfcn.h>

#include <cstdlib>

namespace ztk::torture {

template <class Function>
void FindReal(const char* szName, Function*& pFunction) {
    pFunction = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, szName));
    if (pFunction == nullptr) std::abort();
}

constexpr int kBeforeAllOthers = 101;

}  // namespace ztk::torture

#define ZTK_IN_PLACE_OF_LIBC extern "C" __attribute__((visibility("default")))
