// The background thread of a pool: it wakes every 15 s and, every fourth time, checks the pool's idle total
// and dumps its lists. It knows nothing of blocks.
#pragma once

#include <cstdint>
#include <functional>

#include "pevents/pevents.h"
#include "platform/threads.h"

namespace ztk {

/// Says of every fourth tick that it is one.
class FourthTick {
  public:
    bool operator()() {
        nTicks_ = (nTicks_ + 1) % 4;
        return nTicks_ == 0;
    }

  private:
    int nTicks_ = 0;
};

class Reclaimer {
  public:
    /// The numbers in the log lines of one pool's reclaimer.
    struct Lines {
        int nEventFailed;
        int nThreadFailed;
        int nJoinFailed;
    };

    static constexpr std::uint64_t kWakeUpPeriodMs = 15'000;

    explicit Reclaimer(const Lines& lines) : lines_(lines) {}

    /// Creates the exit event and starts a thread that runs @p routine with @p pPool; the routine is to call
    /// Run(). Logs what fails and returns false.
    bool Start(ThreadRoutine routine, void* pPool);

    /// The thread's work; returns when the exit event is set. @p checkLimit runs on every fourth wake-up,
    /// @p dump on every fourth at which the log level admits information lines.
    void Run(const std::function<void()>& checkLimit, const std::function<void()>& dump) const;

    /// Sets the exit event, joins the thread and destroys the event, as far as they exist.
    void Stop();

    /// For a forked child, which has no such thread.
    void ForgetInChild();

  private:
    const Lines lines_;
    neosmart::neosmart_event_t hExitEvent_ = nullptr;
    std::uint64_t hThread_ = 0;
    neosmart::neosmart_event_t hParentsEvent_ = nullptr;  ///< left by ForgetInChild()
};

}  // namespace ztk
