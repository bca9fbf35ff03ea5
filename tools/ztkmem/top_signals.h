// What ends the live view from outside, and the terminal that must be as before whatever does.
#pragma once

#include <signal.h>
#include <termios.h>

#include <array>

#include "descriptor.h"

namespace ztkmem {

/// The signals that end a process arrive as bytes to read, so that the terminal can be put back first.
class EndingSignals {
  public:
    EndingSignals();
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;
    ~EndingSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

    int File() const { return file_.Get(); }

    /// 0 if none has come.
    int Taken() const;

  private:
    sigset_t before_{};
    Descriptor file_;
};

/// Faults cannot wait to be read: a handler puts the terminal back on the spot. One at a time, made before
/// the screen, as it keeps the settings of that moment.
class FaultSignals {
  public:
    FaultSignals();
    FaultSignals(const FaultSignals&) = delete;
    FaultSignals& operator=(const FaultSignals&) = delete;
    ~FaultSignals();

    /// Once the screen knows the terminal: what leaves it again.
    static void LearnTerminal();

  private:
    static constexpr std::array<int, 7> kFaults{SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS};

    std::array<struct sigaction, kFaults.size()> before_{};
};

}  // namespace ztkmem
