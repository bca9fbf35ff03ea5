// What the live view shows besides its rows: the help, and the question for another delay. No terminal.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ztkmem {

/// Seconds of "0.5", "2", "90"; no value for what is no delay between 0.1 s and an hour.
std::optional<double> ParseDelay(std::string_view text);

/// The lines of the help screen.
std::vector<std::string> TopHelp(double delay);

/// Takes keys while it is open.
class DelayQuestion {
  public:
    static constexpr int kEnter = '\r';
    static constexpr int kBackspace = '\b';
    static constexpr int kEscape = 27;

    void Open();
    bool IsOpen() const { return bOpen_; }

    /// "Change delay from 1.0 to 2.5_", or what was wrong with the answer.
    std::string Line(double delay) const;

    /// The new delay, if this key completes one. Escape, or Enter without an answer, leaves the old one.
    std::optional<double> Press(int nKey);

  private:
    std::optional<double> Answer();

    std::string typed_;
    bool bOpen_ = false;
    bool bWrong_ = false;
};

}  // namespace ztkmem
