// What a program of these parts is told and what it counts: how many runs, how many differences, for how
// long.
#pragma once

#include <chrono>
#include <cstdint>
#include <random>

namespace ztk::torture {

class Run {
  public:
    /// Reads --count N, --seconds N and --seed S: at least so many runs, and on for at least so long. Without
    /// either, @p nDefaultCount runs. Wrong arguments end the program.
    Run(const char* szPart, int nCount, char** ppArguments, std::uint64_t nDefaultCount);
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    /// True while there is more to do.
    bool GoesOn() const { return GoesOnAfter(nRuns_); }
    /// The same for one who counts runs apart. May be asked by several threads at once.
    bool GoesOnAfter(std::uint64_t nRuns) const;
    void CountRun(std::uint64_t nRuns = 1) { nRuns_ += nRuns; }
    std::uint64_t Runs() const { return nRuns_; }

    /// Reports what must not be; the text is a printf() format.
    [[gnu::format(printf, 2, 3)]] void Differs(const char* szFormat, ...);
    /// Differs() unless @p bTrue.
    [[gnu::format(printf, 3, 4)]] void Expect(bool bTrue, const char* szFormat, ...);
    /// Adds what another process of this run has counted and reported itself.
    void AddDifferences(std::uint64_t nDifferences) { nDifferences_ += nDifferences; }
    std::uint64_t Differences() const { return nDifferences_; }

    std::uint64_t Seed() const { return nSeed_; }
    std::mt19937_64& Random() { return random_; }
    /// A number from @p nFirst to @p nLast.
    std::uint64_t Pick(std::uint64_t nFirst, std::uint64_t nLast) {
        return std::uniform_int_distribution<std::uint64_t>(nFirst, nLast)(random_);
    }

    /// Prints the last line. Returns the program's exit status.
    int Finish() const;

  private:
    using Clock = std::chrono::steady_clock;

    const char* const szPart_;
    const Clock::time_point started_ = Clock::now();
    std::uint64_t nCount_ = 0;
    std::uint64_t nSeconds_ = 0;
    std::uint64_t nSeed_ = 1;
    std::uint64_t nRuns_ = 0;
    std::uint64_t nDifferences_ = 0;
    std::mt19937_64 random_;
};

}  // namespace ztk::torture
