// What the tests of CreateMapping_Linux() share: its log lines, and that nothing is left behind.
#pragma once

#include <string>

#include "unit/platform/mapping_fixture.h"

namespace ztk::test {

class CreateMapping : public MappingTest {
  protected:
    std::int32_t Create(std::uint64_t nMappingLen) { return CreateMapping_Linux(kName, nMappingLen, &nErr_); }

    void ExpectNothingLeft() const {
        EXPECT_THAT(ShmEntries(), testing::IsEmpty());
        EXPECT_EQ(0U, NewDescriptors());
    }

    static testing::Matcher<const LogLine&> ClosingLine(std::int32_t hOsMapping, std::uint64_t nMappingLen) {
        return PlainLine(1, "CreateMapping_Linux", 149,
                         "CreateMapping_Linux pName[%s],hOsMapping[%p], nMappingLen[%d],enMemType[%d] \r\n",
                         std::string("CreateMapping_Linux pName[") + kName + "],hOsMapping[" +
                             HandleText(hOsMapping) + "], nMappingLen[" + std::to_string(nMappingLen) +
                             "],enMemType[0] \r\n");
    }

    static testing::Matcher<const LogLine&> MmapLine(int nErrno) {
        return PlainLine(
            4, "CreateMapping_Linux", 87, "CreateMapping_Linux mmap pOSMemoryHead[%p] nErrCode[%d]\r\n",
            "CreateMapping_Linux mmap pOSMemoryHead[(nil)] nErrCode[" + std::to_string(nErrno) + "]\r\n");
    }

    static testing::Matcher<const LogLine&> MunmapLine(int nLine, const void* pHead, int nErrno) {
        return PlainLine(4, "CreateMapping_Linux", nLine,
                         "CreateMapping_Linux munmap pOSMemoryHead[%p] nErrCode[%d]\r\n",
                         "CreateMapping_Linux munmap pOSMemoryHead[" + PointerText(pHead) + "] nErrCode[" +
                             std::to_string(nErrno) + "]\r\n");
    }

    static testing::Matcher<const LogLine&> UnlinkLine(int nErrno) {
        return PlainLine(4, "CreateMapping_Linux", 144, "CreateMapping_Linux shm_unlink nErrCode[%d]\r\n",
                         "CreateMapping_Linux shm_unlink nErrCode[" + std::to_string(nErrno) + "]\r\n");
    }
};

}  // namespace ztk::test
