#include "log_texts.h"

#include <algorithm>
#include <cstdio>
#include <regex>

#include "fakes/fake_log.h"
#include "log_catalogue.h"

namespace ztk::test {
namespace {

bool IsOfMappingLayer(const LogLine& line) {
    return line.function == "CreateMapping_Linux" || line.function == "MapView_Linux";
}

std::string WithoutRandomDigits(const std::string& text) {
    static const std::regex name("(ZTKTool-[0-9]+-)[0-9a-f]{32}");
    return std::regex_replace(text, name, "$1*");
}

bool StartsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

}  // namespace

std::string Plain(int nLevel, const std::string& function, int nLine, const std::string& text) {
    return std::to_string(nLevel) + " [" + function + "@" + std::to_string(nLine) + "]" + text;
}

std::string Tagged(int nLevel, const std::string& function, int nLine, const std::string& text) {
    return Plain(nLevel, function, nLine, "[ZtkCommon] " + text);
}

std::string Hex(std::uint64_t nValue) {
    char szText[32];
    std::snprintf(szText, sizeof(szText), "0x%lx", nValue);
    return szText;
}

void ClearLog() {
    ExpectInCatalogue(FakeLog::Lines());
    FakeLog::Clear();
}

Lines Log() {
    Lines lines;
    for (const LogLine& line : FakeLog::Lines()) {
        if (!IsOfMappingLayer(line))
            lines.push_back(std::to_string(line.nLevel) + " " + WithoutRandomDigits(line.text));
    }
    return lines;
}

Lines TakeLog() {
    Lines lines = Log();
    ClearLog();
    return lines;
}

Lines Of(const std::vector<std::string>& functions, const Lines& lines) {
    Lines kept;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(kept), [&](const std::string& line) {
        return std::any_of(functions.begin(), functions.end(), [&](const std::string& function) {
            return StartsWith(line.substr(2), "[" + function + "@");
        });
    });
    return kept;
}

}  // namespace ztk::test
