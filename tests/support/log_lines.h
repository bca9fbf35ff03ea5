// Expected log lines, to be compared with FakeLog::Lines().
#pragma once

#include <gmock/gmock.h>

#include <ostream>
#include <string>

#include "fakes/fake_log.h"

namespace ztk::test {

inline void PrintTo(const LogLine& line, std::ostream* pStream) {
    *pStream << line.nLevel << ' ' << line.text << " (" << line.function << ", " << line.nLine << ", \""
             << line.format << "\")";
}

/// A line of level, function and number, with the format and the text behind the prefixes given.
inline testing::Matcher<const LogLine&> LineIs(int nLevel, const std::string& function, int nLine,
                                               const std::string& format, const std::string& text) {
    using testing::Field;
    return testing::AllOf(Field("level", &LogLine::nLevel, nLevel),
                          Field("function", &LogLine::function, function),
                          Field("line", &LogLine::nLine, nLine), Field("format", &LogLine::format, format),
                          Field("text", &LogLine::text, text));
}

/// A line of the platform layer: "[function@line]text".
inline testing::Matcher<const LogLine&> PlainLine(int nLevel, const std::string& function, int nLine,
                                                  const std::string& format, const std::string& text) {
    const std::string place = '[' + function + '@' + std::to_string(nLine) + ']';
    return LineIs(nLevel, function, nLine, "[%s@%d]" + format, place + text);
}

/// A line of the exports and the pools: "[function@line][ZtkCommon] text".
inline testing::Matcher<const LogLine&> TaggedLine(int nLevel, const std::string& function, int nLine,
                                                   const std::string& format, const std::string& text) {
    const std::string place = '[' + function + '@' + std::to_string(nLine) + ']';
    return LineIs(nLevel, function, nLine, "[%s@%d]%s " + format, place + "[ZtkCommon] " + text);
}

}  // namespace ztk::test
