#include <curses.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "command.h"
#include "text.h"
#include "top.h"
#include "top_dialog.h"
#include "top_model.h"
#include "top_signals.h"

namespace ztkmem {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kQuit = 'q';
constexpr int kDelete = 127;
constexpr short kStalePair = 1;

/// The terminal in full-screen mode; its destructor puts it back, on every way out.
class Screen {
  public:
    Screen() : pScreen_(newterm(nullptr, stdout, stdin)) {
        if (pScreen_ == nullptr) throw std::runtime_error("top: the terminal's type (TERM) is unknown");
        set_term(pScreen_);
        cbreak();
        noecho();
        nonl();
        keypad(stdscr, TRUE);
        nodelay(stdscr, TRUE);
        set_escdelay(kEscapeMilliseconds);
        curs_set(0);
        if (has_colors()) {
            start_color();
            use_default_colors();
            init_pair(kStalePair, COLOR_RED, -1);
        }
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;
    ~Screen() {
        endwin();
        delscreen(pScreen_);
    }

    static int Height() { return LINES; }

    static void Draw(const std::vector<TopLine>& lines) {
        erase();
        int nRow = 0;
        for (const TopLine& line : lines)
            DrawLine(nRow++, line);
        refresh();
    }

  private:
    static constexpr int kEscapeMilliseconds = 25;

    static attr_t StyleOf(const TopLine& line) {
        if (line.bSelected) return A_REVERSE;
        switch (line.enStyle) {
            case TopStyle::kTitle:
                return A_UNDERLINE;
            case TopStyle::kProcess:
                return A_BOLD;
            case TopStyle::kStale:
                return has_colors() ? static_cast<attr_t>(COLOR_PAIR(kStalePair)) : A_DIM;
            case TopStyle::kPlain:
                break;
        }
        return A_NORMAL;
    }

    static void DrawLine(int nRow, const TopLine& line) {
        const std::string shown = ForTerminal(line.text);
        const std::string text(FirstColumns(shown, static_cast<std::size_t>(COLS)));
        attrset(static_cast<int>(StyleOf(line)));
        mvaddstr(nRow, 0, text.c_str());
        attrset(A_NORMAL);
    }

    SCREEN* pScreen_;
};

std::optional<TopKey> KeyOf(int nKey) {
    switch (nKey) {
        case KEY_UP:
            return TopKey::kUp;
        case KEY_DOWN:
            return TopKey::kDown;
        case KEY_PPAGE:
            return TopKey::kPageUp;
        case KEY_NPAGE:
            return TopKey::kPageDown;
        case KEY_HOME:
            return TopKey::kHome;
        case KEY_END:
            return TopKey::kEnd;
        case '>':
            return TopKey::kNextSort;
        case '<':
            return TopKey::kPreviousSort;
        case 'M':
            return TopKey::kSortByResident;
        case 'N':
            return TopKey::kSortByPid;
        case 'R':
            return TopKey::kReverse;
        default:
            return std::nullopt;
    }
}

/// As the question for a delay names the key.
int KeyToQuestion(int nKey) {
    switch (nKey) {
        case KEY_ENTER:
        case '\n':
            return DelayQuestion::kEnter;
        case KEY_BACKSPACE:
        case kDelete:
            return DelayQuestion::kBackspace;
        default:
            return nKey;
    }
}

std::string TimeOfDay() {
    std::array<char, 16> clock{};
    const std::time_t nNow = std::time(nullptr);
    std::tm local{};
    std::strftime(clock.data(), clock.size(), "%H:%M:%S", localtime_r(&nNow, &local));
    return clock.data();
}

int MillisecondsUntil(Clock::time_point when) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(when - Clock::now()).count();
    return left < 0 ? 0 : static_cast<int>(left) + 1;
}

class View {
  public:
    View(const EndingSignals& signals, bool bVouchedFor) : signals_(signals), bVouchedFor_(bVouchedFor) {}

    /// Until the user ends it; returns the signal that did, or 0.
    int Show() {
        while (!bEnd_) {
            if (Clock::now() >= nextLook_) Look();
            Screen::Draw(Lines());
            const int nSignal = WaitForSomething();
            if (nSignal != 0) return nSignal;
        }
        return 0;
    }

  private:
    void Look() {
        model_.Update(TakeSurvey(directory_, Which::kPoolSegments, bVouchedFor_));
        nextLook_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(delay_);
    }

    std::vector<TopLine> Lines() {
        const auto nHeight = static_cast<std::size_t>(Screen::Height());
        std::vector<TopLine> lines;
        if (bHelp_) {
            for (std::string& text : TopHelp(delay_.count()))
                lines.push_back({std::move(text), TopStyle::kPlain, false});
            lines.resize(std::min(lines.size(), nHeight));
            return lines;
        }
        lines = model_.Lines(nHeight, TimeOfDay());
        if (question_.IsOpen() && !lines.empty())
            lines[lines.size() > 1 ? 1 : 0] = {question_.Line(delay_.count()), TopStyle::kProcess, false};
        return lines;
    }

    /// A key, a signal, a resized window, or the time for the next look.
    int WaitForSomething() {
        std::array<pollfd, 2> files{{{STDIN_FILENO, POLLIN, 0}, {signals_.File(), POLLIN, 0}}};
        const int nReady = poll(files.data(), files.size(), MillisecondsUntil(nextLook_));
        if (nReady < 0 && errno != EINTR) throw std::runtime_error("top: cannot wait for keys");
        if (const int nSignal = signals_.Taken()) return nSignal;
        TakeKeys();
        const auto nGone = static_cast<short>(POLLHUP | POLLERR | POLLNVAL);
        if (nReady > 0 && (files[0].revents & nGone) != 0) bEnd_ = true;
        return 0;
    }

    void TakeKeys() {
        for (int nKey = getch(); nKey != ERR && !bEnd_; nKey = getch()) {
            if (nKey == KEY_RESIZE) continue;
            if (question_.IsOpen()) {
                TakeAnswer(nKey);
            } else if (bHelp_) {
                bHelp_ = false;
            } else {
                TakeCommand(nKey);
            }
        }
    }

    void TakeAnswer(int nKey) {
        const auto delay = question_.Press(KeyToQuestion(nKey));
        if (!delay) return;
        delay_ = std::chrono::duration<double>(*delay);
        nextLook_ = Clock::now();
    }

    void TakeCommand(int nKey) {
        if (const auto enKey = KeyOf(nKey)) return model_.Press(*enKey);
        switch (nKey) {
            case kQuit:
                bEnd_ = true;
                break;
            case 'h':
            case '?':
                bHelp_ = true;
                break;
            case 'd':
            case 's':
                question_.Open();
                break;
            case ' ':
                nextLook_ = Clock::now();
                break;
            default:
                break;
        }
    }

    const EndingSignals& signals_;
    bool bVouchedFor_;
    ShmDirectory directory_;
    TopModel model_;
    DelayQuestion question_;
    std::chrono::duration<double> delay_{1};
    bool bHelp_ = false;
    Clock::time_point nextLook_ = Clock::now();
    bool bEnd_ = false;
};

int ShowUntilEnd(bool bVouchedFor) {
    const EndingSignals signals;
    View view(signals, bVouchedFor);
    const FaultSignals faults;
    const Screen screen;
    FaultSignals::LearnTerminal();
    return view.Show();
}

}  // namespace

int RunTop(bool bVouchedFor) {
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
        throw std::runtime_error("top: needs a terminal (ztkmem ls shows the same, once)");
    const int nSignal = ShowUntilEnd(bVouchedFor);
    if (nSignal == 0) return kExitFine;
    // whoever started us shall see what ended us
    signal(nSignal, SIG_DFL);
    raise(nSignal);
    return kExitError;
}

}  // namespace ztkmem
