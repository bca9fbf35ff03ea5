// Forks while other threads are inside both pools: the child finds the pools whole and gets through.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <thread>

#include "tests/library/child.h"
#include "tests/library/every_export.h"
#include "tests/library/hammer.h"
#include "tests/library/library.h"
#include "tests/library/private_place.h"
#include "tests/library/rounds.h"

namespace ztk::test {
namespace {

using testing::Contains;
using testing::IsEmpty;

constexpr int kThreads = 3;
constexpr int kForks = Rounds(200);

int UseAndEnd(const Library& library, bool bExit) {
    int nFailures = 0;
    if (kChildrenMayDoAnything) nFailures = UseEveryExport(&library) + FillPools(&library);
    if (bExit) std::exit(nFailures);
    return nFailures;
}

TEST(ForkHammer, ChildrenGetThroughAndNothingOfTheParentsIsLost) {
    SKIP_WITHOUT_PRIVATE_SHM();
    Library library;
    {
        std::array<Hammer, kThreads> hammers{Hammer(library, 'a'), Hammer(library, 'b'),
                                             Hammer(library, 'c')};
        for (const Hammer& hammer : hammers) {
            while (hammer.Laps() == 0)
                std::this_thread::yield();
        }
        for (int i = 0; i < kForks; ++i) {
            const bool bExit = i % 4 != 3;  // by _exit() now and then: its objects stay for the sweep
            const pid_t nChild = StartChild([&library, bExit] { return UseAndEnd(library, bExit); });
            ASSERT_EQ(AwaitEnd(nChild), Exited(0)) << "in fork " << i;
            const std::size_t nLeft = bExit || !kChildrenMayDoAnything ? 0 : 2;
            EXPECT_EQ(ObjectsOf(nChild).size(), nLeft) << "in fork " << i;
        }
        for (const Hammer& hammer : hammers)
            EXPECT_THAT(ShmEntries(), Contains(hammer.KeptName()));
        for (Hammer& hammer : hammers) {
            hammer.Stop();
            EXPECT_EQ(hammer.Failures(), 0);
        }
    }
    ASSERT_TRUE(library.Unload());
    EXPECT_THAT(ObjectsOf(getpid()), IsEmpty());
}

}  // namespace
}  // namespace ztk::test
