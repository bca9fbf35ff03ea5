#include <curses.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <term.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <string>

#include "command.h"
#include "descriptor.h"
#include "text.h"
#include "top.h"
#include "top_model.h"

// term.h brings macros with short names
#undef lines
#undef columns

namespace ztkmem {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kQuit = 'q';
constexpr short kStalePair = 1;

/// The signals that end the view arrive as bytes to read, so that the terminal can be put back first.
class EndingSignals {
  public:
    EndingSignals() {
        sigset_t wanted;
        sigemptyset(&wanted);
        for (const int nSignal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
            sigaddset(&wanted, nSignal);
        sigprocmask(SIG_BLOCK, &wanted, &before_);
        file_ = Descriptor(signalfd(-1, &wanted, SFD_NONBLOCK | SFD_CLOEXEC));
    }
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;
    ~EndingSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

    int File() const { return file_.Get(); }

    /// 0 if none has come.
    int Taken() const {
        signalfd_siginfo info{};
        const ssize_t nRead = read(file_.Get(), &info, sizeof(info));
        return nRead == static_cast<ssize_t>(sizeof(info)) ? static_cast<int>(info.ssi_signo) : 0;
    }

  private:
    sigset_t before_{};
    Descriptor file_;
};

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

    static void Draw(TopModel& model) {
        erase();
        std::array<char, 16> clock{};
        const std::time_t nNow = std::time(nullptr);
        std::tm local{};
        std::strftime(clock.data(), clock.size(), "%H:%M:%S", localtime_r(&nNow, &local));
        int nRow = 0;
        for (const TopLine& line : model.Lines(static_cast<std::size_t>(LINES), clock.data()))
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
        const std::string text(FirstCharacters(line.text, static_cast<std::size_t>(COLS)));
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
        case 's':
            return TopKey::kSort;
        case 'r':
            return TopKey::kReverse;
        default:
            return std::nullopt;
    }
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
            Screen::Draw(model_);
            const int nSignal = WaitForSomething();
            if (nSignal != 0) return nSignal;
        }
        return 0;
    }

  private:
    void Look() {
        model_.Update(TakeSurvey(directory_, Which::kPoolSegments, bVouchedFor_));
        nextLook_ = Clock::now() + std::chrono::seconds(1);
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
        for (int nKey = getch(); nKey != ERR; nKey = getch()) {
            if (nKey == kQuit) bEnd_ = true;
            if (const auto enKey = KeyOf(nKey)) model_.Press(*enKey);
        }
    }

    const EndingSignals& signals_;
    bool bVouchedFor_;
    ShmDirectory directory_;
    TopModel model_;
    Clock::time_point nextLook_ = Clock::now();
    bool bEnd_ = false;
};

int ShowUntilEnd(bool bVouchedFor) {
    const EndingSignals signals;
    View view(signals, bVouchedFor);
    const Screen screen;
    return view.Show();
}

}  // namespace

int RunTop(bool bVouchedFor) {
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
        throw std::runtime_error("top: needs a terminal (ztkmem ls shows the same, once)");
    std::setlocale(LC_CTYPE, "");
    const int nSignal = ShowUntilEnd(bVouchedFor);
    if (nSignal == 0) return kExitFine;
    // whoever started us shall see what ended us
    signal(nSignal, SIG_DFL);
    raise(nSignal);
    return kExitError;
}

}  // namespace ztkmem
