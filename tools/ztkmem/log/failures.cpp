#include "log/failures.h"

#include <algorithm>

namespace ztkmem::log {

void SizeRange::Add(std::uint64_t nSize) {
    nLeast = nCount == 0 ? nSize : std::min(nLeast, nSize);
    nMost = std::max(nMost, nSize);
    nLast = nSize;
    ++nCount;
}

void Failures::Add(const LogLine& line, Memory enMemory, const Moment& moment) {
    auto it = std::find_if(failures_.begin(), failures_.end(), [&line, enMemory](const Failure& failure) {
        return failure.pForm == line.pForm && failure.enMemory == enMemory;
    });
    if (it == failures_.end()) {
        Failure failure;
        failure.pForm = line.pForm;
        failure.enMemory = enMemory;
        failure.first = moment;
        it = failures_.insert(it, failure);
    }
    ++it->nCount;
    it->last = moment;
    if (line.pForm->nSizeAt != kNoSize) it->sizes.Add(line.Size());
    if (line.pForm->format.substr(0, 12) == "Insufficient" && line.values.nNumbers >= 2)
        it->nLeastAvailable = std::min(it->nLeastAvailable, line.Number(line.values.nNumbers - 1));
}

Memory MemoryOfType(std::uint64_t nType) {
    if (nType == 0) return Memory::kHeap;
    return nType == 1 ? Memory::kMmz : Memory::kUntold;
}

}  // namespace ztkmem::log
