// Everything that makes the library write a line, one subject after the other.
#pragma once

namespace ztk::test {

void CallEveryExport();
void LiveThroughLocalPools();
void LiveThroughSharedPools();
void FailEverySegmentStep();
void SweepEveryKindOfEntry();
void RefuseEveryRawAllocation();
void FailEveryMappingStep();

}  // namespace ztk::test
