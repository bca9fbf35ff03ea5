#include "log/timeline.h"

#include <fmt/format.h>

#include <algorithm>

namespace ztkmem::log {
namespace {

constexpr double kBackwards = 60;
constexpr double kAhead = 183 * kDay;

}  // namespace

double Timeline::Shifted(double seconds) {
    seconds += shift_;
    if (!last_.HasTime()) return seconds;
    double step = seconds - last_.seconds;
    if (enKind_ == ClockKind::kTimeOfDay && step < -kDay / 2) {
        shift_ += kDay;
        seconds += kDay;
        step += kDay;
    }
    if (step >= -kBackwards && step <= kAhead) return seconds;
    ++nSets_;
    if (step < 0) {
        ++nSetsBack_;
        largestStepBack_ = std::max(largestStepBack_, -step);
    }
    shift_ -= step;
    return last_.seconds;
}

Moment Timeline::At(std::uint64_t nLine, const std::optional<Stamp>& stamp) {
    if (stamp && enKind_ == ClockKind::kNone) {
        enKind_ = stamp->enKind;
        nZoneMinutes_ = stamp->nZoneMinutes.value_or(0);
    }
    Moment moment{nLine, last_.seconds};
    if (stamp && stamp->enKind == enKind_) moment.seconds = Shifted(stamp->seconds);
    last_ = moment;
    return moment;
}

std::string Timeline::Text(const Moment& moment) const {
    if (!moment.HasTime()) return fmt::format("line {}", moment.nLine);
    return FormatTime(enKind_, moment.seconds + ShownOffset());
}

}  // namespace ztkmem::log
