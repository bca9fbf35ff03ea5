#include "torture/model/comparison.h"

#include <algorithm>

namespace ztk::torture {
namespace {

std::string Joined(const LogText& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += "\n    " + line;
    std::replace(text.begin(), text.end(), kDigits, '*');
    return lines.empty() ? "\n    (none)" : text;
}

}  // namespace

void CompareLines(const std::string& what, const LogText& expected, const LogText& wrote) {
    const bool bSame = expected.size() == wrote.size() &&
                       std::equal(expected.begin(), expected.end(), wrote.begin(), Matches);
    if (!bSame) throw Difference(what + ": expected lines" + Joined(expected) + "\n  found" + Joined(wrote));
}

}  // namespace ztk::torture
