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

/// Both are sorted: one walk along them.
void Growth::Look(const SizeCounts& counts) {
    ++nLooks_;
    auto trend = trends_.begin();
    for (const auto& [nSize, nCount] : counts) {
        for (; trend != trends_.end() && trend->first < nSize; ++trend)
            trend->second.Look(0, nLooks_);
        if (trend == trends_.end() || trend->first != nSize) {
            if (trends_.size() >= kMostSizes) continue;
            trend = trends_.emplace_hint(trend, nSize, Trend());
        }
        trend->second.Look(nCount, nLooks_);
        ++trend;
    }
    for (; trend != trends_.end(); ++trend)
        trend->second.Look(0, nLooks_);
}

void Growth::LookAt(std::uint64_t nSize, const SizeCounts& counts) {
    const auto count = counts.find(nSize);
    const auto known = trends_.find(nSize);
    const bool bRoom = count != counts.end() && trends_.size() < kMostSizes;
    if (known == trends_.end() && !bRoom) return;
    Trend& trend = known == trends_.end() ? trends_[nSize] : known->second;
    trend.Look(count == counts.end() ? 0 : count->second, nLooks_);
}

void Growth::Look(const SizeCounts& counts, const std::set<std::uint64_t>& changed) {
    ++nLooks_;
    for (const std::uint64_t nSize : changed)
        LookAt(nSize, counts);
    LookAt(0, counts);  // where sizes beyond kMostSizes are counted
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
