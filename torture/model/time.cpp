#include "torture/model/time.h"

#include "support/private_shm.h"
#include "support/virtual_time.h"

namespace ztk::torture {
namespace {

constexpr std::size_t kReclaimers = 2;
bool g_bPrivateShm = false;

test::VirtualTime& Time() {
    static auto* pTime = new test::VirtualTime;  // the pools end after everything else
    return *pTime;
}

constexpr int kBeforeThePools = 101;
[[gnu::constructor(kBeforeThePools)]] void Prepare() {
    g_bPrivateShm = test::EnterPrivateShm();
    Time();
}

}  // namespace

std::int64_t NowSeconds() {
    return Time().NowMilliseconds() / 1000;
}
void AwaitReclaimers() {
    Time().AwaitSleepers(kReclaimers);
}
void AdvanceClock(std::int64_t nSeconds) {
    Time().Advance(std::chrono::seconds(nSeconds));
}
void SetClockBy(std::int64_t nSeconds) {
    Time().Step(std::chrono::seconds(nSeconds));
}
bool HasPrivateShm() {
    return g_bPrivateShm;
}

}  // namespace ztk::torture
