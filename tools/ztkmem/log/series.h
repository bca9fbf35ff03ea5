// A curve in bounded memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "log/timeline.h"

namespace ztkmem::log {

/// Neighbouring values, taken together when there are too many.
struct Span {
    Moment first;
    Moment last;
    std::int64_t nLeast = 0;
    std::int64_t nMost = 0;
    std::int64_t nLast = 0;
    std::uint64_t nCount = 0;
};

/// Keeps up to 2048 spans. When they are used up, neighbours are joined, and from then on a span takes as
/// many values as the joined ones.
class Series {
  public:
    static constexpr std::size_t kMostSpans = 2048;

    void Add(const Moment& moment, std::int64_t nValue);

    const std::vector<Span>& Spans() const { return spans_; }
    bool Empty() const { return spans_.empty(); }
    std::uint64_t Count() const { return nCount_; }
    std::int64_t Most() const { return spans_.empty() ? 0 : nMost_; }
    std::int64_t Last() const { return spans_.empty() ? 0 : spans_.back().nLast; }

  private:
    std::vector<Span> spans_;
    std::uint64_t nPerSpan_ = 1;
    std::uint64_t nCount_ = 0;
    std::int64_t nMost_ = 0;
};

}  // namespace ztkmem::log
