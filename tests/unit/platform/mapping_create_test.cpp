#include <sys/stat.h>

#include "platform/mem_info.h"
#include "unit/platform/creation_fixture.h"

namespace ztk {
namespace {

using test::AvailableMemory;
using test::CreateMapping;
using test::FakeLog;
using test::kName;
using test::ShmEntries;
using test::SystemCalls;
using testing::ElementsAre;
using testing::IsEmpty;

// ---- what is refused -------------------------------------------------------------------------------

class ShortLength : public CreateMapping, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(ShortLength, IsRefusedSilentlyAndCreatesNoObject) {
    EXPECT_EQ(kNoMapping, Create(GetParam()));
    EXPECT_EQ(0x80100005U, nErr_);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    EXPECT_EQ(0, SystemCalls::Count("shm_open"));
    ExpectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(BelowTheHeader, ShortLength, testing::Values(0, 1, 127));

class LengthBeyondMemory : public CreateMapping, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(LengthBeyondMemory, IsRefusedSilentlyAndCreatesNoObject) {
    EXPECT_EQ(kNoMapping, Create(GetParam()));
    EXPECT_EQ(0x80100009U, nErr_);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    EXPECT_EQ(0, SystemCalls::Count("shm_open"));
    ExpectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(UpToTheEndOf64Bits, LengthBeyondMemory,
                         testing::Values(std::uint64_t{8} << 30U, std::uint64_t{1} << 63U, UINT64_MAX,
                                         UINT64_MAX - 127, UINT64_MAX - kMemoryReserve,
                                         UINT64_MAX - kMemoryReserve + 1, UINT64_MAX - kMemoryReserve + 129));

TEST_F(CreateMapping, FailsWhenExactlyTheReserveWouldBeLeft) {
    const AvailableMemory exact(4096 + kMemoryReserve);
    EXPECT_EQ(kNoMapping, Create(4096));
    EXPECT_EQ(0x80100009U, nErr_);
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
    ExpectNothingLeft();
}

TEST_F(CreateMapping, FailsWhenLessThanTheReserveWouldBeLeft) {
    const AvailableMemory less(4096 + kMemoryReserve - 1);
    EXPECT_EQ(kNoMapping, Create(4096));
    EXPECT_EQ(0x80100009U, nErr_);
}

TEST_F(CreateMapping, SucceedsWhenOneByteMoreThanTheReserveIsLeft) {
    const AvailableMemory more(4096 + kMemoryReserve + 1);
    EXPECT_NE(kNoMapping, Create(4096));
    EXPECT_EQ(0U, nErr_);
}

TEST_F(CreateMapping, LooksAtTheMemoryBeforeTheLength) {
    const AvailableMemory none(0);
    EXPECT_EQ(kNoMapping, Create(127));
    EXPECT_EQ(0x80100009U, nErr_);
}

// ---- what is created -------------------------------------------------------------------------------

TEST_F(CreateMapping, OfTheHeaderAloneHasNoData) {
    const std::int32_t hOsMapping = Create(128);
    EXPECT_NE(kNoMapping, hOsMapping);
    EXPECT_EQ(0U, nErr_);
    EXPECT_EQ(HeaderText(kName, 128), ObjectText());
    EXPECT_EQ(std::string(8, '\0'), ObjectText().substr(0, 8));
}

TEST_F(CreateMapping, StampsTheHeaderAndLeavesTheDataZero) {
    EXPECT_NE(kNoMapping, Create(4096));
    const std::string text = ObjectText();
    ASSERT_EQ(4096U, text.size());
    // 3968 data bytes, reserved and MMZ bytes, 128 header bytes.
    EXPECT_EQ(std::string("\x80\x0F\0\0\0\0\0\0\0\0\0\0\0\0\x80\0", 16), text.substr(0, 16));
    EXPECT_EQ(kName, text.substr(16, std::strlen(kName)));
    EXPECT_EQ(HeaderText(kName, 4096) + std::string(4096 - 128, '\0'), text);
}

TEST_F(CreateMapping, KeepsTheBytesBehindALongNameZero) {
    const std::string name(79, 'n');
    EXPECT_NE(kNoMapping, CreateMapping_Linux(name.c_str(), 200, &nErr_));
    EXPECT_EQ(HeaderText(name, 200) + std::string(72, '\0'), ObjectText(name));
}

TEST_F(CreateMapping, MakesTheSystemCallsInOrder) {
    SystemCalls::Record({"shm_open", "ftruncate", "fallocate", "mmap", "munmap", "shm_unlink", "close"});
    EXPECT_NE(kNoMapping, Create(4096));
    EXPECT_THAT(SystemCalls::Recorded(),
                ElementsAre(std::string("shm_open ") + kName + " 66 600", "ftruncate 4096",
                            "fallocate 0 0 4096", "mmap 128 3 1", "munmap 128"));
}

TEST_F(CreateMapping, LogsTheNameHandleAndLength) {
    const std::int32_t hOsMapping = Create(4096);
    EXPECT_THAT(FakeLog::Lines(), ElementsAre(ClosingLine(hOsMapping, 4096)));
}

TEST_F(CreateMapping, LeavesTheObjectOpenAndNamedForItsOwnerOnly) {
    const std::int32_t hOsMapping = Create(4096);
    struct stat status {};
    ASSERT_EQ(0, fstat(hOsMapping, &status));
    EXPECT_EQ(4096, status.st_size);
    EXPECT_EQ(0600U, status.st_mode & 0777U);
    EXPECT_THAT(ShmEntries(), ElementsAre(kName));
    EXPECT_EQ(1U, NewDescriptors());
}

TEST_F(CreateMapping, TakesALongerObjectOverAndCutsIt) {
    WriteObject(std::string(9000, 'x'));
    EXPECT_NE(kNoMapping, Create(4096));
    EXPECT_EQ(0U, nErr_);
    // The data is cleared only when a view is mapped.
    EXPECT_EQ(HeaderText(kName, 4096) + std::string(4096 - 128, 'x'), ObjectText());
}

TEST_F(CreateMapping, TakesAShorterObjectOverAndExtendsIt) {
    WriteObject(std::string(200, 'x'));
    EXPECT_NE(kNoMapping, Create(4096));
    EXPECT_EQ(HeaderText(kName, 4096) + std::string(72, 'x') + std::string(4096 - 200, '\0'), ObjectText());
}

TEST_F(CreateMapping, TakesItsOwnObjectOver) {
    EXPECT_NE(kNoMapping, Create(4096));
    EXPECT_NE(kNoMapping, Create(1000));
    EXPECT_EQ(HeaderText(kName, 1000) + std::string(1000 - 128, '\0'), ObjectText());
    EXPECT_THAT(ShmEntries(), ElementsAre(kName));
}

}  // namespace
}  // namespace ztk
