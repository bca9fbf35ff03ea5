// The segment that the tests of segments make.
#pragma once

#include <cstdint>

namespace ztk::test {

constexpr char kName[] = "ZTKTool-1-segment";

struct Segment {
    std::uint32_t hOsMapping = 0xAAAA;
    void* pAddr = &hOsMapping;  ///< what no creation returns
};

}  // namespace ztk::test
