// A recording of ztk-record, read as a stream in the order of its times. Touches the file alone.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ztk-record/recording.h"

namespace ztkmem::record {

using ztk_record::Operation;

struct Event {
    Operation enOperation{};
    std::uint64_t nAt = 0;        ///< nanoseconds since the start: of a release its begin, else the end
    std::uint64_t nDuration = 0;  ///< nanoseconds in the call
    std::uint64_t nAddress = 0;
    std::uint64_t nSize = 0;
    std::uint32_t nStatus = 0;
    std::uint32_t nSite = 0;
    std::uint32_t nThread = 0;
    std::int32_t nAlign = 0;
    std::int32_t enMemType = 0;
    bool bNew = false;
    bool bRetried = false;
    bool bNoOutput = false;

    bool IsAllocation() const { return enOperation <= Operation::kAllocateShared; }
    bool IsRelease() const {
        return enOperation == Operation::kRelease || enOperation == Operation::kReleaseShared;
    }
    bool IsCall() const { return IsAllocation() || IsRelease(); }
    bool IsShared() const {
        return enOperation == Operation::kAllocateShared || enOperation == Operation::kReleaseShared ||
               enOperation == Operation::kGiveBackShared;
    }
    std::uint64_t Begin() const { return IsRelease() || nAt < nDuration ? nAt : nAt - nDuration; }
};

struct Facts {
    std::string program;
    std::uint32_t nProcess = 0;
    std::uint32_t nParent = 0;
    std::uint64_t nStartEpochNs = 0;
    std::uint64_t nRecords = 0;
    std::uint32_t nFlags = 0;

    bool Has(std::uint32_t nFlag) const { return (nFlags & nFlag) != 0; }
};

class RecordingReader {
  public:
    /// Throws std::runtime_error, with one line, for what is no recording or not a whole one.
    explicit RecordingReader(const std::string& file);
    ~RecordingReader();
    RecordingReader(const RecordingReader&) = delete;
    RecordingReader& operator=(const RecordingReader&) = delete;

    const Facts& About() const { return facts_; }
    /// The lines that tell what sites are.
    const std::vector<std::string>& Lines() const { return lines_; }

    /// Memory stays bounded by the number of threads, some 4 KiB each. @p take must not throw away what it
    /// wants: the event is gone afterwards.
    void ForEach(const std::function<void(const Event&)>& take) const;

  private:
    struct Chunk {
        std::uint64_t nFirst = 0;  ///< ticks
        std::uint32_t nNumber = 0;
        std::uint32_t nCount = 0;
    };
    class Cursor;

    [[noreturn]] void Refuse(const std::string& what) const;
    void Read(void* pBuffer, std::size_t nBytes, std::uint64_t nOffset) const;
    void ReadHeader();
    void ReadChunks();
    void ReadText(std::uint32_t nNumber, std::uint32_t nCount);
    static std::uint64_t OffsetOf(std::uint32_t nNumber);
    Event EventOf(const ztk_record::Record& record) const;
    std::uint64_t NsOf(std::uint64_t nTicks) const;

    const std::string file_;
    int hFile_;
    ztk_record::FileHeader header_{};
    double nsPerTick_ = 1;
    Facts facts_;
    std::vector<std::string> lines_;
    std::vector<Chunk> chunks_;  ///< of records, by their first time
};

}  // namespace ztkmem::record
