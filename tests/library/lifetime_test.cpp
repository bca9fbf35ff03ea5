// What is left of a process's shared objects when it ends with blocks still held, in every way it can end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/library/child.h"
#include "tests/library/every_export.h"
#include "tests/library/library.h"
#include "tests/library/private_place.h"

namespace ztk::test {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

constexpr int kFailed = 99;

class Lifetime : public testing::Test {
  protected:
    void SetUp() override { SKIP_WITHOUT_PRIVATE_SHM(); }

    /// A child that holds busy and idle blocks of every kind and ends by @p end.
    static pid_t StartHolder(const std::function<void(Library&)>& end) {
        return StartChild([&end] {
            Library library;
            if (FillPools(&library) != 0 || ObjectsOf(getpid()).size() != 2) return kFailed;
            end(library);
            return kFailed;
        });
    }
};

TEST_F(Lifetime, UnloadRemovesAll) {
    const pid_t nChild = StartHolder([](Library& library) {
        const bool bUnloaded = library.Unload();
        _exit(bUnloaded && ObjectsOf(getpid()).empty() ? 0 : 1);
    });
    EXPECT_EQ(AwaitEnd(nChild), Exited(0));
    EXPECT_THAT(ObjectsOf(nChild), IsEmpty());
}

TEST_F(Lifetime, ExitRemovesAll) {
    const pid_t nChild = StartHolder([](Library&) { std::exit(7); });
    EXPECT_EQ(AwaitEnd(nChild), Exited(7));
    EXPECT_THAT(ObjectsOf(nChild), IsEmpty());
}

TEST_F(Lifetime, UnderscoreExitLeavesAll) {
    const pid_t nChild = StartHolder([](Library&) { _exit(7); });
    EXPECT_EQ(AwaitEnd(nChild), Exited(7));
    EXPECT_THAT(ObjectsOf(nChild), SizeIs(2));
}

TEST_F(Lifetime, QuickExitLeavesAll) {
    const pid_t nChild = StartHolder([](Library&) { std::quick_exit(7); });
    EXPECT_EQ(AwaitEnd(nChild), Exited(7));
    EXPECT_THAT(ObjectsOf(nChild), SizeIs(2));
}

TEST_F(Lifetime, AKillLeavesAll) {
    const pid_t nChild = StartHolder([](Library&) { raise(SIGKILL); });
    EXPECT_EQ(AwaitEnd(nChild), Killed(SIGKILL));
    EXPECT_THAT(ObjectsOf(nChild), SizeIs(2));
}

TEST_F(Lifetime, WhatIsLeftGoesWithTheNextLoadOfAnyProcess) {
    SKIP_WITHOUT_PROGRAMS();
    const pid_t nFirst = StartHolder([](Library&) { _exit(0); });
    const pid_t nSecond = StartHolder([](Library&) { raise(SIGKILL); });
    AwaitEnd(nFirst);
    AwaitEnd(nSecond);
    EXPECT_EQ(RunProgram({ZTK_HOST_PATH, kLibraryPath, "once", "standin"}), Exited(0));
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(Lifetime, AProgramThatBecomesAnotherFindsItsOwnObjectsSwept) {
    SKIP_WITHOUT_PROGRAMS();
    // The process id stays the same: the host counts the objects of its id after its own load.
    const pid_t nChild = StartHolder([](Library&) {
        Become({ZTK_HOST_PATH, kLibraryPath, "once", "standin"});
    });
    EXPECT_EQ(AwaitEnd(nChild), Exited(0));
    EXPECT_THAT(ObjectsOf(nChild), IsEmpty());
}

TEST_F(Lifetime, AProgramThatBecomesAnotherWithoutTheLibraryLeavesAll) {
    const pid_t nChild = StartHolder([](Library&) { Become({"/bin/true"}); });
    EXPECT_EQ(AwaitEnd(nChild), Exited(0));
    EXPECT_THAT(ObjectsOf(nChild), SizeIs(2));
}

TEST_F(Lifetime, CallsAfterTheTeardownAreRefused) {
    SKIP_WITHOUT_PROGRAMS();
    EXPECT_EQ(RunProgram({ZTK_LATE_CALLS_PATH, kLibraryPath}), Exited(0));
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(Lifetime, AProgramLinkedAgainstTheLibraryUsesEveryExport) {
    SKIP_WITHOUT_PROGRAMS();
    EXPECT_EQ(RunProgram({ZTK_LINKED_HOST_PATH}), Exited(0));
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

}  // namespace
}  // namespace ztk::test
