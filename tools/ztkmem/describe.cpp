#include "describe.h"

#include <fmt/format.h>

#include "text.h"

namespace ztkmem {

std::string Bytes(std::uint64_t nBytes, Units enUnits) {
    return enUnits == Units::kHuman ? HumanBytes(nBytes) : std::to_string(nBytes);
}

std::string ModeText(unsigned nMode) {
    return fmt::format("{:04o}", nMode);
}

std::string OwnerText(const Segment& segment) {
    if (segment.enKind == NameKind::kOdd) return "odd name";
    return OwnerStateText(segment.enOwner);
}

std::string UsersText(const std::vector<User>& users) {
    constexpr std::size_t kMost = 3;
    if (users.empty()) return "-";
    std::string text;
    for (std::size_t i = 0; i < users.size() && i < kMost; ++i)
        text += fmt::format("{}{}({})", i == 0 ? "" : " ", users[i].nId, users[i].command);
    if (users.size() > kMost) text += fmt::format(" +{}", users.size() - kMost);
    return text;
}

std::string WhyNothingIsProven(const Visibility& visibility) {
    if (SeesEveryProcess(visibility)) return "";
    if (!visibility.bProcIsOurs) return "/proc is missing or belongs to another pid namespace";
    if (!visibility.bNothingHidden) return "/proc hides processes from this user";
    return "this pid namespace does not see those of others (see --this-pid-namespace)";
}

}  // namespace ztkmem
