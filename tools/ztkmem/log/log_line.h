// The library's lines within the lines of a log. Pure: text in, records out.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "log/format_match.h"
#include "log/line_forms.h"

namespace ztkmem::log {

/// "[function@number]" somewhere in a text.
struct Place {
    std::size_t nBegin = 0;
    std::size_t nEnd = 0;  ///< behind the bracket
    std::string_view function;
    int nNumber = 0;
};

/// The first place in @p text at or behind @p nFrom.
std::optional<Place> FindPlace(std::string_view text, std::size_t nFrom);

struct LogLine {
    const LineForm* pForm = nullptr;
    Values values;
    std::string_view rest;  ///< what followed the text: the first blocks of a dump without line ends

    Meaning What() const { return pForm->enMeaning; }
    Memory Kind() const { return pForm->enMemory; }
    Pool Where() const { return PoolOf(pForm->enMemory); }
    std::uint64_t Number(std::size_t nAt) const { return values.numbers[nAt]; }
    std::uint64_t Size() const {
        return pForm->nSizeAt == kNoSize ? 0 : Number(static_cast<std::size_t>(pForm->nSizeAt));
    }
};

enum class Reading {
    kForeign,  ///< not a place of the library
    kTorn,     ///< a place of the library, but not its text
    kWhole,
};

/// Reads the line at @p place, whose text is @p message (everything up to the next place or the line's end).
Reading ReadLine(const Place& place, std::string_view message, LogLine& line);

}  // namespace ztkmem::log
