#include "log/stamp.h"

#include <fmt/format.h>

#include <cctype>
#include <cmath>

namespace ztkmem::log {
namespace {

constexpr int kEpochDigits = 10;
constexpr double kLeastEpoch = 1e9;

bool IsDigit(char ch) {
    return ch >= '0' && ch <= '9';
}

bool BeginsWithDigit(std::string_view text) {
    return !text.empty() && IsDigit(text.front());
}

/// Takes texts off the front of another, and remembers whether all of it was there.
class Taker {
  public:
    explicit Taker(std::string_view text) : text_(text) {}

    int Digits(std::size_t nCount) {
        int nNumber = 0;
        for (std::size_t i = 0; i < nCount; ++i) {
            if (text_.empty() || !IsDigit(text_.front())) {
                bGood_ = false;
                return 0;
            }
            nNumber = nNumber * 10 + (text_.front() - '0');
            text_.remove_prefix(1);
        }
        return nNumber;
    }

    bool OneOf(std::string_view characters) {
        if (text_.empty() || characters.find(text_.front()) == std::string_view::npos) return false;
        text_.remove_prefix(1);
        return true;
    }

    void Need(std::string_view characters) { bGood_ = OneOf(characters) && bGood_; }

    /// ".042" or ",042": up to nine digits count.
    double Fraction() {
        if (text_.size() < 2 || !IsDigit(text_[1]) || !OneOf(".,")) return 0;
        double fraction = 0;
        double weight = 0.1;
        for (int i = 0; !text_.empty() && IsDigit(text_.front()); ++i) {
            if (i < 9) fraction += weight * (text_.front() - '0');
            weight /= 10;
            text_.remove_prefix(1);
        }
        return fraction;
    }

    bool Good() const { return bGood_; }
    std::string_view Rest() const { return text_; }

  private:
    std::string_view text_;
    bool bGood_ = true;
};

/// Days since 1970-01-01; years counted from March, so that the leap day is a year's last.
std::int64_t DaysUntil(int nYear, int nMonth, int nDay) {
    const std::int64_t nMarchYear = nMonth <= 2 ? nYear - 1 : nYear;
    const std::int64_t nMarchMonth = (nMonth + 9) % 12;
    const std::int64_t nOfYear = (153 * nMarchMonth + 2) / 5 + nDay - 1;
    return nMarchYear * 365 + nMarchYear / 4 - nMarchYear / 100 + nMarchYear / 400 + nOfYear - 719468;
}

/// "23:59:59.042", or "235959.042"; a second of 60 is a leap second.
std::optional<double> TakeTimeOfDay(Taker& taker, bool bMarks) {
    const int nHour = taker.Digits(2);
    if (bMarks) taker.Need(":");
    const int nMinute = taker.Digits(2);
    if (bMarks) taker.Need(":");
    const int nSecond = taker.Digits(2);
    if (!taker.Good() || nHour > 23 || nMinute > 59 || nSecond > 60) return std::nullopt;
    return nHour * 3600 + nMinute * 60 + nSecond + taker.Fraction();
}

/// "Z", "+01:00", "-0530", "+01", with or without a blank before the sign.
std::optional<int> TakeZone(Taker& taker) {
    if (taker.OneOf("Z")) return 0;
    Taker zone = taker;
    zone.OneOf(" ");
    const bool bWest = !zone.Rest().empty() && zone.Rest().front() == '-';
    if (!zone.OneOf("+-")) return std::nullopt;
    int nMinutes = zone.Digits(2) * 60;
    if (!zone.Good()) return std::nullopt;
    Taker longer = zone;
    longer.OneOf(":");
    nMinutes += longer.Digits(2);
    if (longer.Good()) zone = longer;
    if (!zone.Rest().empty() && IsDigit(zone.Rest().front())) return std::nullopt;
    if (!longer.Good()) nMinutes = nMinutes / 60 * 60;
    taker = zone;
    return bWest ? -nMinutes : nMinutes;
}

/// "2026-11-21T10:00:00.042Z", or without the marks in between: "20261121T100000.042Z".
std::optional<Stamp> DateAt(std::string_view text, bool bMarks) {
    Taker taker(text);
    const int nYear = taker.Digits(4);
    if (bMarks) taker.Need("-/");
    const int nMonth = taker.Digits(2);
    if (bMarks) taker.Need("-/");
    const int nDay = taker.Digits(2);
    taker.Need(bMarks ? "T " : "T");
    if (!taker.Good() || nMonth < 1 || nMonth > 12 || nDay < 1 || nDay > 31) return std::nullopt;
    const auto ofDay = TakeTimeOfDay(taker, bMarks);
    if (!ofDay || (!bMarks && BeginsWithDigit(taker.Rest()))) return std::nullopt;
    Stamp stamp{ClockKind::kDate, static_cast<double>(DaysUntil(nYear, nMonth, nDay)) * kDay + *ofDay,
                TakeZone(taker)};
    stamp.seconds -= 60.0 * stamp.nZoneMinutes.value_or(0);
    stamp.nEnd = text.size() - taker.Rest().size();
    return stamp;
}

/// "1732185600.123", seconds since 1970 in ten digits, as they are from 2001 to 2033.
std::optional<Stamp> EpochAt(std::string_view text) {
    if (text.front() != '1') return std::nullopt;
    Taker taker(text);
    double seconds = 0;
    for (int i = 0; i < kEpochDigits; ++i)
        seconds = seconds * 10 + taker.Digits(1);
    seconds += taker.Fraction();
    const bool bEnds = taker.Rest().empty() || taker.OneOf(" \t:|,;");
    if (!taker.Good() || !bEnds) return std::nullopt;
    Stamp stamp{ClockKind::kDate, seconds, std::nullopt};
    stamp.nEnd = text.size() - taker.Rest().size();
    return stamp;
}

std::optional<Stamp> TimeOfDayAt(std::string_view text) {
    Taker taker(text);
    const auto ofDay = TakeTimeOfDay(taker, true);
    if (!ofDay) return std::nullopt;
    Stamp stamp{ClockKind::kTimeOfDay, *ofDay, std::nullopt};
    stamp.nEnd = text.size() - taker.Rest().size();
    return stamp;
}

/// "[  123.456]" from the bracket on: since the start of the board, or since 1970.
std::optional<Stamp> SecondsAt(std::string_view text) {
    Taker taker(text);
    taker.Need("[");
    while (taker.OneOf(" ")) {
    }
    double seconds = 0;
    int nDigits = 0;
    for (; !taker.Rest().empty() && IsDigit(taker.Rest().front()); ++nDigits)
        seconds = seconds * 10 + taker.Digits(1);
    const std::size_t nBefore = taker.Rest().size();
    seconds += taker.Fraction();
    const bool bFraction = nBefore != taker.Rest().size();
    taker.Need("]");
    if (!taker.Good() || nDigits < 1 || nDigits > 12 || !bFraction) return std::nullopt;
    const bool bEpoch = nDigits == kEpochDigits && seconds >= kLeastEpoch;
    Stamp stamp{bEpoch ? ClockKind::kDate : ClockKind::kSeconds, seconds, std::nullopt};
    stamp.nEnd = text.size() - taker.Rest().size();
    return stamp;
}

std::optional<Stamp> StampAt(std::string_view text, std::size_t nAt) {
    const std::string_view here = text.substr(nAt);
    if (here.front() == '[') return SecondsAt(here);
    if (!IsDigit(here.front())) return std::nullopt;
    if (auto date = DateAt(here, true)) return date;
    const bool bInside = nAt > 0 && (IsDigit(text[nAt - 1]) || text[nAt - 1] == ':');
    if (bInside) return std::nullopt;
    if (auto date = DateAt(here, false)) return date;
    if (auto date = nAt == 0 ? EpochAt(here) : std::nullopt) return date;
    return TimeOfDayAt(here);
}

std::string FormatOfDay(double seconds) {
    const auto nSeconds = static_cast<std::int64_t>(seconds);
    return fmt::format("{:02}:{:02}:{:02}", nSeconds / 3600, nSeconds / 60 % 60, nSeconds % 60);
}

std::string FormatDate(double days) {
    auto nDays = static_cast<std::int64_t>(days) + 719468;
    std::int64_t nYear = 400 * (nDays / 146097);
    nDays %= 146097;
    const std::int64_t nOfEra = (nDays - nDays / 1460 + nDays / 36524 - nDays / 146096) / 365;
    const std::int64_t nOfYear = nDays - (365 * nOfEra + nOfEra / 4 - nOfEra / 100);
    nYear += nOfEra;
    const std::int64_t nMarchMonth = (5 * nOfYear + 2) / 153;
    const std::int64_t nDay = nOfYear - (153 * nMarchMonth + 2) / 5 + 1;
    const std::int64_t nMonth = nMarchMonth < 10 ? nMarchMonth + 3 : nMarchMonth - 9;
    return fmt::format("{:04}-{:02}-{:02}", nMonth <= 2 ? nYear + 1 : nYear, nMonth, nDay);
}

}  // namespace

std::optional<Stamp> FindStamp(std::string_view text) {
    std::optional<Stamp> last;
    for (std::size_t nAt = 0; nAt < text.size();) {
        auto stamp = StampAt(text, nAt);
        if (!stamp) {
            ++nAt;
            continue;
        }
        stamp->nBegin = nAt;
        stamp->nEnd += nAt;
        nAt = stamp->nEnd;
        last = stamp;
    }
    return last;
}

std::string FormatTime(ClockKind enKind, double seconds) {
    if (enKind == ClockKind::kSeconds) return fmt::format("{:.3f} s", seconds);
    const double days = std::floor(seconds / kDay);
    const std::string ofDay = FormatOfDay(seconds - days * kDay);
    if (enKind == ClockKind::kDate) return FormatDate(days) + ' ' + ofDay;
    return days < 1 ? ofDay : fmt::format("{} +{:.0f}d", ofDay, days);
}

}  // namespace ztkmem::log
