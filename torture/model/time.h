// The clock of the program, and its /dev/shm: both its own from before the pools are built.
#pragma once

#include <cstdint>

namespace ztk::torture {

constexpr std::int64_t kWakeUpSeconds = 15;

std::int64_t NowSeconds();
void AwaitReclaimers();

/// Moves the clock and lets the reclaimers that are due run.
void AdvanceClock(std::int64_t nSeconds);
/// Sets the clock, waking nobody.
void SetClockBy(std::int64_t nSeconds);

bool HasPrivateShm();

}  // namespace ztk::torture
