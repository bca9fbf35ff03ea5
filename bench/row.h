// A row of the tables for one subject: set up once, measured many times.
#pragma once

#include <time.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "subject.h"

namespace bench {

struct Sample {
    double nCpuNs = 0;   ///< thread CPU time per operation
    double nWallNs = 0;  ///< and by the wall clock
    std::uint64_t nOperations = 0;
};

struct RowOptions {
    std::string szRow;
    std::string szTouch = "none";  ///< none, page (one byte of each), all, or work beside it
    std::size_t nSize = 4096;
    std::size_t nLive = 1;
    std::size_t nThreads = 2;  ///< of the row "threads"
    bool bMixed = false;
};

/// Nanoseconds of CPU time of this thread, and of the wall clock, summed over sections.
class Stopwatch {
  public:
    void Start() {
        nWall_ -= Now(CLOCK_MONOTONIC);
        nCpu_ -= Now(CLOCK_THREAD_CPUTIME_ID);
    }
    void Stop() {
        nCpu_ += Now(CLOCK_THREAD_CPUTIME_ID);
        nWall_ += Now(CLOCK_MONOTONIC);
        ++nSections_;
    }
    std::int64_t Cpu() const { return nCpu_; }
    std::int64_t Wall() const { return nWall_; }

    /// The time per operation, less what the reading of the clocks itself adds to a section.
    Sample PerOperation(std::uint64_t nOperations) const;

    static std::int64_t Now(clockid_t clock) {
        timespec now{};
        clock_gettime(clock, &now);
        return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
    }

  private:
    std::int64_t nCpu_ = 0;
    std::int64_t nWall_ = 0;
    std::int64_t nSections_ = 0;
};

class Row {
  public:
    Row() = default;
    Row(const Row&) = delete;
    Row& operator=(const Row&) = delete;
    virtual ~Row() = default;

    /// Measures for about @p nNs nanoseconds.
    virtual Sample Measure(std::int64_t nNs) = 0;
};

/// A row whose operations are timed as one uninterrupted run.
class LoopRow : public Row {
  public:
    Sample Measure(std::int64_t nNs) override;

  private:
    virtual void Run(std::uint64_t nOperations) = 0;
    double Estimate();
    double nPerOperation_ = 0;  ///< what one took when last measured
};

/// A row that has to prepare, untimed, between the sections that are timed.
class SectionRow : public Row {
  public:
    Sample Measure(std::int64_t nNs) override;

  private:
    /// Prepares, and runs one timed section. Returns its number of operations.
    virtual std::uint64_t RunSection(Stopwatch& stopwatch) = 0;
};

/// Each returns null for a row it does not know.
std::unique_ptr<Row> MakeFrameRow(const RowOptions& options, Subject& subject);
std::unique_ptr<Row> MakeLiveRow(const RowOptions& options, Subject& subject);

/// The largest block that any row takes.
std::size_t LargestBlock(const RowOptions& options);

}  // namespace bench
