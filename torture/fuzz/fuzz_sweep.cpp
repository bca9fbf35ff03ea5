// A libFuzzer target: a directory of entries through the sweep, compared with the oracle (fed_sweep.h). An
// entry is a byte that says of what type it is and what the system answers, and a name that ends with a NUL
// or a slash.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "pool/segment_sweep.h"
#include "torture/fuzz/fed_sweep.h"

namespace {

constexpr std::size_t kLongestName = 255;

bool NextEntry(const unsigned char*& pData, const unsigned char* pEnd, ztk::torture::FedEntry& entry) {
    if (pEnd - pData < 2) return false;
    const unsigned nBits = *pData++;
    const auto* pNameEnd = std::find_if(pData, pEnd, [](unsigned char c) { return c == '\0' || c == '/'; });
    entry.name.assign(pData, pNameEnd);
    entry.name.resize(std::min(entry.name.size(), kLongestName));
    if (entry.name.empty()) entry.name = ".";
    pData = pNameEnd == pEnd ? pEnd : pNameEnd + 1;
    entry.enType = (nBits & 3U) == 0   ? ztk::torture::EntryType::kOther
                   : (nBits & 3U) == 1 ? ztk::torture::EntryType::kDirectory
                                       : ztk::torture::EntryType::kRegular;
    entry.nLstatError = (nBits & 28U) == 28 ? ENOENT : 0;
    entry.hObject = (nBits & 32U) != 0 ? -1 : 1'000'000;
    entry.bRemovable = (nBits & 64U) == 0;
    return true;
}

void Abort(const std::string& difference) {
    static_cast<void>(std::fprintf(stderr, "DIFFERENCE %s\n", difference.c_str()));
    std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t nSize) {
    if (nSize < 2) return 0;
    const unsigned char* const pEnd = pData + nSize;
    const pid_t nOwn = 1 + (pData[0] & 7);
    const std::uint64_t nSeed = pData[1];
    pData += 2;
    ztk::torture::BeginFedSweep(
        {ztk::torture::FedDirectory::kReadable, nOwn, nSeed,
         [&pData, pEnd](ztk::torture::FedEntry& entry) { return NextEntry(pData, pEnd, entry); }, Abort});
    ztk::ReleaseMemoryRes();
    ztk::torture::EndFedSweep();
    return 0;
}
