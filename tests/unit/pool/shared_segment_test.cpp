// Naming, creating and destroying segments when all goes well.
#include "pool/shared_segment.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <set>

#include "a_segment.h"
#include "log_texts.h"
#include "platform/mapping.h"
#include "support/available_memory.h"
#include "support/private_shm.h"
#include "support/system_calls.h"

namespace ztk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// ---- names -----------------------------------------------------------------------------------------

std::string PidPart() {
    return "ZTKTool-" + std::to_string(getpid()) + "-";
}

TEST(SegmentNameTest, IsThePrefixTheProcessIdAndThirtyTwoLowerCaseDigits) {
    const std::string name = GenerateSharedMemoryName();
    ASSERT_EQ(name.substr(0, PidPart().size()), PidPart());
    const std::string random = name.substr(PidPart().size());
    EXPECT_EQ(random.size(), 32U);
    EXPECT_EQ(random.find_first_not_of("0123456789abcdef"), std::string::npos) << random;
    EXPECT_LT(name.size(), 64U);
}

TEST(SegmentNameTest, TwoInARowShareTheProcessIdAndNothingElse) {
    const std::string first = GenerateSharedMemoryName();
    const std::string second = GenerateSharedMemoryName();
    EXPECT_NE(first, second);
    EXPECT_EQ(first.substr(0, PidPart().size()), second.substr(0, PidPart().size()));
}

TEST(SegmentNameTest, NoneIsEverDrawnTwice) {
    std::set<std::string> names;
    for (int i = 0; i < 200; ++i)
        names.insert(GenerateSharedMemoryName());
    EXPECT_EQ(names.size(), 200U);
}

TEST(SegmentNameTest, EveryByteHasTwoDigitsAlsoBelowSixteen) {
    std::set<std::string> small;
    for (int i = 0; i < 4000 && small.size() < 16; ++i) {
        const std::string random = GenerateSharedMemoryName().substr(PidPart().size());
        ASSERT_EQ(random.size(), 32U);
        for (std::size_t n = 0; n < random.size(); n += 2) {
            if (random[n] == '0') small.insert(random.substr(n, 2));
        }
    }
    EXPECT_THAT(small, ElementsAre("00", "01", "02", "03", "04", "05", "06", "07", "08", "09", "0a", "0b",
                                   "0c", "0d", "0e", "0f"));
}

// ---- creating and destroying -----------------------------------------------------------------------

class SharedSegmentTest : public ::testing::Test {
  protected:
    Segment Create(std::uint64_t nSize) {
        Segment segment;
        EXPECT_EQ(CreateSharedMemory(nSize, kName, &segment.hOsMapping, &segment.pAddr), ZTK_SUCCESS);
        return segment;
    }
    Segment CreateAligned(std::uint64_t nSize, std::int32_t nAlign) {
        Segment segment;
        EXPECT_EQ(CreateAlignedSharedMemory(nSize, kName, nAlign, &segment.hOsMapping, &segment.pAddr),
                  ZTK_SUCCESS);
        return segment;
    }
    static std::uintptr_t Value(const void* pAddr) { return reinterpret_cast<std::uintptr_t>(pAddr); }

    /// The view that an aligned address was made from.
    static std::uintptr_t ViewBelow(const Segment& segment) {
        std::uintptr_t nView = 0;
        std::memcpy(&nView, static_cast<const char*>(segment.pAddr) - 8, 8);
        return nView;
    }

    AvailableMemory memory_{std::uint64_t{1} << 40U};
};

TEST_F(SharedSegmentTest, APlainSegmentIsANamedObjectMappedFromItsStart) {
    SystemCalls::Record({"shm_open", "ftruncate"});
    const Segment segment = Create(4096);
    EXPECT_NE(segment.pAddr, nullptr);
    EXPECT_NE(segment.hOsMapping, kNoOsMapping);
    EXPECT_THAT(ShmEntries(), ElementsAre(kName));
    EXPECT_THAT(SystemCalls::Recorded(),
                ElementsAre(std::string("shm_open ") + kName + " 66 600", "ftruncate 4096"));
    const auto* pHeader = static_cast<const MappingHeader*>(segment.pAddr);
    EXPECT_EQ(pHeader->nDataLen, 4096U - 128);
    EXPECT_EQ(pHeader->nHeaderLen, 128);
    EXPECT_STREQ(static_cast<const char*>(segment.pAddr) + 16, kName);
    EXPECT_THAT(TakeLog(), IsEmpty()) << "only the mapping layer's own lines";
    EXPECT_EQ(DestroySharedMerory(4096, kName, segment.hOsMapping, segment.pAddr), ZTK_SUCCESS);
}

TEST_F(SharedSegmentTest, DestroyingUnmapsThenRemovesThenCloses) {
    const Segment segment = Create(8192);
    SystemCalls::Record({"munmap", "shm_unlink", "close"});
    EXPECT_EQ(DestroySharedMerory(8192, kName, segment.hOsMapping, segment.pAddr), ZTK_SUCCESS);
    EXPECT_THAT(SystemCalls::Recorded(),
                ElementsAre("munmap 8192", std::string("shm_unlink ") + kName, "close"));
    EXPECT_THAT(ShmEntries(), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(SharedSegmentTest, AnAlignedSegmentIsDestroyedFromItsView) {
    const Segment segment = CreateAligned(16'384, 4096);
    SystemCalls::Record({"munmap", "shm_unlink", "close"});
    EXPECT_EQ(DestroyAlignedSharedMemory(16'384, kName, 4096, segment.hOsMapping, segment.pAddr),
              ZTK_SUCCESS);
    EXPECT_THAT(SystemCalls::Recorded(),
                ElementsAre("munmap 16384", std::string("shm_unlink ") + kName, "close"));
    EXPECT_THAT(ShmEntries(), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(SharedSegmentTest, TheAlignmentIsNotUsedInDestroying) {
    const Segment segment = CreateAligned(4096, 64);
    EXPECT_EQ(DestroyAlignedSharedMemory(4096, kName, -5, segment.hOsMapping, segment.pAddr), ZTK_SUCCESS);
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

struct Offset {
    std::int32_t nAlign;
    std::uint64_t nFromView;
};

class AlignedSegmentTest : public SharedSegmentTest, public ::testing::WithParamInterface<Offset> {};

TEST_P(AlignedSegmentTest, IsAsFarFromItsViewAsTheAlignmentAsks) {
    const auto [nAlign, nFromView] = GetParam();
    SystemCalls::Record({"ftruncate"});
    const Segment segment = CreateAligned(16'384, nAlign);
    EXPECT_EQ(ViewBelow(segment) % 4096, 0U);
    EXPECT_EQ(Value(segment.pAddr) - ViewBelow(segment), nFromView);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("ftruncate 16384")) << "no room is added";
    DestroyAlignedSharedMemory(16'384, kName, nAlign, segment.hOsMapping, segment.pAddr);
}

INSTANTIATE_TEST_SUITE_P(OfAPage, AlignedSegmentTest,
                         ::testing::Values(Offset{1, 8}, Offset{2, 8}, Offset{4, 8}, Offset{8, 8},
                                           Offset{16, 16}, Offset{32, 32}, Offset{64, 64},
                                           Offset{4096, 4096}));

class OddAlignmentTest : public SharedSegmentTest, public ::testing::WithParamInterface<std::int32_t> {};

TEST_P(OddAlignmentTest, GivesTheFirstMultipleFromTheEighthByteOn) {
    const auto nAlign = static_cast<std::uint64_t>(GetParam());
    const Segment segment = CreateAligned(65'536, GetParam());
    const std::uintptr_t nView = ViewBelow(segment);
    EXPECT_EQ(nView % 4096, 0U);
    EXPECT_EQ(Value(segment.pAddr) % nAlign, 0U);
    EXPECT_GE(Value(segment.pAddr), nView + 8);
    EXPECT_LT(Value(segment.pAddr), nView + 8 + nAlign);
    DestroyAlignedSharedMemory(65'536, kName, GetParam(), segment.hOsMapping, segment.pAddr);
}

INSTANTIATE_TEST_SUITE_P(Alignments, OddAlignmentTest,
                         ::testing::Values(3, 5, 24, 100, 1000, 12'345, 50'000));

TEST_F(SharedSegmentTest, TheWordBelowAnAlignedAddressMayLieInTheHeader) {
    const Segment by8 = CreateAligned(4096, 8);
    const char* pView = static_cast<char*>(by8.pAddr) - 8;
    EXPECT_EQ(ViewBelow(by8), Value(pView)) << "the header's first word";
    EXPECT_STREQ(pView + 16, kName) << "the rest of the header stands";
    DestroyAlignedSharedMemory(4096, kName, 8, by8.hOsMapping, by8.pAddr);

    const Segment by16 = CreateAligned(4096, 16);
    EXPECT_EQ(ViewBelow(by16), Value(by16.pAddr) - 16) << "header bytes 8 to 15";
    std::uint64_t nDataLen = 0;
    std::memcpy(&nDataLen, static_cast<char*>(by16.pAddr) - 16, 8);
    EXPECT_EQ(nDataLen, 4096U - 128);
    DestroyAlignedSharedMemory(4096, kName, 16, by16.hOsMapping, by16.pAddr);
}

TEST_F(SharedSegmentTest, DestroyingNothingCallsNothing) {
    SystemCalls::Record({"munmap", "shm_unlink", "close"});
    EXPECT_EQ(DestroySharedMerory(4096, kName, kNoOsMapping, nullptr), ZTK_SUCCESS);
    void* words[2] = {nullptr, nullptr};
    EXPECT_EQ(DestroyAlignedSharedMemory(4096, kName, 8, kNoOsMapping, &words[1]), ZTK_SUCCESS);
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(SharedSegmentTest, WithoutAViewOnlyTheObjectIsRemoved) {
    const Segment segment = Create(4096);
    munmap(segment.pAddr, 4096);
    SystemCalls::Record({"munmap", "shm_unlink", "close"});
    EXPECT_EQ(DestroySharedMerory(4096, kName, segment.hOsMapping, nullptr), ZTK_SUCCESS);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre(std::string("shm_unlink ") + kName, "close"));
}

TEST_F(SharedSegmentTest, WithoutAHandleOnlyTheViewIsUnmapped) {
    const Segment segment = Create(4096);
    SystemCalls::Record({"munmap", "shm_unlink", "close"});
    EXPECT_EQ(DestroySharedMerory(4096, kName, kNoOsMapping, segment.pAddr), ZTK_SUCCESS);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("munmap 4096"));
    EXPECT_THAT(ShmEntries(), ElementsAre(kName));
    EXPECT_EQ(DestroySharedMerory(4096, kName, segment.hOsMapping, nullptr), ZTK_SUCCESS);
}

// ---- removing by name ------------------------------------------------------------------------------

TEST_F(SharedSegmentTest, ClosingByNameRemovesTheObject) {
    close(shm_open(kName, O_RDWR | O_CREAT, 0600));
    SystemCalls::Record({"shm_open", "shm_unlink", "close"});
    CloseShareMemory(kName);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre(std::string("shm_open ") + kName + " 2 600",
                                                     std::string("shm_unlink ") + kName, "close"));
    EXPECT_THAT(TakeLog(),
                ElementsAre(Plain(2, "CloseShareMemory", 604, "Close Mapping Name = ZTKTool-1-segment")));
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(SharedSegmentTest, ClosingNoNameDoesNothing) {
    SystemCalls::Record({"shm_open", "shm_unlink"});
    CloseShareMemory(nullptr);
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(SharedSegmentTest, ClosingANameThatDoesNotExistIsLoggedAndRemovesNothing) {
    SystemCalls::Record({"shm_unlink", "close"});
    CloseShareMemory("nobody");
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty());
    EXPECT_THAT(TakeLog(),
                ElementsAre(Plain(2, "CloseShareMemory", 604, "Close Mapping Name = nobody"),
                            Plain(3, "CloseShareMemory", 622, "open Mapping Name = nobody failed, err = 2")));
}

TEST_F(SharedSegmentTest, ClosingANameThatCannotBeRemovedIsLogged) {
    close(shm_open(kName, O_RDWR | O_CREAT, 0600));
    SystemCalls::Record({"close"});
    SystemCalls::Fail("shm_unlink", 1, EACCES);
    CloseShareMemory(kName);
    EXPECT_THAT(SystemCalls::Recorded(), IsEmpty()) << "the descriptor stays open";
    EXPECT_THAT(TakeLog(),
                ElementsAre(Plain(2, "CloseShareMemory", 604, "Close Mapping Name = ZTKTool-1-segment"),
                            Plain(4, "CloseShareMemory", 617,
                                  "close Mapping Name = ZTKTool-1-segment failed, err = 13")));
    EXPECT_THAT(ShmEntries(), ElementsAre(kName));
    shm_unlink(kName);
}

}  // namespace
}  // namespace ztk::test
