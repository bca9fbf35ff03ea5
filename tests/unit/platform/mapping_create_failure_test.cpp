// CreateMapping_Linux() when the system fails, at every call.
#include <errno.h>

#include <tuple>
#include <vector>

#include "unit/platform/creation_fixture.h"

namespace ztk {
namespace {

using test::CreateMapping;
using test::FakeLog;
using test::kName;
using test::LogLine;
using test::PlainLine;
using test::ShmEntries;
using test::SystemCalls;
using testing::ElementsAre;

class CreateMappingFailure : public CreateMapping {
  protected:
    CreateMappingFailure() {
        SystemCalls::Record({"shm_open", "ftruncate", "fallocate", "mmap", "munmap", "shm_unlink", "close"});
    }

    void ExpectRefused(std::int32_t hOsMapping) const {
        EXPECT_EQ(kNoMapping, hOsMapping);
        EXPECT_EQ(0x80100009U, nErr_);
    }

    const std::string open_ = std::string("shm_open ") + kName + " 66 600";
    const std::string unlink_ = std::string("shm_unlink ") + kName;
};

// ---- shm_open --------------------------------------------------------------------------------------

// The length is set before the descriptor is looked at, so the number logged is EBADF whatever went wrong.
TEST_F(CreateMappingFailure, OfTheOpeningIsLoggedAndTheNameNotUnlinked) {
    SystemCalls::Fail("shm_open", 1, EMFILE);
    ExpectRefused(Create(4096));
    EXPECT_THAT(
        FakeLog::Lines(),
        ElementsAre(PlainLine(4, "CreateMapping_Linux", 78,
                              "CreateMapping_Linux ---shm_open hOsMapping[%p], nErrCode[%d] \r\n",
                              "CreateMapping_Linux ---shm_open hOsMapping[0xffffffff], nErrCode[9] \r\n"),
                    ClosingLine(kNoMapping, 4096)));
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre(open_, "ftruncate 4096"));
    ExpectNothingLeft();
}

TEST_F(CreateMappingFailure, OfTheOpeningLeavesAnObjectOfThatNameAlone) {
    WriteObject("of another");
    SystemCalls::Fail("shm_open", 1, EACCES);
    ExpectRefused(Create(4096));
    EXPECT_EQ("of another", ObjectText());
}

TEST_F(CreateMappingFailure, OfTheOpeningComesWithANameThatIsNone) {
    ExpectRefused(CreateMapping_Linux("no/such/name", 4096, &nErr_));
    EXPECT_EQ(2U, FakeLog::Lines().size());
    ExpectNothingLeft();
}

// ---- ftruncate -------------------------------------------------------------------------------------

// The pages are reserved up to the wanted length, which extends the object as well.
TEST_F(CreateMappingFailure, ToSetTheLengthIsNotLookedAt) {
    SystemCalls::Fail("ftruncate", 1, EIO);
    const std::int32_t hOsMapping = Create(4096);
    EXPECT_NE(kNoMapping, hOsMapping);
    EXPECT_EQ(0U, nErr_);
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(ClosingLine(hOsMapping, 4096)));
    EXPECT_EQ(HeaderText(kName, 4096) + std::string(4096 - 128, '\0'), ObjectText());
}

// ---- mmap ------------------------------------------------------------------------------------------

TEST_F(CreateMappingFailure, ToMapTheHeaderUndoesTheObject) {
    SystemCalls::Fail("mmap", 1, ENOMEM);
    ExpectRefused(Create(4096));
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(MmapLine(ENOMEM), ClosingLine(kNoMapping, 4096)));
    EXPECT_THAT(SystemCalls::Recorded(),
                ElementsAre(open_, "ftruncate 4096", "fallocate 0 0 4096", "mmap 128 3 1", unlink_, "close"));
    ExpectNothingLeft();
}

TEST_F(CreateMappingFailure, ToMapAndToUnlinkLeavesTheObjectOpenAndNamed) {
    SystemCalls::Fail("mmap", 1, ENOMEM);
    SystemCalls::Fail("shm_unlink", 1, EACCES);
    ExpectRefused(Create(4096));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(MmapLine(ENOMEM), UnlinkLine(EACCES), ClosingLine(kNoMapping, 4096)));
    EXPECT_EQ(0, SystemCalls::Count("close"));
    EXPECT_THAT(ShmEntries(), ElementsAre(kName));
    EXPECT_EQ(1U, NewDescriptors());
}

TEST_F(CreateMappingFailure, ToMapUndoesAnObjectThatWasTakenOver) {
    WriteObject("of another");
    SystemCalls::Fail("mmap", 1, ENOMEM);
    ExpectRefused(Create(4096));
    ExpectNothingLeft();
}

TEST_F(CreateMappingFailure, ToCloseInTheUndoChangesNothing) {
    SystemCalls::Fail("mmap", 1, ENOMEM);
    SystemCalls::Fail("close", 1, EIO);
    ExpectRefused(Create(4096));
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(MmapLine(ENOMEM), ClosingLine(kNoMapping, 4096)));
    EXPECT_THAT(ShmEntries(), testing::IsEmpty());
}

// Only null is noticed; the kernel's own marker is written to as if it were the header.
TEST_F(CreateMappingFailure, ToMapByTheSystemsMarkerEndsTheProcess) {
    const auto create = [this] {
        SystemCalls::FailMmapWithMarker();
        SystemCalls::Fail("mmap", 1, ENOMEM);
        Create(4096);
    };
    EXPECT_DEATH(create(), "");
}

// ---- munmap ----------------------------------------------------------------------------------------

class HeaderNotUnmapped : public CreateMappingFailure {
  protected:
    /// The address in the line of the first failed munmap, where the header is still mapped.
    static void* Head() {
        void* pHead = nullptr;
        for (const LogLine& line : FakeLog::Lines()) {
            const auto nBracket = line.text.find("pOSMemoryHead[");
            if (pHead == nullptr && nBracket != std::string::npos) {
                EXPECT_EQ(1, std::sscanf(line.text.c_str() + nBracket, "pOSMemoryHead[%p]", &pHead));
            }
        }
        return pHead;
    }
};

TEST_F(HeaderNotUnmapped, OnceIsTriedAgainAndUndone) {
    SystemCalls::Fail("munmap", 1, EINVAL);
    ExpectRefused(Create(4096));
    EXPECT_NE(nullptr, Head());
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(MunmapLine(110, Head(), EINVAL), ClosingLine(kNoMapping, 4096)));
    EXPECT_THAT(SystemCalls::Recorded(),
                ElementsAre(open_, "ftruncate 4096", "fallocate 0 0 4096", "mmap 128 3 1", "munmap 128",
                            "munmap 128", unlink_, "close"));
    ExpectNothingLeft();
}

TEST_F(HeaderNotUnmapped, TwiceIsLoggedTwiceAndUndone) {
    SystemCalls::Fail("munmap", 1, EINVAL);
    SystemCalls::Fail("munmap", 2, ENOMEM);
    ExpectRefused(Create(4096));
    ASSERT_NE(nullptr, Head());
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(MunmapLine(110, Head(), EINVAL), MunmapLine(131, Head(), ENOMEM),
                            ClosingLine(kNoMapping, 4096)));
    EXPECT_EQ(2, SystemCalls::Count("munmap"));
    ExpectNothingLeft();
    EXPECT_EQ(HeaderText(kName, 4096), std::string(static_cast<char*>(Head()), 128));
    EXPECT_EQ(0, munmap(Head(), 128));
}

TEST_F(HeaderNotUnmapped, TwiceAndNotUnlinkedLeavesTheObjectOpenAndNamed) {
    SystemCalls::Fail("munmap", 0, EINVAL);
    SystemCalls::Fail("shm_unlink", 1, ENOENT);
    ExpectRefused(Create(4096));
    ASSERT_NE(nullptr, Head());
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(MunmapLine(110, Head(), EINVAL), MunmapLine(131, Head(), EINVAL),
                            UnlinkLine(ENOENT), ClosingLine(kNoMapping, 4096)));
    EXPECT_EQ(0, SystemCalls::Count("close"));
    EXPECT_THAT(ShmEntries(), ElementsAre(kName));
    EXPECT_EQ(1U, NewDescriptors());
    SystemCalls::Reset();
    EXPECT_EQ(0, munmap(Head(), 128));
}

// ---- any one call ----------------------------------------------------------------------------------

class AnyOneCall : public CreateMappingFailure,
                   public testing::WithParamInterface<std::tuple<const char*, int>> {};

TEST_P(AnyOneCall, FailsTheCreationWithNothingLeftOrNotAtAll) {
    const auto& [szCall, nErrno] = GetParam();
    SystemCalls::Fail(szCall, 1, nErrno);
    const std::int32_t hOsMapping = Create(100'000);
    EXPECT_EQ(1, std::min(1, SystemCalls::Count(szCall)));
    if (hOsMapping == kNoMapping) {
        EXPECT_EQ(0x80100009U, nErr_);
        ExpectNothingLeft();
    } else {
        EXPECT_EQ(0U, nErr_);
        EXPECT_EQ(100'000U, ObjectText().size());
        EXPECT_EQ(1U, NewDescriptors());
    }
    EXPECT_THAT(FakeLog::Lines().back(), ClosingLine(hOsMapping, 100'000));
}

INSTANTIATE_TEST_SUITE_P(EveryCall, AnyOneCall,
                         testing::Combine(testing::Values("shm_open", "ftruncate", "fallocate", "mmap",
                                                          "munmap"),
                                          testing::Values(EINTR, EIO, ENOMEM, ENOSPC, EMFILE)));

}  // namespace
}  // namespace ztk
