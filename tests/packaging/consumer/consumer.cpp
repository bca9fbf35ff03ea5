// The C++ owners from the installed headers.
#include <ztk_rockit_standin.h>
#include <ztk_sdklog_standin.h>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <system_error>
#include <vector>
#include <ztk_common.hpp>

int main() {
    ZTK_LOG_SetLogLevel(4);
    try {
        const ztk::Block frame(1000, ztk::MemoryType::kMmz, 64);
        const std::pmr::vector<int> numbers(100, 7, ztk::HeapResource());
        const ztk::SharedBlock shared(4);
        std::fill(shared.Payload().begin(), shared.Payload().end(), std::byte{7});
        const ztk::SharedView view(shared.Name());
        ZtkRockitCounters counters;
        ZtkRockitGetCounters(&counters);
        const bool bFine = frame.Bytes().size() == 1000 && numbers[99] == 7 &&
                           view.Payload()[3] == std::byte{7} && counters.nLiveBlocks == 1;
        return bFine ? 0 : 1;
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "the installed library does not hand out memory: %s\n", error.what());
        return 1;
    }
}
