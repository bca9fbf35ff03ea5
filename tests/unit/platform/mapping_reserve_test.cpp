// CreateMapping_Linux() has the pages set aside: a full /dev/shm is an error, not a signal.
#include <errno.h>

#include <vector>

#include "unit/platform/creation_fixture.h"

namespace ztk {
namespace {

using test::CreateMapping;
using test::FakeLog;
using test::kName;
using test::ShmEntries;
using test::SmallShm;
using test::SystemCalls;
using testing::ElementsAre;

constexpr std::uint64_t kMiB = 1024UL * 1024;

class ReservedPages : public CreateMapping {
  protected:
    ReservedPages() { SystemCalls::Record({"fallocate"}); }
};

// ---- errors ----------------------------------------------------------------------------------------

class OutOfSpace : public ReservedPages, public testing::WithParamInterface<int> {};

TEST_P(OutOfSpace, IsLoggedAsAFailedMapAndUndone) {
    SystemCalls::Fail("fallocate", 1, GetParam());
    EXPECT_EQ(kNoMapping, Create(4096));
    EXPECT_EQ(0x80100009U, nErr_);
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(MmapLine(GetParam()), ClosingLine(kNoMapping, 4096)));
    EXPECT_EQ(0, SystemCalls::Count("mmap"));
    ExpectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Errors, OutOfSpace, testing::Values(ENOSPC, ENOMEM, EDQUOT, EFBIG));

class NoReservation : public ReservedPages, public testing::WithParamInterface<int> {};

TEST_P(NoReservation, WhereTheFileSystemCannotIsNoFailure) {
    SystemCalls::Fail("fallocate", 1, GetParam());
    const std::int32_t hOsMapping = Create(4096);
    EXPECT_NE(kNoMapping, hOsMapping);
    EXPECT_EQ(0U, nErr_);
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(ClosingLine(hOsMapping, 4096)));
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("fallocate 0 0 4096"));
    EXPECT_EQ(HeaderText(kName, 4096) + std::string(4096 - 128, '\0'), ObjectText());
}

INSTANTIATE_TEST_SUITE_P(Errors, NoReservation,
                         testing::Values(EOPNOTSUPP, ENOSYS, EINVAL, ENODEV, EPERM, ESPIPE));

// The first touch of an object without a length would kill the process.
TEST_F(ReservedPages, CannotBeDoneWithoutWhenTheObjectHasNoLength) {
    SystemCalls::Fail("ftruncate", 1, EINVAL);
    SystemCalls::Fail("fallocate", 1, EOPNOTSUPP);
    EXPECT_EQ(kNoMapping, Create(4096));
    EXPECT_EQ(0x80100009U, nErr_);
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(MmapLine(EOPNOTSUPP), ClosingLine(kNoMapping, 4096)));
    ExpectNothingLeft();
}

// ---- signals ---------------------------------------------------------------------------------------

TEST_F(ReservedPages, AreAskedForAgainInHalfTheStepAfterASignal) {
    SystemCalls::Fail("fallocate", 1, EINTR);
    SystemCalls::Fail("fallocate", 2, EINTR);
    SystemCalls::Fail("fallocate", 4, EINTR);
    EXPECT_NE(kNoMapping, Create(kMiB));
    EXPECT_EQ(0U, nErr_);
    EXPECT_THAT(
        SystemCalls::Recorded(),
        ElementsAre("fallocate 0 0 1048576", "fallocate 0 0 524288", "fallocate 0 0 262144",
                    "fallocate 0 262144 262144", "fallocate 0 262144 131072", "fallocate 0 393216 131072",
                    "fallocate 0 524288 131072", "fallocate 0 655360 131072", "fallocate 0 786432 131072",
                    "fallocate 0 917504 131072"));
}

TEST_F(ReservedPages, AreNotAskedForInStepsBelow64Kilobytes) {
    for (int i = 1; i <= 40; ++i)
        SystemCalls::Fail("fallocate", i, EINTR);
    EXPECT_NE(kNoMapping, Create(200'000));
    const std::vector<std::string> calls = SystemCalls::Recorded();
    ASSERT_EQ(44U, calls.size());
    EXPECT_EQ("fallocate 0 0 65536", calls[39]);
    EXPECT_THAT(std::vector<std::string>(calls.begin() + 40, calls.end()),
                ElementsAre("fallocate 0 0 65536", "fallocate 0 65536 65536", "fallocate 0 131072 65536",
                            "fallocate 0 196608 3392"));
}

TEST_F(ReservedPages, OfAShortObjectAreAskedForAsAWholeAgain) {
    SystemCalls::Fail("fallocate", 1, EINTR);
    EXPECT_NE(kNoMapping, Create(4096));
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("fallocate 0 0 4096", "fallocate 0 0 4096"));
}

TEST_F(ReservedPages, ThatRunOutAfterASignalAreUndone) {
    SystemCalls::Fail("fallocate", 1, EINTR);
    SystemCalls::Fail("fallocate", 3, ENOSPC);
    EXPECT_EQ(kNoMapping, Create(kMiB));
    EXPECT_EQ(0x80100009U, nErr_);
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(MmapLine(ENOSPC), ClosingLine(kNoMapping, kMiB)));
    ExpectNothingLeft();
}

// ---- a full /dev/shm -------------------------------------------------------------------------------

class FullShm : public CreateMapping {
  protected:
    void SetUp() override { ASSERT_TRUE(shm_.IsMounted()); }

    SmallShm shm_{kMiB};
};

TEST_F(FullShm, RefusesAnObjectLargerThanItself) {
    EXPECT_EQ(kNoMapping, Create(4 * kMiB));
    EXPECT_EQ(0x80100009U, nErr_);
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(MmapLine(ENOSPC), ClosingLine(kNoMapping, 4 * kMiB)));
    ExpectNothingLeft();
}

TEST_F(FullShm, TakesAnObjectThatFillsItAndNoSecondOne) {
    const std::int32_t hOsMapping = Create(kMiB);
    ASSERT_NE(kNoMapping, hOsMapping);
    std::uint32_t nErr = 0;
    EXPECT_EQ(kNoMapping, CreateMapping_Linux("second", 128, &nErr));
    EXPECT_EQ(0x80100009U, nErr);
    EXPECT_THAT(ShmEntries(), ElementsAre(kName));

    void* pView = MapView_Linux(hOsMapping, kMiB, &nErr);
    ASSERT_EQ(0U, nErr);
    std::memset(pView, 0x5A, kMiB);  // every page is there
    UnmapView_Linux(pView, kMiB, &nErr);
}

TEST_F(FullShm, CanBeUsedAgainAfterARefusal) {
    EXPECT_EQ(kNoMapping, Create(4 * kMiB));
    EXPECT_NE(kNoMapping, Create(kMiB));
    EXPECT_EQ(0U, nErr_);
}

}  // namespace
}  // namespace ztk
