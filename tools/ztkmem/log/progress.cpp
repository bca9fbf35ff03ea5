#include "log/progress.h"

#include <fmt/format.h>

#include <algorithm>

#include "text.h"

namespace ztkmem::log {

std::optional<std::string> Progress::At(double seconds, std::uint64_t nRead) {
    if (seconds < next_) return std::nullopt;
    next_ = seconds + (bTerminal_ ? 1 : 10);
    bShown_ = true;
    std::string text = "ztkmem log: read " + HumanBytes(nRead);
    if (nTotal_ != 0)
        text += fmt::format(" of {} ({}%)", HumanBytes(nTotal_),
                            std::min(100, static_cast<int>(100.0 * static_cast<double>(nRead) /
                                                           static_cast<double>(nTotal_))));
    return bTerminal_ ? '\r' + text + "\033[K" : text + '\n';
}

std::string Progress::End() const {
    return bTerminal_ && bShown_ ? "\r\033[K" : "";
}

}  // namespace ztkmem::log
