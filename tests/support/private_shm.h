// A /dev/shm of the test's own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ztk::test {

/// Gives this process (to be called single-threaded, at the start of main()) an empty tmpfs of its own on
/// /dev/shm, of @p nBytes (0: unlimited), in a mount namespace of its own (and a user namespace where it is
/// not root). Returns false, with the reason on stderr, where the kernel refuses; the tests then say loudly
/// that they are skipped.
bool EnterPrivateShm(std::uint64_t nBytes = 0);

/// The names in /dev/shm, sorted, dot entries left out.
std::vector<std::string> ShmEntries();

/// While one exists, a tmpfs of @p nBytes lies over the private /dev/shm.
class SmallShm {
  public:
    explicit SmallShm(std::uint64_t nBytes);
    ~SmallShm();
    SmallShm(const SmallShm&) = delete;
    SmallShm& operator=(const SmallShm&) = delete;

    bool IsMounted() const { return bMounted_; }

  private:
    bool bMounted_;
};

}  // namespace ztk::test
