// Frames that are handed out, written, and returned.
#include <pthread.h>
#include <sched.h>

#include <array>
#include <atomic>
#include <cstring>
#include <deque>
#include <thread>
#include <vector>

#include "row.h"

namespace bench {
namespace {

using Touch = void (*)(void* pBlock, std::size_t nSize);

void TouchNothing(void*, std::size_t) {}

void TouchPages(void* pBlock, std::size_t nSize) {
    constexpr std::size_t kPage = 4096;
    auto* pBytes = static_cast<volatile char*>(pBlock);
    for (std::size_t i = 0; i < nSize; i += kPage)
        pBytes[i] = 1;
}

void TouchAll(void* pBlock, std::size_t nSize) {
    std::memset(pBlock, 1, nSize);
    asm volatile("" : : "r"(pBlock) : "memory");
}

/// About a microsecond of work that has nothing to do with the block.
void WorkBeside(void*, std::size_t) {
    volatile unsigned nSum = 0;
    for (unsigned i = 0; i < 500; ++i)
        nSum = nSum + i;
}

Touch TouchOf(const std::string& szTouch) {
    if (szTouch == "work") return WorkBeside;
    if (szTouch == "page") return TouchPages;
    return szTouch == "all" ? TouchAll : TouchNothing;
}

class PairRow : public LoopRow {
  public:
    PairRow(const RowOptions& options, Subject& subject)
        : subject_(subject), nSize_(options.nSize), touch_(TouchOf(options.szTouch)) {}

  private:
    void Run(std::uint64_t nOperations) override {
        for (std::uint64_t i = 0; i < nOperations; ++i) {
            void* pBlock = subject_.Take(nSize_);
            touch_(pBlock, nSize_);
            subject_.Return(pBlock, nSize_);
        }
    }

    Subject& subject_;
    std::size_t nSize_;
    Touch touch_;
};

// VGA RGB, 720p NV12 and RGB, 1080p NV12, RGB and RGBA, 4K NV12 and RGB.
constexpr std::array<std::size_t, 8> kFrames = {921'600,   1'382'400, 2'764'800,  3'110'400,
                                                6'220'800, 8'294'400, 12'441'600, 24'883'200};

/// Eight frames of a pipeline: all are taken and written, stage by stage, and all returned when it has
/// drained.
class RingRow : public LoopRow {
  public:
    explicit RingRow(const RowOptions& options, Subject& subject)
        : subject_(subject), touch_(TouchOf(options.szTouch)) {}

  private:
    void Run(std::uint64_t nOperations) override {
        for (std::uint64_t i = 0; i < nOperations; ++i) {
            for (std::size_t k = 0; k < kFrames.size(); ++k) {
                frames_[k] = subject_.Take(kFrames[k]);
                touch_(frames_[k], kFrames[k]);
            }
            for (std::size_t k = 0; k < kFrames.size(); ++k)
                subject_.Return(frames_[k], kFrames[k]);
        }
    }

    Subject& subject_;
    Touch touch_;
    std::array<void*, kFrames.size()> frames_{};
};

/// Keeps this thread on one of the CPUs that the process may use, in turn.
void StayOnCpu(std::size_t nThread) {
    cpu_set_t allowed;
    cpu_set_t mine;
    CPU_ZERO(&mine);
    if (sched_getaffinity(0, sizeof(allowed), &allowed) != 0) GiveUp("asking for the CPUs");
    auto nNth = nThread % static_cast<std::size_t>(CPU_COUNT(&allowed));
    for (std::size_t nCpu = 0; nCpu < CPU_SETSIZE; ++nCpu) {
        if (CPU_ISSET(nCpu, &allowed) && nNth-- == 0) CPU_SET(nCpu, &mine);
    }
    if (pthread_setaffinity_np(pthread_self(), sizeof(mine), &mine) != 0) GiveUp("choosing a CPU");
}

/// Threads with pairs on one subject, spread over the CPUs, started together. The times are the mean of all.
class ThreadsRow : public Row {
  public:
    ThreadsRow(const RowOptions& options, Subject& subject) {
        for (std::size_t i = 0; i < options.nThreads; ++i)
            rows_.emplace_back(options, subject);
    }

    Sample Measure(std::int64_t nNs) override {
        nArrived_ = 0;
        std::vector<Sample> samples(rows_.size());
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < rows_.size(); ++i)
            threads.emplace_back([this, nNs, i, &samples] { samples[i] = MeasureTogether(i, nNs); });
        for (std::thread& thread : threads)
            thread.join();
        Sample mean;
        for (const Sample& sample : samples) {
            mean.nCpuNs += sample.nCpuNs / static_cast<double>(samples.size());
            mean.nWallNs += sample.nWallNs / static_cast<double>(samples.size());
            mean.nOperations += sample.nOperations;
        }
        return mean;
    }

  private:
    Sample MeasureTogether(std::size_t nThread, std::int64_t nNs) {
        StayOnCpu(nThread);
        ++nArrived_;
        while (nArrived_ < rows_.size())
            std::this_thread::yield();
        return rows_[nThread].Measure(nNs);
    }

    std::atomic<std::size_t> nArrived_{0};
    std::deque<PairRow> rows_;
};

}  // namespace

std::unique_ptr<Row> MakeFrameRow(const RowOptions& options, Subject& subject) {
    if (options.szRow == "pair") return std::make_unique<PairRow>(options, subject);
    if (options.szRow == "ring") return std::make_unique<RingRow>(options, subject);
    if (options.szRow == "threads") return std::make_unique<ThreadsRow>(options, subject);
    return nullptr;
}

std::size_t LargestBlock(const RowOptions& options) {
    return options.szRow == "ring" ? kFrames.back() : options.nSize;
}

}  // namespace bench
