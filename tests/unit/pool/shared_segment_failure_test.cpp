// Every point at which making or destroying a segment can fail.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include "a_segment.h"
#include "log_texts.h"
#include "pool/shared_segment.h"
#include "support/available_memory.h"
#include "support/private_shm.h"
#include "support/system_calls.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

/// The plain or the aligned pair, whose lines differ in function, number and the form of the error code.
struct Pair {
    const char* szName;
    std::int32_t nAlign;
    const char* szCreate;
    int nMappingLine, nViewLine, nHalfMadeLine;
    const char* szDestroy;
    int nUnmapLine, nCloseLine;
    const char* szNoMemory;
    const char* szBadLength;
    const char* szBadHeader;
};

constexpr Pair kPlain = {
    "Plain", 0,   "CreateSharedMemory", 455,          462,         478, "DestroySharedMerory",
    495,     503, "0x80100009",         "0x80100005", "0x80100023"};
constexpr Pair kAligned = {"Aligned",
                           64,
                           "CreateAlignedSharedMemory",
                           526,
                           534,
                           559,
                           "DestroyAlignedSharedMemory",
                           583,
                           591,
                           "-2146435063",
                           "-2146435067",
                           "-2146435037"};

class SegmentFailureTest : public ::testing::TestWithParam<Pair> {
  protected:
    ~SegmentFailureTest() override {
        SystemCalls::Reset();
        shm_unlink(kName);
    }

    static Status Create(std::uint64_t nSize, Segment& segment) {
        if (GetParam().nAlign == 0)
            return CreateSharedMemory(nSize, kName, &segment.hOsMapping, &segment.pAddr);
        return CreateAlignedSharedMemory(nSize, kName, GetParam().nAlign, &segment.hOsMapping,
                                         &segment.pAddr);
    }
    static Status Destroy(std::uint64_t nSize, const Segment& segment) {
        if (GetParam().nAlign == 0)
            return DestroySharedMerory(nSize, kName, segment.hOsMapping, segment.pAddr);
        return DestroyAlignedSharedMemory(nSize, kName, GetParam().nAlign, segment.hOsMapping, segment.pAddr);
    }

    static void ExpectNotCreated(std::uint64_t nSize, const Lines& lines) {
        Segment segment;
        EXPECT_EQ(Create(nSize, segment), ERR_NO_MEMORY);
        EXPECT_EQ(segment.hOsMapping, 0xAAAAU) << "outputs are written on success only";
        EXPECT_EQ(segment.pAddr, &segment.hOsMapping);
        EXPECT_THAT(TakeLog(), ElementsAreArray(lines));
    }

    static std::string MappingFailed(std::uint64_t nSize, const std::string& code) {
        return Tagged(4, GetParam().szCreate, GetParam().nMappingLine,
                      "Create file mapping failed, name=ZTKTool-1-segment, size=" + std::to_string(nSize) +
                          ", sys error=" + code);
    }
    static std::string ViewFailed(std::uint64_t nSize, const std::string& code) {
        return Tagged(4, GetParam().szCreate, GetParam().nViewLine,
                      "Map view of file failed, name=ZTKTool-1-segment, size=" + std::to_string(nSize) +
                          ", sys error=" + code);
    }
    static std::string CloseFailed(const char* szFunction, int nLine, int nErrno) {
        return Tagged(
            4, szFunction, nLine,
            "Close file mapping failed, name=ZTKTool-1-segment, sys error=" + std::to_string(nErrno));
    }
    static std::string UnmapFailed(int nErrno) {
        return Tagged(
            4, GetParam().szDestroy, GetParam().nUnmapLine,
            "Unmap view of file failed, name=ZTKTool-1-segment, sys error=" + std::to_string(nErrno));
    }

    static const char* NoMemory() { return GetParam().szNoMemory; }

    AvailableMemory memory_{std::uint64_t{1} << 40U};
};

INSTANTIATE_TEST_SUITE_P(Pairs, SegmentFailureTest, ::testing::Values(kPlain, kAligned),
                         [](const auto& test) { return test.param.szName; });

// ---- creating --------------------------------------------------------------------------------------

TEST_P(SegmentFailureTest, ALengthShorterThanTheHeader) {
    ExpectNotCreated(127, {MappingFailed(127, GetParam().szBadLength)});
    ExpectNotCreated(0, {MappingFailed(0, GetParam().szBadLength)});
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_P(SegmentFailureTest, TooLittleMemoryAvailable) {
    const AvailableMemory memory(367'001'600 + 4096);
    SystemCalls::Record({"shm_open"});
    ExpectNotCreated(4096, {MappingFailed(4096, NoMemory())});
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
}

TEST_P(SegmentFailureTest, ASizeNearTheLargestNumber) {
    ExpectNotCreated(UINT64_MAX, {MappingFailed(UINT64_MAX, NoMemory())});
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_P(SegmentFailureTest, AnObjectThatCannotBeOpened) {
    SystemCalls::Fail("shm_open", 1, EMFILE);
    SystemCalls::Record({"shm_unlink", "close"});
    ExpectNotCreated(4096, {MappingFailed(4096, NoMemory())});
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty()) << "nothing exists to clean up";
}

TEST_P(SegmentFailureTest, AHeaderThatCannotBeWritten) {
    SystemCalls::Fail("mmap", 1, ENOMEM);
    ExpectNotCreated(4096, {MappingFailed(4096, NoMemory())});
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_P(SegmentFailureTest, PagesThatCannotBeHad) {
    SystemCalls::Fail("fallocate", 1, ENOSPC);
    ExpectNotCreated(4096, {MappingFailed(4096, NoMemory())});
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

class ViewFailureTest : public SegmentFailureTest {};

INSTANTIATE_TEST_SUITE_P(Pairs, ViewFailureTest, ::testing::Values(kPlain, kAligned),
                         [](const auto& test) { return test.param.szName; });

TEST_P(ViewFailureTest, AHeaderThatCannotBeReadRemovesTheObjectAgain) {
    SystemCalls::Fail("mmap", 2, ENOMEM);
    SystemCalls::Record({"shm_unlink", "close"});
    ExpectNotCreated(4096, {ViewFailed(4096, NoMemory())});
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("shm_unlink ZTKTool-1-segment", "close"));
}

TEST_P(ViewFailureTest, AViewThatCannotBeMappedRemovesTheObjectAgain) {
    SystemCalls::Fail("mmap", 3, ENOMEM);
    SystemCalls::Record({"shm_unlink", "close"});
    ExpectNotCreated(4096, {ViewFailed(4096, NoMemory())});
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("shm_unlink ZTKTool-1-segment", "close"));
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_P(ViewFailureTest, AHeaderThatCannotBeUnmappedIsAFailureThoughAnAddressComesBack) {
    SystemCalls::Fail("munmap", 2, EINVAL);  // the first is of the header that was written
    ExpectNotCreated(4096, {ViewFailed(4096, NoMemory())});
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_P(ViewFailureTest, AHeaderThatAPeerSpoiltIsAFailure) {
    SystemCalls::Before("mmap", 2, [] {
        const int hObject = shm_open(kName, O_RDWR, 0600);
        const unsigned char by = 129;
        EXPECT_EQ(pwrite(hObject, &by, 1, 14), 1);
        close(hObject);
    });
    ExpectNotCreated(4096, {ViewFailed(4096, GetParam().szBadHeader)});
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_P(ViewFailureTest, AHalfMadeObjectThatCannotBeRemovedIsLoggedToo) {
    SystemCalls::Fail("mmap", 3, ENOMEM);
    SystemCalls::Fail("shm_unlink", 1, EACCES);
    SystemCalls::Record({"close"});
    ExpectNotCreated(4096, {ViewFailed(4096, NoMemory()),
                            CloseFailed(GetParam().szCreate, GetParam().nHalfMadeLine, EACCES)});
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty()) << "the descriptor stays open";
    EXPECT_THAT(ShmEntries(), ElementsAre(kName));
}

// ---- destroying ------------------------------------------------------------------------------------

class DestroyFailureTest : public SegmentFailureTest {
  protected:
    DestroyFailureTest() {
        EXPECT_EQ(Create(4096, segment_), ZTK_SUCCESS);
        ClearLog();
    }

    Segment segment_;
};

INSTANTIATE_TEST_SUITE_P(Pairs, DestroyFailureTest, ::testing::Values(kPlain, kAligned),
                         [](const auto& test) { return test.param.szName; });

TEST_P(DestroyFailureTest, AViewThatCannotBeUnmappedDoesNotKeepTheObject) {
    SystemCalls::Fail("munmap", 1, EINVAL);
    EXPECT_EQ(Destroy(4096, segment_), ERR_NO_MEMORY);
    EXPECT_THAT(TakeLog(), ElementsAre(UnmapFailed(EINVAL)));
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_P(DestroyFailureTest, AnObjectThatCannotBeRemovedKeepsItsDescriptor) {
    SystemCalls::Fail("shm_unlink", 1, EACCES);
    SystemCalls::Record({"close"});
    EXPECT_EQ(Destroy(4096, segment_), ERR_NO_MEMORY);
    EXPECT_THAT(TakeLog(), ElementsAre(CloseFailed(GetParam().szDestroy, GetParam().nCloseLine, EACCES)));
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
}

TEST_P(DestroyFailureTest, BothFailuresAreLoggedInOrder) {
    SystemCalls::Fail("munmap", 1, EINVAL);
    SystemCalls::Fail("shm_unlink", 1, ENOENT);
    EXPECT_EQ(Destroy(4096, segment_), ERR_NO_MEMORY);
    EXPECT_THAT(TakeLog(), ElementsAre(UnmapFailed(EINVAL),
                                       CloseFailed(GetParam().szDestroy, GetParam().nCloseLine, ENOENT)));
}

TEST_P(DestroyFailureTest, AnObjectThatIsGoneAlreadyIsAFailure) {
    shm_unlink(kName);
    EXPECT_EQ(Destroy(4096, segment_), ERR_NO_MEMORY);
    EXPECT_THAT(TakeLog(), ElementsAre(CloseFailed(GetParam().szDestroy, GetParam().nCloseLine, ENOENT)));
}

}  // namespace
}  // namespace ztk::test
