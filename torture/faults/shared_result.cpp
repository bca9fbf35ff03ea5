#include "torture/faults/shared_result.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "torture/faults/inside.h"

namespace ztk::torture {
namespace {

/// Lines of text behind each other, each ended by a null.
struct Text {
    std::atomic<std::size_t> nUsed;
    std::array<char, 65536> bytes;

    void Add(const char* szLine) {
        const std::size_t nLength = std::strlen(szLine) + 1;
        const std::size_t nAt = nUsed.fetch_add(nLength);
        if (nAt + nLength <= bytes.size()) std::memcpy(&bytes.at(nAt), szLine, nLength);
    }
    std::vector<std::string> Lines() const {
        std::vector<std::string> lines;
        const std::size_t nEnd = std::min(nUsed.load(), bytes.size());
        for (std::size_t n = 0; n < nEnd; n += lines.back().size() + 1)
            lines.emplace_back(&bytes.at(n));
        return lines;
    }
};

struct SharedResult {
    std::atomic<std::size_t> nCalls;
    std::array<RecordedCall, 8192> calls;
    Text notes;
    std::array<Text, kRoles> logs;
    std::atomic<bool> bLogKept;
    std::atomic<bool> bEnded;
    std::atomic<int> nEnder;
};

SharedResult* g_pResult = nullptr;

}  // namespace

void MakeSharedResult() {
    void* pMemory =
        mmap(nullptr, sizeof(SharedResult), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (pMemory == MAP_FAILED) std::abort();
    g_pResult = static_cast<SharedResult*>(pMemory);  // all zero: empty
}

void ClearSharedResult() {
    g_pResult->nCalls = 0;
    g_pResult->notes.nUsed = 0;
    for (Text& log : g_pResult->logs)
        log.nUsed = 0;
    g_pResult->bLogKept = false;
    g_pResult->bEnded = false;
    g_pResult->nEnder = kNobody;
}

void RecordCall(const Point& point, bool bFailed) {
    const std::size_t nAt = g_pResult->nCalls.fetch_add(1);
    if (nAt >= g_pResult->calls.size()) std::abort();  // calls left out would be faults left out
    g_pResult->calls[nAt] = {point, bFailed};
}

std::vector<RecordedCall> RecordedCalls() {
    const auto* pFirst = g_pResult->calls.data();
    return {pFirst, pFirst + std::min(g_pResult->nCalls.load(), g_pResult->calls.size())};
}

void NoteResult(const std::string& line) {
    g_pResult->notes.Add(line.c_str());
}
std::vector<std::string> ResultLines() {
    return g_pResult->notes.Lines();
}

void KeepLogLines(bool bKept) {
    g_pResult->bLogKept = bKept;
}
void NoteLogLine(int nRole, const char* szLine) {
    if (g_pResult->bLogKept) g_pResult->logs.at(static_cast<std::size_t>(nRole)).Add(szLine);
}
std::vector<std::string> LogLinesOf(int nRole) {
    return g_pResult->logs.at(static_cast<std::size_t>(nRole)).Lines();
}

void NoteEnd() {
    g_pResult->bEnded = true;
}
void NoteEnder(int nRole) {
    g_pResult->nEnder = nRole;
}
int Ender() {
    return g_pResult->nEnder;
}
bool HasEnded() {
    return g_pResult->bEnded;
}

}  // namespace ztk::torture
