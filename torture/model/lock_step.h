// The library and the model, side by side: every step is done by both, and everything the library answers,
// writes and leaves is compared with what the model says.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "torture/model/model_pool.h"

namespace ztk::torture {

/// The library did something else than the model.
class Difference : public std::runtime_error {
    using runtime_error::runtime_error;
};

constexpr std::uint64_t kUntouched = 0xDEAD;  ///< in outputs that are not to be written
constexpr std::uint64_t kMmzCapacity = std::uint64_t{256} << 20U;

enum class Shortage {
    kNone,
    kOnce,    ///< the first attempt of the next request fails
    kTwice,   ///< both do
    kRecord,  ///< the pool's own record of the next block cannot be had
};

class LockStep {
  public:
    LockStep();

    // ---- requests; each answers with the address, 0 if it failed
    std::uint64_t Allocate(std::uint64_t nSize, std::int32_t nAlign, std::int32_t enMemType,
                           bool bPlainExport, Shortage shortage = Shortage::kNone);
    std::uint64_t AllocateShared(std::uint64_t nSize, std::int32_t nAlign,
                                 Shortage shortage = Shortage::kNone);
    void Release(std::uint64_t nAddress);
    void ReleaseShared(std::uint64_t nAddress);
    void RefuseNulls();
    void AskForMemory() const;
    void UseSettings(std::int32_t nNum);

    // ---- the world around
    void SetAvailable(std::uint64_t nBytes);
    std::uint64_t Available() const { return nAvailable_; }
    void SetLevel(int nLevel);

    /// Time passes; the reclaimers wake when they are due.
    void Advance(std::int64_t nSeconds);
    /// Somebody sets the clock.
    void StepClock(std::int64_t nSeconds);
    /// Seconds until a pool's reclaimer wakes; 0 or less when it is overdue.
    std::int64_t UntilWakeUp(bool bShared) const;

    /// What is in /dev/shm, and of descriptors and MMZ blocks, is what the model's blocks need.
    void CompareBelongings();

    const ModelPool& Local() const { return local_; }
    const ModelPool& Shared() const { return shared_; }

  private:
    struct Attempt {
        bool bSucceeds;
        LogText lines;
    };
    struct Answer {
        std::uint32_t nStatus;
        std::uint64_t nAddress;
        std::uint64_t nHandle;
        std::string name;
        bool bNoRecord;  ///< the pool could not have its own record
    };
    struct Request {
        std::uint64_t nSize;
        std::int32_t nAlign;
        std::int32_t enMemType;
    };

    Answer CallLocal(const Request& request, bool bPlainExport, Shortage shortage);
    Answer CallShared(const Request& request, Shortage shortage);
    std::uint64_t Follow(ModelPool& pool, const Request& request, const Answer& answer, Shortage shortage,
                         const LogText& wrote, LogText& lines);
    void FollowReuse(ModelPool& pool, const std::vector<ModelBlock*>& fitting, const Answer& answer);
    void FollowNew(ModelPool& pool, const Request& request, const Answer& answer, LogText& lines);

    Attempt TryLocal(const Request& request, bool bFails) const;
    Attempt TryHeap(const Request& request, bool bFails) const;
    Attempt TryMmz(const Request& request) const;
    Attempt TryShared(const Request& request, const Answer& answer, bool bFails) const;

    void CheckNewLocal(const Request& request, const Answer& answer) const;
    void CheckNewShared(const Request& request, const Answer& answer) const;
    void CheckApart(const ModelBlock& block, bool bShared) const;
    void WriteTag(ModelBlock& block, bool bShared);
    static void CheckTag(const ModelBlock& block, bool bShared);
    void WakeDue(const LogText& wroteLocal, const LogText& wroteShared, LogText& local, LogText& shared);

    ModelPool local_{false};
    ModelPool shared_{true};
    std::uint64_t nAvailable_ = 0;
    std::int64_t nNow_ = 0;
    std::int64_t nLocalWakesAt_ = 0;
    std::int64_t nSharedWakesAt_ = 0;
    std::int32_t nNodeNumber_ = 1;
    std::uint64_t nLastTag_ = 0;
    std::size_t nDescriptors_ = 0;
};

}  // namespace ztk::torture
