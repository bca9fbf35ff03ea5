#include <errno.h>

#include "unit/platform/mapping_fixture.h"

namespace ztk {
namespace {

using test::FakeLog;
using test::kErrNoMemory;
using test::kName;
using test::LogLine;
using test::PlainLine;
using test::SystemCalls;
using testing::ElementsAre;
using testing::Matcher;

class MapView : public test::MappingTest {
  protected:
    static constexpr std::uint64_t kLen = 4096;

    /// An object with the header and data given, open.
    void MakeObject(const std::string& header, char cData = 'x') {
        WriteObject(header + std::string(kLen - 128, cData));
        hOsMapping_ = OpenMapping_Linux(kName, &nErr_);
        nErr_ = test::kStale;
    }

    static std::string Header(std::uint16_t nHeaderLen, std::uint8_t byMmz, const std::string& mmz) {
        std::string header = HeaderText(kName, kLen);
        header[9] = static_cast<char>(byMmz);
        std::memcpy(header.data() + 14, &nHeaderLen, sizeof(nHeaderLen));
        std::memcpy(header.data() + 96, mmz.data(), mmz.size());
        return header;
    }

    char* Map(std::uint64_t nMappingLen = kLen) {
        return static_cast<char*>(MapView_Linux(hOsMapping_, nMappingLen, &nErr_));
    }

    static void Unmap(void* pView) { munmap(pView, kLen); }

    Matcher<const LogLine&> ClosingLine(const void* pView, const std::string& rest) const {
        return PlainLine(
            1, "MapView_Linux", 268,
            "MapView_Linux hMapping[%p], pView[%p],nMappingLen[%d], byMMZ[%d], nErrCode[%d] \r\n",
            "MapView_Linux hMapping[" + HandleText(hOsMapping_) + "], pView[" + PointerText(pView) + "]," +
                rest);
    }

    static Matcher<const LogLine&> MmapLine(int nLine, int nErrno) {
        return PlainLine(4, "MapView_Linux", nLine, "MapView_Linux mmap nErrCode[%d]\r\n",
                         "MapView_Linux mmap nErrCode[" + std::to_string(nErrno) + "]\r\n");
    }

    std::int32_t hOsMapping_ = kNoMapping;
};

// ---- a good object ---------------------------------------------------------------------------------

TEST_F(MapView, GivesTheWholeSegmentWithItsHeaderAndClearedData) {
    MakeObject(HeaderText(kName, kLen));
    char* pView = Map();
    ASSERT_NE(nullptr, pView);
    EXPECT_EQ(0U, nErr_);
    EXPECT_EQ(HeaderText(kName, kLen) + std::string(kLen - 128, '\0'), std::string(pView, kLen));
    EXPECT_EQ(std::string(pView, kLen), ObjectText());
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(ClosingLine(pView, "nMappingLen[4096], byMMZ[0], nErrCode[0] \r\n")));
    Unmap(pView);
}

TEST_F(MapView, MapsTheHeaderForReadingAndThenTheWhole) {
    MakeObject(HeaderText(kName, kLen));
    SystemCalls::Record({"mmap", "munmap"});
    char* pView = Map();
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("mmap 128 1 1", "munmap 128", "mmap 4096 3 1"));
    Unmap(pView);
}

TEST_F(MapView, OfTheHeaderAloneClearsNothing) {
    MakeObject(HeaderText(kName, kLen));
    char* pView = Map(128);
    ASSERT_NE(nullptr, pView);
    EXPECT_EQ(HeaderText(kName, kLen) + std::string(kLen - 128, 'x'), ObjectText());
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(ClosingLine(pView, "nMappingLen[128], byMMZ[0], nErrCode[0] \r\n")));
    munmap(pView, 128);
}

TEST_F(MapView, ShowsZerosWhereAnEarlierViewWroteDataAndKeepsTheHeader) {
    MakeObject(HeaderText(kName, kLen));
    char* pFirst = Map();
    ASSERT_NE(nullptr, pFirst);
    std::memset(pFirst + 100, 'h', 28);
    std::memset(pFirst + 128, 'd', kLen - 128);
    char* pSecond = Map();
    ASSERT_NE(nullptr, pSecond);
    EXPECT_EQ(std::string(28, 'h'), std::string(pSecond + 100, 28));
    EXPECT_EQ(std::string(kLen - 128, '\0'), std::string(pSecond + 128, kLen - 128));
    EXPECT_EQ(std::string(kLen - 128, '\0'), std::string(pFirst + 128, kLen - 128));  // one memory
    Unmap(pFirst);
    Unmap(pSecond);
}

class ShortView : public MapView, public testing::WithParamInterface<std::uint64_t> {};

TEST_P(ShortView, IsRefusedWithoutALookAtTheObject) {
    MakeObject(HeaderText(kName, kLen));
    EXPECT_EQ(nullptr, Map(GetParam()));
    EXPECT_EQ(0x80100005U, nErr_);
    EXPECT_THAT(
        FakeLog::Lines(),
        ElementsAre(PlainLine(4, "MapView_Linux", 164, "MapView_Linux, nMappingLen[%d] < [%d]",
                              "MapView_Linux, nMappingLen[" + std::to_string(GetParam()) + "] < [128]")));
    EXPECT_EQ(0, SystemCalls::Count("mmap"));
}

INSTANTIATE_TEST_SUITE_P(BelowTheHeader, ShortView, testing::Values(0, 1, 127));

// ---- the header ------------------------------------------------------------------------------------

class GoodHeaderLength : public MapView, public testing::WithParamInterface<std::uint16_t> {};

TEST_P(GoodHeaderLength, IsMapped) {
    MakeObject(Header(GetParam(), 0, ""));
    char* pView = Map();
    EXPECT_NE(nullptr, pView);
    EXPECT_EQ(0U, nErr_);
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(ClosingLine(pView, "nMappingLen[4096], byMMZ[0], nErrCode[0] \r\n")));
    Unmap(pView);
}

INSTANTIATE_TEST_SUITE_P(NoneOr128, GoodHeaderLength, testing::Values(0, 128));

class BadHeaderLength : public MapView, public testing::WithParamInterface<std::uint16_t> {};

TEST_P(BadHeaderLength, IsRefusedBeforeTheMmzDescriptorIsLookedAt) {
    MakeObject(Header(GetParam(), 1, "MMZ_4096_0x1000"));
    EXPECT_EQ(nullptr, Map());
    EXPECT_EQ(0x80100023U, nErr_);
    EXPECT_THAT(
        FakeLog::Lines(),
        ElementsAre(
            PlainLine(4, "MapView_Linux", 201, "MapView_Linux nHeaderLen[%d] is not correct!\r\n",
                      "MapView_Linux nHeaderLen[" + std::to_string(GetParam()) + "] is not correct!\r\n"),
            ClosingLine(nullptr, "nMappingLen[4096], byMMZ[1], nErrCode[-2146435037] \r\n")));
    EXPECT_EQ(1, SystemCalls::Count("mmap"));
    EXPECT_EQ(std::string(kLen - 128, 'x'), ObjectText().substr(128));
}

INSTANTIATE_TEST_SUITE_P(AnyOtherBit, BadHeaderLength,
                         testing::Values(1, 127, 129, 256, 384, 0x7FFF, 0x8000, 0xFFFF));

// ---- MMZ segments ----------------------------------------------------------------------------------

struct MmzCase {
    std::uint8_t byMmz;
    const char* szDescriptor;  ///< up to 32 characters, then without a terminator
    const char* szVirAddr;
    const char* szPhyAddr;
};

class MmzSegment : public MapView, public testing::WithParamInterface<MmzCase> {};

TEST_P(MmzSegment, IsLoggedWithItsAddressesAndNotSupported) {
    const MmzCase& param = GetParam();
    MakeObject(Header(128, param.byMmz, param.szDescriptor), 'f');  // a digit behind the descriptor
    EXPECT_EQ(nullptr, Map());
    EXPECT_EQ(0x80100001U, nErr_);
    const std::string rest =
        "nMappingLen[4096], byMMZ[" + std::to_string(param.byMmz) + "], nErrCode[-2146435071] \r\n";
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(1, "MapView_Linux", 231,
                                      "MapView_Linux hMapping[%p],pVirAddr[%p], lPhyAddr[%p] \r\n",
                                      "MapView_Linux hMapping[" + HandleText(hOsMapping_) + "],pVirAddr[" +
                                          param.szVirAddr + "], lPhyAddr[" + param.szPhyAddr + "] \r\n"),
                            PlainLine(4, "MapView_Linux", 252, "MapView_Linux current palt not support",
                                      "MapView_Linux current palt not support"),
                            ClosingLine(nullptr, rest)));
    EXPECT_EQ(1, SystemCalls::Count("mmap"));
}

INSTANTIATE_TEST_SUITE_P(
    Descriptors, MmzSegment,
    testing::Values(MmzCase{1, "MMZ_4096_0x7f0012345678", "0x7f0012345678", "0x1000"},
                    MmzCase{2, "MMZ_4096_0x1000", "0x1000", "0x1000"},
                    MmzCase{255, "MMZ_1_0xABC rest", "0xabc", "0x1"},
                    MmzCase{1, "MMZ_-5_0x10", "0x10", "0xfffffffffffffffb"},
                    MmzCase{1, "MMZ_0_0x1", "0x1", "(nil)"},
                    // 32 characters, no terminator: what follows is not part of the number
                    MmzCase{1, "MMZ_4096_0x000000000000000001234", "0x1234", "0x1000"}));

class BadMmzDescriptor : public MapView, public testing::WithParamInterface<const char*> {};

TEST_P(BadMmzDescriptor, IsRefused) {
    MakeObject(Header(0, 1, GetParam()), '1');
    EXPECT_EQ(nullptr, Map());
    EXPECT_EQ(0x80100023U, nErr_);
    EXPECT_THAT(
        FakeLog::Lines(),
        ElementsAre(PlainLine(4, "MapView_Linux", 227, "MapView_Linux Failed to parse phy and vir addr",
                              "MapView_Linux Failed to parse phy and vir addr"),
                    ClosingLine(nullptr, "nMappingLen[4096], byMMZ[1], nErrCode[-2146435037] \r\n")));
    EXPECT_EQ(1, SystemCalls::Count("mmap"));
}

INSTANTIATE_TEST_SUITE_P(Texts, BadMmzDescriptor,
                         testing::Values("", "other text", "MMZ_", "MMZ_4096", "MMZ_4096_", "MMZ_x_0x1000",
                                         "mmz_4096_0x1000", " MMZ_4096_0x1000", "MMZ_4096_zz",
                                         // 32 characters, the digits that follow are not read
                                         "MMZ_1111111111111111111111111111",
                                         "MMZ_000000000000000000000000001_"));

// ---- a failing system ------------------------------------------------------------------------------

TEST_F(MapView, FailsWhenTheHeaderCannotBeMapped) {
    MakeObject(Header(128, 1, ""));
    SystemCalls::Fail("mmap", 1, ENOMEM);
    EXPECT_EQ(nullptr, Map());
    EXPECT_EQ(0x80100009U, nErr_);
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(MmapLine(178, ENOMEM),
                            ClosingLine(nullptr, std::string("nMappingLen[4096], byMMZ[0], nErrCode[") +
                                                     kErrNoMemory + "] \r\n")));
    EXPECT_EQ(0, SystemCalls::Count("munmap"));
}

TEST_F(MapView, ReturnsTheHeadersAddressWhenItCannotBeUnmapped) {
    MakeObject(Header(129, 7, ""));  // not judged any more
    SystemCalls::Fail("munmap", 1, EINVAL);
    char* pView = Map();
    ASSERT_NE(nullptr, pView);
    EXPECT_EQ(0x80100009U, nErr_);
    EXPECT_EQ(Header(129, 7, ""), std::string(pView, 128));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(PlainLine(4, "MapView_Linux", 189, "MapView_Linux munmap nErrCode[%d]\r\n",
                                      "MapView_Linux munmap nErrCode[22]\r\n"),
                            ClosingLine(pView, std::string("nMappingLen[4096], byMMZ[7], nErrCode[") +
                                                   kErrNoMemory + "] \r\n")));
    EXPECT_EQ(1, SystemCalls::Count("mmap"));
    EXPECT_EQ(1, SystemCalls::Count("munmap"));
    munmap(pView, 128);
}

TEST_F(MapView, FailsWhenTheWholeCannotBeMapped) {
    MakeObject(HeaderText(kName, kLen));
    SystemCalls::Fail("mmap", 2, EAGAIN);
    EXPECT_EQ(nullptr, Map());
    EXPECT_EQ(0x80100009U, nErr_);
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(MmapLine(213, EAGAIN),
                            ClosingLine(nullptr, std::string("nMappingLen[4096], byMMZ[0], nErrCode[") +
                                                     kErrNoMemory + "] \r\n")));
}

TEST_F(MapView, LogsALengthBeyond31BitsAsANegativeNumber) {
    MakeObject(HeaderText(kName, kLen));
    SystemCalls::Fail("mmap", 2, ENOMEM);
    EXPECT_EQ(nullptr, Map(0xC0000000));
    EXPECT_THAT(FakeLog::Lines(),
                ElementsAre(MmapLine(213, ENOMEM),
                            ClosingLine(nullptr, std::string("nMappingLen[-1073741824], byMMZ[0], ") +
                                                     "nErrCode[" + kErrNoMemory + "] \r\n")));
}

// Only null is noticed; the kernel's own marker is read as if it were the header.
TEST_F(MapView, OfADescriptorThatIsNoneEndsTheProcess) {
    EXPECT_DEATH(MapView_Linux(kNoMapping, kLen, &nErr_), "");
}

}  // namespace
}  // namespace ztk
