#include "log/trend.h"

#include <algorithm>

namespace ztkmem::log {

void Trend::Look(std::uint64_t nValue, std::uint64_t nLook) {
    if (nLook == 1) {
        nFirst = nValue;
    } else if (nValue > nLast) {
        ++nGrew;
        nLastGrowth = nLook;
    } else if (nValue < nLast) {
        ++nShrank;
    }
    nLast = nValue;
}

void Growth::Look(const SizeCounts& counts) {
    ++nLooks_;
    for (const auto& [nSize, nCount] : counts) {
        if (trends_.count(nSize) == 0 && trends_.size() >= kMostSizes) continue;
        trends_[nSize];
    }
    for (auto& [nSize, trend] : trends_) {
        const auto found = counts.find(nSize);
        trend.Look(found == counts.end() ? 0 : found->second, nLooks_);
    }
}

bool Growth::OnlyGrows(const Trend& trend) const {
    return trend.nShrank == 0 && trend.nGrew >= kFewestSteps && 3 * (nLooks_ - trend.nLastGrowth) <= nLooks_;
}

std::vector<GrowingSize> Growth::OnlyGrowing() const {
    std::vector<GrowingSize> growing;
    if (nLooks_ < kFewestLooks) return growing;
    for (const auto& [nSize, trend] : trends_) {
        if (OnlyGrows(trend)) growing.push_back({nSize, trend});
    }
    const auto gained = [](const GrowingSize& size) {
        return size.nSize * (size.trend.nLast - size.trend.nFirst);
    };
    std::stable_sort(
        growing.begin(), growing.end(),
        [&gained](const GrowingSize& one, const GrowingSize& other) { return gained(one) > gained(other); });
    return growing;
}

}  // namespace ztkmem::log
