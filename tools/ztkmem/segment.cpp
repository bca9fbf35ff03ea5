#include "segment.h"

#include <algorithm>

namespace ztkmem {
namespace {

/// What numbers are compared by, so that the larger comes first.
std::int64_t Weight(const Segment& segment, SortKey enKey) {
    switch (enKey) {
        case SortKey::kLength:
            return static_cast<std::int64_t>(segment.facts.nLength);
        case SortKey::kResident:
            return static_cast<std::int64_t>(segment.facts.nResident);
        case SortKey::kData:
            return segment.header ? static_cast<std::int64_t>(segment.header->nDataLen >> 1U) : -1;
        case SortKey::kAge:
            return segment.nAge;
        case SortKey::kOwner:
            return -segment.nOwner;
        case SortKey::kName:
            break;
    }
    return 0;
}

}  // namespace

bool IsStale(const Segment& segment) {
    return segment.enKind == NameKind::kPool && segment.facts.bRegular && IsProvenDead(segment.enOwner);
}

void SortSegments(std::vector<Segment>& segments, SortKey enKey, bool bReverse) {
    std::sort(segments.begin(), segments.end(), [&](const Segment& one, const Segment& other) {
        const Segment& first = bReverse ? other : one;
        const Segment& second = bReverse ? one : other;
        const std::int64_t nFirst = Weight(first, enKey);
        const std::int64_t nSecond = Weight(second, enKey);
        return nFirst != nSecond ? nFirst > nSecond : first.name < second.name;
    });
}

Totals AddUp(const std::vector<Segment>& segments) {
    Totals totals;
    for (const Segment& segment : segments) {
        ++totals.nSegments;
        totals.nLength += segment.facts.nLength;
        totals.nResident += segment.facts.nResident;
        if (segment.enOwner == OwnerState::kNotVisible) ++totals.nNotVisible;
        if (segment.enOwner == OwnerState::kReused) ++totals.nReused;
        if (!IsStale(segment)) continue;
        ++totals.nStale;
        totals.nStaleResident += segment.facts.nResident;
    }
    return totals;
}

}  // namespace ztkmem
