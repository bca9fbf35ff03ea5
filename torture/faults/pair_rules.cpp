#include "torture/faults/pair_rules.h"

#include <algorithm>
#include <iterator>
#include <regex>
#include <set>

namespace ztk::torture {
namespace {

constexpr char kLeft[] = "left:";

bool StartsWith(const std::string& line, const std::string& start) {
    return line.compare(0, start.size(), start) == 0;
}

int CountFaults(const std::vector<Fault>& faults, const std::set<Call>& calls) {
    return static_cast<int>(std::count_if(
        faults.begin(), faults.end(), [&calls](const Fault& f) { return calls.count(f.point.call) > 0; }));
}

std::string LeftOf(const Outcome& outcome) {
    const auto it = std::find_if(outcome.lines.begin(), outcome.lines.end(),
                                 [](const std::string& line) { return StartsWith(line, kLeft); });
    return it == outcome.lines.end() ? "" : *it;
}

/// The number behind a word of the line "left: descriptors +1, views +2, ...".
int NumberOf(const std::string& left, const std::string& what) {
    const std::size_t nAt = left.find(what + ' ');
    return nAt == std::string::npos ? 0 : std::stoi(left.substr(nAt + what.size() + 1));
}

/// Segments that the library made: those that the sweep found have zeros for digits.
int SegmentsIn(const std::string& left) {
    static const auto* pSegment = new std::regex(R"(\+ZTKTool-[0-9]+-(?!0{32})[0-9a-f]{32})");
    return static_cast<int>(std::distance(std::sregex_iterator(left.begin(), left.end(), *pSegment), {}));
}

/// A failing call of a mutex or condition ends the program, and a lock that says it is this thread's already
/// is waited for without end.
bool EndIsExplained(const std::string& end, const std::vector<Fault>& faults) {
    if (StartsWith(end, "end: pevents:")) {
        return CountFaults(faults,
                           {Call::kMutexInit, Call::kMutexLock, Call::kMutexUnlock, Call::kMutexDestroy,
                            Call::kCondInit, Call::kCondBroadcast, Call::kCondDestroy}) > 0;
    }
    return end == "end: waits for itself for ever" &&
           CountFaults(faults, {Call::kRwWrlock, Call::kRwRdlock}) > 0;
}

bool IsStatusOf(const std::string& line) {
    static const auto* pStatuses = new std::set<std::string>{
        "load = 0",
        "unload = 0",
        "allocate = 0",
        "allocate = 0x80100009 untouched",
        "free = 0",
        "free = 0x80100006",
        "allocate shared = 0",
        "allocate shared = 0x80100009 untouched",
        "free shared = 0",
        "free shared = 0x80100006",
        "node number = 0x40",
        "fixed answers = 0",
    };
    return pStatuses->count(line) > 0 || StartsWith(line, "available = 0 ");
}

void CompareLeft(const Outcome& clean, const Outcome& outcome, const std::vector<Fault>& faults,
                 std::vector<std::string>& wrong) {
    const std::string before = LeftOf(clean);
    const std::string left = LeftOf(outcome);
    const int nUnlinks = CountFaults(faults, {Call::kShmUnlink});
    // an entry that cannot be inspected keeps the directory open
    const int nDescriptors = nUnlinks + CountFaults(faults, {Call::kLstat});
    const auto compare = [&](const std::string& what, int nAllowed) {
        const int nMore = NumberOf(left, what) - NumberOf(before, what);
        if (nMore > nAllowed) wrong.push_back(what + " left: " + std::to_string(nMore));
    };
    compare("descriptors", nDescriptors);
    compare("views", CountFaults(faults, {Call::kMunmap}));
    compare("MMZ blocks", CountFaults(faults, {Call::kMmzFree, Call::kMmzHandle}));
    compare("threads", 0);
    if (SegmentsIn(left) - SegmentsIn(before) > nUnlinks) wrong.push_back("segments left: " + left);
}

int CountStarts(const Outcome& outcome, const std::string& start) {
    return static_cast<int>(
        std::count_if(outcome.lines.begin(), outcome.lines.end(),
                      [&start](const std::string& line) { return StartsWith(line, start); }));
}

/// What was granted is taken back: a release is refused only for what a refused request did not give.
void CompareReleases(const Outcome& clean, const Outcome& outcome, std::vector<std::string>& wrong) {
    for (const std::string pool : {"", " shared"}) {
        const auto countMore = [&](const std::string& status) {
            return CountStarts(outcome, status) - CountStarts(clean, status);
        };
        const int nNotGranted = countMore("allocate" + pool + " = 0x80100009");
        const int nNotTaken = countMore("free" + pool + " = 0x80100006");
        if (nNotTaken > std::max(0, nNotGranted))
            wrong.push_back("releases" + pool + " refused: " + std::to_string(nNotTaken) +
                            ", requests refused: " + std::to_string(nNotGranted));
    }
}

/// A fork in the middle of a call, as it looks when the lock says that it is this thread's, leaves the child
/// a pool that refuses everything and gives nothing back.
bool IsForkInACall(const std::vector<Fault>& faults, const std::string& scenario) {
    return scenario == "fork" && std::any_of(faults.begin(), faults.end(), [](const Fault& fault) {
               return fault.point.call == Call::kRwWrlock && fault.point.nOccurrence <= 2;
           });
}

bool IsExplained(const std::string& line, const std::string& scenario, const std::vector<Fault>& faults) {
    if (StartsWith(line, "now:") || StartsWith(line, kLeft) || IsStatusOf(line)) return true;
    if (StartsWith(line, "UNUSABLE")) return IsForkInACall(faults, scenario);
    if (StartsWith(line,
                   "left on the heap:")) {  // an entry that cannot be inspected keeps the directory's stream
        return IsForkInACall(faults, scenario) ||
               (line == "left on the heap: 1" && CountFaults(faults, {Call::kLstat}) > 0);
    }
    // the mask could not be set back
    return line == "WRONG: the caller's signal mask has changed" && CountFaults(faults, {Call::kSigmask}) > 0;
}

}  // namespace

std::vector<std::string> Violations(const std::string& scenario, const Outcome& clean, const Outcome& outcome,
                                    const std::vector<Fault>& faults) {
    std::vector<std::string> wrong;
    bool bEnded = false;
    for (const std::string& line : outcome.lines) {
        if (StartsWith(line, "log")) continue;
        if (StartsWith(line, "end:")) {
            bEnded = true;
            if (!EndIsExplained(line, faults)) wrong.push_back(line);
        } else if (!IsExplained(line, scenario, faults)) {
            wrong.push_back(line);
        }
    }
    if (!bEnded) CompareLeft(clean, outcome, faults, wrong);
    if (!IsForkInACall(faults, scenario)) CompareReleases(clean, outcome, wrong);
    return wrong;
}

}  // namespace ztk::torture
