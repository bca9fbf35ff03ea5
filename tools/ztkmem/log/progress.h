// What is told while a long log is read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ztkmem::log {

/// On a terminal every second, one text over the other; else a line every ten. Nothing in the first second.
class Progress {
  public:
    /// @p nTotal is 0 if nobody knows how much there will be.
    Progress(bool bTerminal, std::uint64_t nTotal) : bTerminal_(bTerminal), nTotal_(nTotal) {}

    /// What is to be printed now, @p seconds after the start.
    std::optional<std::string> At(double seconds, std::uint64_t nRead);

    /// What takes the last text away again.
    std::string End() const;

  private:
    const bool bTerminal_;
    const std::uint64_t nTotal_;
    double next_ = 1;
    bool bShown_ = false;
};

}  // namespace ztkmem::log
