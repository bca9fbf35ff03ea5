#include "tools/tmux_session.h"

#include <chrono>
#include <thread>
#include <utility>

#include "tools/program.h"

namespace ztkmem::test {

TmuxSession::TmuxSession(std::string folder) : socket_(std::move(folder) + "/tmux") {
    // the shell's prompt tells when a program has ended, and how
    Tmux({"new-session", "-d", "-x", "140", "-y", "12",
          "env -i PATH=\"$PATH\" TERM=screen LC_ALL=C.UTF-8 PS1='[$?]ready> ' bash --norc --noprofile"});
    AwaitText("[0]ready>");
}

TmuxSession::~TmuxSession() {
    Tmux({"kill-server"});
}

std::string TmuxSession::Tmux(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"tmux", "-f", "/dev/null", "-S", socket_});
    return RunProgram(arguments).out;
}

void TmuxSession::Press(const std::string& key) const {
    Tmux({"send-keys", key});
}

void TmuxSession::Type(const std::string& text) const {
    Tmux({"send-keys", "-l", text});
}

void TmuxSession::Resize(int nColumns, int nRows) const {
    Tmux({"resize-window", "-x", std::to_string(nColumns), "-y", std::to_string(nRows)});
}

std::string TmuxSession::Screen() const {
    return Tmux({"capture-pane", "-p"});
}

std::string TmuxSession::Await(const std::function<bool(const std::string&)>& holds) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::string screen = Screen();
    std::string before;
    // One that is half drawn already holds something: it must be the same a moment later.
    while ((!holds(screen) || screen != before) && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(holds(screen) ? 50 : 0));
        before = std::exchange(screen, Screen());
    }
    return screen;
}

std::string TmuxSession::AwaitText(const std::string& text) const {
    return Await([&text](const std::string& screen) { return screen.find(text) != std::string::npos; });
}

}  // namespace ztkmem::test
