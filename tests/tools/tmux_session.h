// A terminal that a test can type into and look at.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace ztkmem::test {

class TmuxSession {
  public:
    /// A terminal of 140 x 12 characters with a plain shell in it; @p folder is for its socket.
    explicit TmuxSession(std::string folder);
    TmuxSession(const TmuxSession&) = delete;
    TmuxSession& operator=(const TmuxSession&) = delete;
    ~TmuxSession();

    /// As tmux names keys: "q", "Up", "C-c", "Enter".
    void Press(const std::string& key) const;
    void Type(const std::string& text) const;
    void Resize(int nColumns, int nRows) const;

    std::string Screen() const;

    /// Looks again and again until @p holds says yes of a screen that stays, for half a minute at most; the
    /// last screen.
    std::string Await(const std::function<bool(const std::string&)>& holds) const;
    std::string AwaitText(const std::string& text) const;

  private:
    std::string Tmux(std::vector<std::string> arguments) const;

    std::string socket_;
};

}  // namespace ztkmem::test
