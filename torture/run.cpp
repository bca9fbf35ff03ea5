#include "torture/run.h"

#include <getopt.h>

#include <array>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "torture/report.h"

namespace ztk::torture {
namespace {

[[noreturn]] void EndWithUsage(const char* szProgram) {
    static_cast<void>(std::fprintf(stderr, "usage: %s [--count N] [--seconds N] [--seed S]\n", szProgram));
    std::exit(2);
}

std::uint64_t NumberIn(const char* szText, const char* szProgram) {
    std::uint64_t nNumber = 0;
    const char* const pEnd = szText + std::strlen(szText);
    const std::from_chars_result read = std::from_chars(szText, pEnd, nNumber);
    if (read.ec != std::errc() || read.ptr != pEnd) EndWithUsage(szProgram);
    return nNumber;
}

/// In one write, so that lines of several processes do not mix.
[[gnu::format(printf, 1, 0)]] void PrintDifference(const char* szFormat, std::va_list args) {
    std::array<char, 1024> text{};
    static_cast<void>(std::vsnprintf(text.data(), text.size(), szFormat, args));
    std::printf("DIFFERENCE %s\n", text.data());
    static_cast<void>(std::fflush(stdout));
}

}  // namespace

Run::Run(const char* szPart, int nCount, char** ppArguments, std::uint64_t nDefaultCount) : szPart_(szPart) {
    static const option kOptions[] = {{"count", required_argument, nullptr, 'c'},
                                      {"seconds", required_argument, nullptr, 't'},
                                      {"seed", required_argument, nullptr, 's'},
                                      {nullptr, 0, nullptr, 0}};
    int nOption = 0;
    while ((nOption = getopt_long(nCount, ppArguments, "", kOptions, nullptr)) != -1) {
        if (nOption == '?') EndWithUsage(ppArguments[0]);
        const std::uint64_t nNumber = NumberIn(optarg, ppArguments[0]);
        if (nOption == 'c') nCount_ = nNumber;
        if (nOption == 't') nSeconds_ = nNumber;
        if (nOption == 's') nSeed_ = nNumber;
    }
    if (optind != nCount) EndWithUsage(ppArguments[0]);
    if (nCount_ == 0 && nSeconds_ == 0) nCount_ = nDefaultCount;
    random_.seed(nSeed_);
}

bool Run::GoesOnAfter(std::uint64_t nRuns) const {
    return nRuns < nCount_ || Clock::now() - started_ < std::chrono::seconds(nSeconds_);
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks a printf() format
void Run::Differs(const char* szFormat, ...) {
    std::va_list args;
    va_start(args, szFormat);
    PrintDifference(szFormat, args);
    va_end(args);
    ++nDifferences_;
}

// NOLINTNEXTLINE(cert-dcl50-cpp): as above
void Run::Expect(bool bTrue, const char* szFormat, ...) {
    if (bTrue) return;
    std::va_list args;
    va_start(args, szFormat);
    PrintDifference(szFormat, args);
    va_end(args);
    ++nDifferences_;
}

int Run::Finish() const {
    return Report(szPart_, nRuns_, nDifferences_, nSeed_);
}

}  // namespace ztk::torture
