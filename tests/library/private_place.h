// A test program's own /dev/shm, for tests that look at all of it or whose objects others would sweep.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/emulator.h"
#include "support/private_shm.h"

namespace ztk::test {

/// True if main() could give this program a /dev/shm of its own.
bool HasPrivateShm();

/// The names in /dev/shm that begin with the mark and the id of a process.
std::vector<std::string> ObjectsOf(int nProcess);

/// While one exists, another file lies over /proc/meminfo. A private /dev/shm has a private mount table with
/// it.
class MemInfoCover {
  public:
    /// The cover says that @p nKilobytes are available.
    static MemInfoCover Saying(unsigned long nKilobytes);
    /// The cover cannot be opened by anybody.
    static MemInfoCover Unopenable();

    ~MemInfoCover();
    MemInfoCover(const MemInfoCover&) = delete;
    MemInfoCover& operator=(const MemInfoCover&) = delete;

    /// False where the kernel refuses such a mount.
    bool IsThere() const { return bThere_; }

  private:
    explicit MemInfoCover(const char* szFile);

    bool bThere_;
};

}  // namespace ztk::test

#define SKIP_WITHOUT_PRIVATE_SHM()                                                          \
    if (!ztk::test::HasPrivateShm())                                                        \
    GTEST_SKIP() << "NOT TESTED HERE: this kernel refuses the test a /dev/shm of its own: " \
                    "no mount namespace (see stderr)"

#define SKIP_WITHOUT_PROGRAMS() SKIP_WHERE_PROGRAMS_DO_NOT_START(ZTK_HOST_PATH)

#define SKIP_WITHOUT_COVER(cover) \
    if (!(cover).IsThere())       \
    GTEST_SKIP() << "NOT TESTED HERE: this kernel refuses to mount a file over /proc/meminfo"
