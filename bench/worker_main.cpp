// Runs one row with one subject, and prints a line of JSON for every measurement: one, or with --serve one
// for every line (the milliseconds to measure) that comes in. So run-bench can let its workers take turns.
//
// With the stand-ins of the desk ZTK_LOG_LEVEL=5 keeps the lines of intended failures out of the figures.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "row.h"

namespace bench {
namespace {

constexpr std::int64_t kNsPerMs = 1'000'000;

/// What an empty section is measured as.
Sample EmptySection() {
    Sample sample;
    std::vector<std::int64_t> cpu, wall;
    for (int i = 0; i < 1001; ++i) {
        Stopwatch stopwatch;
        stopwatch.Start();
        stopwatch.Stop();
        cpu.push_back(stopwatch.Cpu());
        wall.push_back(stopwatch.Wall());
    }
    std::sort(cpu.begin(), cpu.end());
    std::sort(wall.begin(), wall.end());
    sample.nCpuNs = static_cast<double>(cpu[cpu.size() / 2]);
    sample.nWallNs = static_cast<double>(wall[wall.size() / 2]);
    return sample;
}

std::unique_ptr<Subject> MakeSubject(const std::string& szName, std::size_t nLargest) {
    auto pSubject = MakeHeapSubject(szName, nLargest);
    if (pSubject == nullptr) pSubject = MakeSharedSubject(szName);
    if (pSubject == nullptr) pSubject = MakeBoostSubject(szName, nLargest);
    return pSubject;
}

void Print(const Sample& sample) {
    std::printf(R"({"ns": %.3f, "wall_ns": %.3f, "operations": %llu})"
                "\n",
                sample.nCpuNs, sample.nWallNs, static_cast<unsigned long long>(sample.nOperations));
    std::fflush(stdout);
}

void Serve(Row& row) {
    std::puts(R"({"ready": true})");
    std::fflush(stdout);
    double nMs = 0;
    while (std::cin >> nMs)
        Print(row.Measure(static_cast<std::int64_t>(nMs * kNsPerMs)));
}

}  // namespace

void GiveUp(const char* szWhat) {
    std::fprintf(stderr, "ztk_bench_worker: %s failed\n", szWhat);
    std::exit(1);
}

Sample Stopwatch::PerOperation(std::uint64_t nOperations) const {
    static const Sample empty = EmptySection();
    const auto nSections = static_cast<double>(nSections_);
    const auto perOperation = [&](std::int64_t nTotal, double nEmpty) {
        return std::max(0.0, static_cast<double>(nTotal) - nSections * nEmpty) /
               static_cast<double>(nOperations);
    };
    return {perOperation(nCpu_, empty.nCpuNs), perOperation(nWall_, empty.nWallNs), nOperations};
}

double LoopRow::Estimate() {
    Run(1);  // the first makes what the others find
    constexpr std::int64_t kLongEnough = 200'000;
    for (std::uint64_t nOperations = 1;; nOperations *= 4) {
        Stopwatch stopwatch;
        stopwatch.Start();
        Run(nOperations);
        stopwatch.Stop();
        if (stopwatch.Cpu() > kLongEnough) return stopwatch.PerOperation(nOperations).nCpuNs;
    }
}

Sample LoopRow::Measure(std::int64_t nNs) {
    if (nPerOperation_ == 0) nPerOperation_ = Estimate();
    const double nFit = std::min(1e9, static_cast<double>(nNs) / std::max(nPerOperation_, 1.0));
    const auto nOperations = static_cast<std::uint64_t>(std::max(1.0, nFit));
    Run(nOperations / 4 + 1);  // another process has had the caches
    Stopwatch stopwatch;
    stopwatch.Start();
    Run(nOperations);
    stopwatch.Stop();
    const Sample sample = stopwatch.PerOperation(nOperations);
    nPerOperation_ = sample.nCpuNs;
    return sample;
}

Sample SectionRow::Measure(std::int64_t nNs) {
    constexpr std::int64_t kMostOverTime = 4;  // preparing may take far longer than what is timed
    const std::int64_t nStarted = Stopwatch::Now(CLOCK_MONOTONIC);
    Stopwatch stopwatch;
    std::uint64_t nOperations = 0;
    do {
        nOperations += RunSection(stopwatch);
    } while (stopwatch.Cpu() < nNs && Stopwatch::Now(CLOCK_MONOTONIC) - nStarted < kMostOverTime * nNs);
    return stopwatch.PerOperation(nOperations);
}

}  // namespace bench

int main(int argc, char** argv) try {
    bench::RowOptions options;
    std::string szSubject = "pool";
    double nMs = 20;
    bool bServe = false;
    CLI::App app{"Measures one row with one subject"};
    app.add_option("--row", options.szRow,
                   "pair, ring, threads, live-pair, live-any, release, new, give-back, segment, segment-life")
        ->required();
    app.add_option("--subject", szSubject,
                   "pool, malloc, pmr, floor-lock, floor-memory, shm-pool, shm-fresh, memfd, boost");
    app.add_option("--touch", options.szTouch)->check(CLI::IsMember({"none", "page", "all", "work"}));
    app.add_option("--size", options.nSize);
    app.add_option("--live", options.nLive);
    app.add_option("--threads", options.nThreads, "of the row threads")->check(CLI::Range(1, 64));
    app.add_flag("--mixed", options.bMixed, "sizes from --size up to 2 KiB more");
    app.add_option("--ms", nMs, "how long to measure");
    app.add_flag("--serve", bServe, "measure once for every number of milliseconds on standard input");
    CLI11_PARSE(app, argc, argv);

    const auto pSubject = bench::MakeSubject(szSubject, bench::LargestBlock(options));
    if (pSubject == nullptr) return 3;  // not known here, or not built in
    auto pRow = bench::MakeFrameRow(options, *pSubject);
    if (pRow == nullptr) pRow = bench::MakeLiveRow(options, *pSubject);
    if (pRow == nullptr) bench::GiveUp("finding the row");
    if (bServe) {
        bench::Serve(*pRow);
    } else {
        bench::Print(pRow->Measure(static_cast<std::int64_t>(nMs * bench::kNsPerMs)));
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "ztk_bench_worker: %s\n", error.what());
    return 1;
}
