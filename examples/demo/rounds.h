// Two ways to do the same, measured in alternating rounds of one run: what disturbs the machine meanwhile
// disturbs both.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "report.h"

namespace demo {

constexpr std::size_t kRoundFrames = 40;

/// Runs frames 0 .. nFrames - 1 through both; they take turns in going first, so that neither always finds
/// the caches warm. A side has Run(nFirst, nEnd).
template <class Side>
void RunInRounds(const std::string& name, std::size_t nFrames, Side& one, Side& other) {
    bool bOneFirst = true;
    std::size_t nNextReport = 0;
    for (std::size_t nFirst = 0; nFirst < nFrames; nFirst += kRoundFrames) {
        const std::size_t nEnd = std::min(nFirst + kRoundFrames, nFrames);
        (bOneFirst ? one : other).Run(nFirst, nEnd);
        (bOneFirst ? other : one).Run(nFirst, nEnd);
        bOneFirst = !bOneFirst;
        if (nEnd < nNextReport && nEnd < nFrames) continue;
        PrintProgress(fmt::format("{}: {} of {} frames", name, nEnd, nFrames));
        nNextReport = nEnd + nFrames / 5;
    }
}

/// The middle of what the rounds gave, and how far they lie apart.
struct Spread {
    explicit Spread(std::vector<double> values) {
        std::sort(values.begin(), values.end());
        dLeast = values.front();
        dMedian = values[values.size() / 2];
        dMost = values.back();
    }

    double dLeast;
    double dMedian;
    double dMost;
};

}  // namespace demo
