#include "log/plot_axis.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace ztkmem::log {
namespace {

constexpr double kMostTicks = 9;

/// 1, 2 or 5 times a power of ten, not below @p least.
double RoundStep(double least) {
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least * (1 - 1e-9)) return factor * power;
    }
    return 10 * power;
}

double TimeStep(double span) {
    constexpr double kSteps[] = {1,        2,           5,           10,           15,           30,
                                 kMinute,  2 * kMinute, 5 * kMinute, 10 * kMinute, 15 * kMinute, 30 * kMinute,
                                 kHour,    2 * kHour,   3 * kHour,   6 * kHour,    12 * kHour,   kDay,
                                 2 * kDay, 7 * kDay,    14 * kDay,   28 * kDay};
    const double least = span / kMostTicks;
    if (least < kSteps[0]) return std::max(RoundStep(least), 0.001);
    const auto* found = std::lower_bound(std::begin(kSteps), std::end(kSteps), least);
    return found == std::end(kSteps) ? RoundStep(least / kDay) * kDay : *found;
}

template <class Label>
void AddTicks(Axis& axis, double step, double offset, const Label& label) {
    const double first = std::ceil((axis.from + offset) / step - 1e-9);
    for (int i = 0; i < 2 * static_cast<int>(kMostTicks); ++i) {
        const double shown = (first + i) * step;
        if (shown - offset > axis.to + step * 1e-6) break;
        axis.ticks.push_back({shown - offset, label(shown)});
    }
}

std::string OfDay(double shown, double step) {
    const double ofDay = shown - std::floor(shown / kDay) * kDay;
    const auto nMilli = static_cast<std::int64_t>(std::llround(ofDay * 1000));
    const std::int64_t nSeconds = nMilli / 1000;
    std::string text = fmt::format("{:02}:{:02}", nSeconds / 3600 % 24, nSeconds / 60 % 60);
    if (step < kMinute) text += fmt::format(":{:02}", nSeconds % 60);
    if (step < 1) text += fmt::format(".{:03}", nMilli % 1000);
    return text;
}

std::string TimeLabel(ClockKind enKind, double shown, double step) {
    if (enKind == ClockKind::kSeconds) return fmt::format("{:.10g}", std::round(shown * 1000) / 1000);
    if (step < kDay) return OfDay(shown, step);
    return FormatTime(enKind, shown).substr(enKind == ClockKind::kDate ? 5 : 0, 5);
}

std::string TimeTitle(ClockKind enKind, double from, double to) {
    if (enKind == ClockKind::kSeconds) return "seconds";
    if (enKind == ClockKind::kTimeOfDay) return "time of day";
    const std::string first = FormatTime(enKind, from).substr(0, 10);
    const std::string last = FormatTime(enKind, to).substr(0, 10);
    return first == last ? "time, " + first : fmt::format("time, {} to {}", first, last);
}

}  // namespace

SizeAxis MakeSizeAxis(std::int64_t nMost) {
    constexpr const char* kUnits[] = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB"};
    constexpr double kMostSizeTicks = 8;
    SizeAxis axis;
    std::size_t nUnit = 0;
    const auto most = static_cast<double>(std::max<std::int64_t>(nMost, 1));
    while (most / axis.unit >= 1024 && nUnit + 1 < std::size(kUnits)) {
        axis.unit *= 1024;
        ++nUnit;
    }
    axis.title = kUnits[nUnit];
    const double step = RoundStep(most / axis.unit / kMostSizeTicks);
    axis.to = std::ceil(most / axis.unit * 1.04 / step) * step;
    AddTicks(axis, step, 0, [](double shown) { return fmt::format("{:.6g}", shown); });
    return axis;
}

Axis MakeTimeAxis(ClockKind enKind, double from, double to, double shownOffset) {
    Axis axis{from, std::max(to, from + 0.001), TimeTitle(enKind, from + shownOffset, to + shownOffset), {}};
    const double step = TimeStep(axis.to - axis.from);
    AddTicks(axis, step, shownOffset,
             [enKind, step](double shown) { return TimeLabel(enKind, shown, step); });
    return axis;
}

Axis MakeLineAxis(double from, double to) {
    Axis axis{from, std::max(to, from + 1), "line of the log (its lines have no times)", {}};
    const double step = std::max(RoundStep((axis.to - axis.from) / kMostTicks), 1.0);
    AddTicks(axis, step, 0, [](double shown) { return fmt::format("{:.0f}", shown); });
    return axis;
}

}  // namespace ztkmem::log
