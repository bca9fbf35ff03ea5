// OpenMapping_Linux(), UnmapView_Linux() and CloseMapping_Linux(): raw errno values and no log lines.
#include <errno.h>

#include "unit/platform/mapping_fixture.h"

namespace ztk {
namespace {

using test::FakeLog;
using test::kName;
using test::ShmEntries;
using test::SystemCalls;
using testing::ElementsAre;
using testing::IsEmpty;

class MappingHandle : public test::MappingTest {
  protected:
    ~MappingHandle() override { EXPECT_THAT(FakeLog::Lines(), IsEmpty()); }
};

// ---- open ------------------------------------------------------------------------------------------

TEST_F(MappingHandle, OfAnExistingObjectIsForReadingAndWriting) {
    WriteObject("text");
    SystemCalls::Record({"shm_open"});
    const std::int32_t hOsMapping = OpenMapping_Linux(kName, &nErr_);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre(std::string("shm_open ") + kName + " 2 600"));
    ASSERT_NE(kNoMapping, hOsMapping);
    EXPECT_EQ(4, pwrite(hOsMapping, "done", 4, 0));
    EXPECT_EQ("done", ObjectText());
}

TEST_F(MappingHandle, OfAnExistingObjectComesWithErrnoAsItStands) {
    WriteObject("text");
    errno = EXDEV;
    EXPECT_NE(kNoMapping, OpenMapping_Linux(kName, &nErr_));
    EXPECT_EQ(static_cast<std::uint32_t>(EXDEV), nErr_);
}

TEST_F(MappingHandle, OfAMissingObjectIsNoneWithTheReason) {
    EXPECT_EQ(kNoMapping, OpenMapping_Linux("missing", &nErr_));
    EXPECT_EQ(static_cast<std::uint32_t>(ENOENT), nErr_);
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

TEST_F(MappingHandle, ThatCannotBeHadIsNoneWithTheReason) {
    WriteObject("text");
    SystemCalls::Fail("shm_open", 1, EMFILE);
    EXPECT_EQ(kNoMapping, OpenMapping_Linux(kName, &nErr_));
    EXPECT_EQ(static_cast<std::uint32_t>(EMFILE), nErr_);
}

// ---- unmap -----------------------------------------------------------------------------------------

/// Whether a mapping of this process bears the name. The address alone does not tell: a heap that grows
/// meanwhile may have taken it.
bool IsMapped(const std::string& name) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(name) != std::string::npos) return true;
    }
    return false;
}

TEST_F(MappingHandle, UnmapsAView) {
    const int hMemory = memfd_create("ztk-view-to-unmap", MFD_CLOEXEC);
    ASSERT_EQ(0, ftruncate(hMemory, 8192));
    void* pView = mmap(nullptr, 8192, PROT_READ, MAP_SHARED, hMemory, 0);
    close(hMemory);
    ASSERT_TRUE(IsMapped("ztk-view-to-unmap"));
    SystemCalls::Record({"munmap"});
    EXPECT_EQ(0U, UnmapView_Linux(pView, 8192, &nErr_));
    EXPECT_EQ(0U, nErr_);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("munmap 8192"));
    EXPECT_FALSE(IsMapped("ztk-view-to-unmap"));
}

TEST_F(MappingHandle, ReturnsAndStoresTheReasonWhenAViewCannotBeUnmapped) {
    const auto nEinval = static_cast<std::uint32_t>(EINVAL);
    EXPECT_EQ(nEinval, UnmapView_Linux(reinterpret_cast<void*>(1), 8192, &nErr_));
    EXPECT_EQ(nEinval, nErr_);
}

// ---- close -----------------------------------------------------------------------------------------

TEST_F(MappingHandle, ClosesAnObjectAfterRemovingItsName) {
    WriteObject("text");
    const std::int32_t hOsMapping = OpenMapping_Linux(kName, &nErr_);
    SystemCalls::Record({"shm_unlink", "close"});
    EXPECT_EQ(0U, CloseMapping_Linux(hOsMapping, kName, &nErr_));
    EXPECT_EQ(0U, nErr_);
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre(std::string("shm_unlink ") + kName, "close"));
    EXPECT_THAT(ShmEntries(), IsEmpty());
    EXPECT_EQ(0U, NewDescriptors());
}

TEST_F(MappingHandle, LeavesTheDescriptorOpenWhenTheNameCannotBeRemoved) {
    WriteObject("text");
    const std::int32_t hOsMapping = OpenMapping_Linux(kName, &nErr_);
    SystemCalls::Fail("shm_unlink", 1, EACCES);
    EXPECT_EQ(static_cast<std::uint32_t>(EACCES), CloseMapping_Linux(hOsMapping, kName, &nErr_));
    EXPECT_EQ(static_cast<std::uint32_t>(EACCES), nErr_);
    EXPECT_EQ(0, SystemCalls::Count("close"));
    EXPECT_EQ(1U, NewDescriptors());
    EXPECT_THAT(ShmEntries(), ElementsAre(kName));
}

TEST_F(MappingHandle, LeavesTheDescriptorOpenWhenTheNameIsGoneAlready) {
    WriteObject("text");
    const std::int32_t hOsMapping = OpenMapping_Linux(kName, &nErr_);
    shm_unlink(kName);
    EXPECT_EQ(static_cast<std::uint32_t>(ENOENT), CloseMapping_Linux(hOsMapping, kName, &nErr_));
    EXPECT_EQ(static_cast<std::uint32_t>(ENOENT), nErr_);
    EXPECT_EQ(1U, NewDescriptors());
}

TEST_F(MappingHandle, DoesNotLookAtTheResultOfTheClosing) {
    WriteObject("text");
    EXPECT_EQ(0U, CloseMapping_Linux(kNoMapping, kName, &nErr_));
    EXPECT_EQ(0U, nErr_);
    EXPECT_THAT(ShmEntries(), IsEmpty());
}

}  // namespace
}  // namespace ztk
