#include "top_signals.h"

#include <curses.h>
#include <sys/signalfd.h>
#include <term.h>
#include <unistd.h>

#include <cstddef>

// term.h brings macros with short names
#undef lines
#undef columns

namespace ztkmem {
namespace {

// all that the handler may use: made before, only read there
std::array<char, 256> leaving;
std::size_t nLeaving = 0;
termios settings{};
bool bSettings = false;

int AddToLeaving(int nByte) {
    if (nLeaving < leaving.size()) leaving[nLeaving++] = static_cast<char>(nByte);
    return nByte;
}

void LeaveTerminal(int nSignal) {
    static_cast<void>(!write(STDOUT_FILENO, leaving.data(), nLeaving));
    if (bSettings) tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    raise(nSignal);  // its own action is back, and takes place on return
}

}  // namespace

EndingSignals::EndingSignals() {
    sigset_t wanted;
    sigemptyset(&wanted);
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM, SIGPIPE, SIGXCPU,
                              SIGXFSZ, SIGVTALRM, SIGPROF, SIGIO, SIGPWR, SIGSTKFLT})
        sigaddset(&wanted, nSignal);
    for (int nSignal = SIGRTMIN; nSignal <= SIGRTMAX; ++nSignal)
        sigaddset(&wanted, nSignal);
    sigprocmask(SIG_BLOCK, &wanted, &before_);
    file_ = Descriptor(signalfd(-1, &wanted, SFD_NONBLOCK | SFD_CLOEXEC));
}

int EndingSignals::Taken() const {
    signalfd_siginfo info{};
    const ssize_t nRead = read(file_.Get(), &info, sizeof(info));
    return nRead == static_cast<ssize_t>(sizeof(info)) ? static_cast<int>(info.ssi_signo) : 0;
}

FaultSignals::FaultSignals() {
    nLeaving = 0;
    bSettings = tcgetattr(STDIN_FILENO, &settings) == 0;
    struct sigaction action {};
    action.sa_handler = LeaveTerminal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (std::size_t i = 0; i < kFaults.size(); ++i)
        sigaction(kFaults[i], &action, &before_[i]);
}

FaultSignals::~FaultSignals() {
    for (std::size_t i = 0; i < kFaults.size(); ++i)
        sigaction(kFaults[i], &before_[i], nullptr);
}

void FaultSignals::LearnTerminal() {
    for (const char* szString : {exit_attribute_mode, keypad_local, cursor_normal, exit_ca_mode}) {
        if (szString != nullptr) tputs(szString, 1, AddToLeaving);
    }
}

}  // namespace ztkmem
