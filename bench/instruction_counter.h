// The processor's own count of instructions, for machines whose count repeats: an emulated board's does.
#pragma once

#include <cstdint>

/// Instructions of this thread outside the kernel, while it is on.
class InstructionCounter {
  public:
    /// Ends the program where the kernel has no such counter.
    InstructionCounter();
    ~InstructionCounter();
    InstructionCounter(const InstructionCounter&) = delete;
    InstructionCounter& operator=(const InstructionCounter&) = delete;

    void On() const;
    /// Returns what was counted since On(), with the few instructions of both calls.
    std::uint64_t Off() const;

  private:
    int counter_;
};
