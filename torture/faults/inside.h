// Which calls are the library's: those that its own code makes, and those that the C and C++ libraries make
// for it while one of its functions runs. Calls of the loader and of the campaign itself are not.
#pragma once

namespace ztk::torture {

constexpr int kRoles = 8;

/// This thread is in a function of the library.
class Inside {
  public:
    Inside();
    ~Inside();
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
};

/// This thread loads or unloads the library: it is inside from the first call of the library's own code on.
class LoadingOrUnloading {
  public:
    LoadingOrUnloading();
    ~LoadingOrUnloading();
    LoadingOrUnloading(const LoadingOrUnloading&) = delete;
    LoadingOrUnloading& operator=(const LoadingOrUnloading&) = delete;
};

/// This thread is in the campaign's own code, though the library called it.
class OwnCode {
  public:
    OwnCode();
    ~OwnCode();
    OwnCode(const OwnCode&) = delete;
    OwnCode& operator=(const OwnCode&) = delete;
};

/// To be asked by an interposer about __builtin_return_address(0).
bool IsLibrarysCall(const void* pCaller);

/// A call that comes from the loader may be one with which a function of the library ends, as the compiler
/// likes it.
bool IsCallAtEndOfLoad();

/// The caller is the library's own code.
bool IsLibrarysOwnCode(const void* pCaller);

int RoleOfThisThread();
void SetRoleOfThisThread(int nRole);

}  // namespace ztk::torture
