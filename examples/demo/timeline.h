// Reads how much memory the pools owned, and how much of it was in use, out of a log at trace level.
//
// From the library's lines: every block taken from the system or returned to it, with address and size, and
// the result line of each request, which tells whether a new heap or MMZ block is which. From the demo's
// marks: when an address was handed out and given back, which the library does not log.
#pragma once

#include <array>
#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace demo {

enum class MemoryKind : std::size_t { kHeap, kMmz, kShared };
constexpr std::size_t kMemoryKinds = 3;

struct KindBytes {
    std::uint64_t nOwned = 0;
    std::uint64_t nInUse = 0;
};

struct Sample {
    double dSeconds = 0;  ///< since the first sample
    std::array<KindBytes, kMemoryKinds> bytes;
};

struct Phase {
    double dSeconds = 0;
    std::string name;
};

struct KindCounts {
    std::size_t nRequests = 0;    ///< heap, MMZ: successful result lines; shared: marks
    std::size_t nFromSystem = 0;  ///< lines about a new block
    std::size_t nToSystem = 0;    ///< lines about a block that went back
};

class Timeline {
  public:
    explicit Timeline(std::istream& log);

    const std::vector<Sample>& Samples() const { return samples_; }
    const std::vector<Phase>& Phases() const { return phases_; }
    const KindCounts& CountsOf(MemoryKind enKind) const { return counts_[static_cast<std::size_t>(enKind)]; }

  private:
    struct Owned {
        MemoryKind enKind;
        std::uint64_t nSize;
        bool bInUse = false;
    };

    void ReadLine(const std::string& line);
    void ReadMessage(std::string_view message);
    void NewBlock(std::uint64_t nAddress, const Owned& block);
    void BlockReturned(std::uint64_t nAddress);
    void SetInUse(std::uint64_t nAddress, bool bInUse);
    void RequestDone(MemoryKind enKind);
    void AddSample();
    KindBytes& BytesOf(MemoryKind enKind) { return now_.bytes[static_cast<std::size_t>(enKind)]; }
    KindCounts& Counts(MemoryKind enKind) { return counts_[static_cast<std::size_t>(enKind)]; }

    double dSecondOfDay_ = 0;
    double dStart_ = 0;
    Sample now_;
    std::vector<Sample> samples_;
    std::vector<Phase> phases_;
    std::map<std::uint64_t, Owned> owned_;
    std::array<KindCounts, kMemoryKinds> counts_;
    // A new heap or MMZ block, until the request's result line tells of which kind it is.
    std::uint64_t nPendingAddress_ = 0;
    std::uint64_t nPendingSize_ = 0;
};

}  // namespace demo
