#include "log/series.h"

#include <algorithm>

namespace ztkmem::log {
namespace {

void Join(Span& span, const Span& next) {
    span.last = next.last;
    span.nLeast = std::min(span.nLeast, next.nLeast);
    span.nMost = std::max(span.nMost, next.nMost);
    span.nLast = next.nLast;
    span.nCount += next.nCount;
}

void JoinNeighbours(std::vector<Span>& spans) {
    std::size_t nKept = 0;
    for (std::size_t i = 0; i < spans.size(); i += 2) {
        Span joined = spans[i];
        if (i + 1 < spans.size()) Join(joined, spans[i + 1]);
        spans[nKept++] = joined;
    }
    spans.resize(nKept);
}

}  // namespace

void Series::Add(const Moment& moment, std::int64_t nValue) {
    nMost_ = nCount_++ == 0 ? nValue : std::max(nMost_, nValue);
    const Span span{moment, moment, nValue, nValue, nValue, 1};
    if (!spans_.empty() && spans_.back().nCount < nPerSpan_) {
        Join(spans_.back(), span);
        return;
    }
    if (spans_.size() == kMostSpans) {
        JoinNeighbours(spans_);
        nPerSpan_ *= 2;
    }
    spans_.push_back(span);
}

}  // namespace ztkmem::log
