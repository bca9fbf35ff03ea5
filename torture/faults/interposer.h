// What the functions that take the place of the C library's have in common. They are those of the program
// itself, so the library's calls, and those that the C++ library makes for it, come here.
#pragma once

#include <dlfcn.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "torture/faults/fault_plan.h"
#include "torture/faults/inside.h"

#define ZTK_IN_PLACE_OF_LIBC extern "C" __attribute__((visibility("default")))

/// The failure that is due at this call, or null; in an interposer's own body only.
#define ZTK_DUE(call) ztk::torture::DueFailure(call, __builtin_return_address(0))

namespace ztk::torture {

inline const FaultKind* DueFailure(Call call, const void* pCaller) {
    return IsLibrarysCall(pCaller) ? CountCall(call) : nullptr;
}

/// The function whose place is taken. Looked up by Find(), in a constructor: a look-up on a thread of a
/// library that is being loaded would wait for the loader. Calls before that look it up themselves.
template <class Function>
class Real {
  public:
    constexpr explicit Real(const char* szName) : szName_(szName) {}

    Function* Find() {
        if (pFunction_ == nullptr) pFunction_ = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, szName_));
        if (pFunction_ == nullptr) std::abort();
        return pFunction_;
    }

    template <class... Arguments>
    auto operator()(Arguments... arguments) {
        return Find()(arguments...);
    }

  private:
    const char* szName_;
    std::atomic<Function*> pFunction_{nullptr};
};

/// For calls that report by -1 and errno.
inline int FailWith(const FaultKind& kind) {
    errno = kind.nErrno;
    return -1;
}

/// For calls that report by null and errno.
inline std::nullptr_t NullWith(const FaultKind& kind) {
    errno = kind.nErrno;
    return nullptr;
}

constexpr int kFindEarly = 102;  ///< priority of the constructors that call Find()

}  // namespace ztk::torture
