#include "support/system_calls.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

#include "support/private_shm.h"

namespace ztk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(SystemCalls, FailAtTheOccurrenceNamedAndAreCounted) {
    SystemCalls::Fail("usleep", 2, EINTR);
    std::vector<int> results;
    for (int i = 0; i < 3; ++i)
        results.push_back(usleep(0));
    EXPECT_THAT(results, ElementsAre(0, -1, 0));
    EXPECT_EQ(3, SystemCalls::Count("usleep"));
}

TEST(SystemCalls, FailEveryTimeUntilReset) {
    SystemCalls::Fail("usleep", 0, EINTR);
    EXPECT_EQ(-1, usleep(0));
    EXPECT_EQ(EINTR, errno);
    EXPECT_EQ(-1, usleep(0));
    SystemCalls::Reset();
    EXPECT_EQ(0, usleep(0));
    EXPECT_EQ(1, SystemCalls::Count("usleep"));
}

TEST(SystemCalls, FollowSeveralPlansForOneName) {
    SystemCalls::Fail("usleep", 1, EINTR);
    SystemCalls::Fail("usleep", 3, EINVAL);
    int nActions = 0;
    SystemCalls::Before("usleep", 2, [&nActions] { ++nActions; });
    std::vector<int> results;
    for (int i = 0; i < 4; ++i)
        results.push_back(usleep(0) == 0 ? 0 : errno);
    EXPECT_THAT(results, ElementsAre(EINTR, 0, EINVAL, 0));
    EXPECT_EQ(1, nActions);
}

TEST(SystemCalls, AreRecordedByNameOnly) {
    SystemCalls::Record({"shm_open", "close"});
    const int hObject = shm_open("recorded", O_RDWR | O_CREAT, 0600);
    ASSERT_NE(-1, hObject);
    EXPECT_EQ(0, ftruncate(hObject, 17));
    EXPECT_EQ(0, close(hObject));
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("shm_open recorded 66 600", "close"));
    EXPECT_EQ(1, SystemCalls::Count("ftruncate"));
    EXPECT_EQ(0, shm_unlink("recorded"));
}

TEST(SystemCalls, LeaveErrnoAloneWhenTheyAreWatched) {
    SystemCalls::Record({"usleep"});
    errno = EXDEV;
    EXPECT_EQ(0, usleep(0));
    EXPECT_EQ(EXDEV, errno);
}

TEST(SystemCalls, OfOtherNamesAreRefused) {
    EXPECT_THROW(SystemCalls::Fail("unknown", 1, EIO), std::invalid_argument);
    EXPECT_THROW(SystemCalls::Count("unknown"), std::invalid_argument);
}

TEST(Bookkeeping, FailsAtTheOccurrenceNamed) {
    Bookkeeping::FailNew(2);
    std::unique_ptr<int> first(new (std::nothrow) int(1));
    std::unique_ptr<int> second(new (std::nothrow) int(2));
    std::unique_ptr<int> third(new (std::nothrow) int(3));
    Bookkeeping::FailNew(-1);
    EXPECT_NE(nullptr, first);
    EXPECT_EQ(nullptr, second);
    EXPECT_NE(nullptr, third);
}

TEST(Bookkeeping, ThrowsWhereTheCallerExpectsIt) {
    bool bThrown = false;
    Bookkeeping::FailNew(0);
    try {
        const std::vector<char> block(1000);
    } catch (const std::bad_alloc&) {
        bThrown = true;
    }
    const int nCount = Bookkeeping::Count();
    Bookkeeping::FailNew(-1);
    EXPECT_TRUE(bThrown);
    EXPECT_EQ(1, nCount);
}

TEST(Bookkeeping, DoesNotCountTheRecordingOfCalls) {
    SystemCalls::Record({"usleep"});
    Bookkeeping::FailNew(0);
    EXPECT_EQ(0, usleep(0));
    const int nCount = Bookkeeping::Count();
    Bookkeeping::FailNew(-1);
    EXPECT_EQ(0, nCount);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("usleep 0"));
}

TEST(PrivateShm, IsEmptyAtTheStart) {
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

}  // namespace
}  // namespace ztk::test
