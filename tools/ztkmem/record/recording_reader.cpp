#include "record/recording_reader.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <queue>
#include <set>
#include <stdexcept>
#include <utility>

#include "record/recording_progress.h"
#include "text.h"

namespace ztkmem::record {

using ztk_record::ChunkHeader;
using ztk_record::ChunkKind;
using ztk_record::Record;

RecordingReader::RecordingReader(const std::string& file)
    : file_(file), hFile_(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {
    if (hFile_ < 0) Refuse(std::strerror(errno));
    try {
        ReadHeader();
        ReadChunks();
    } catch (...) {
        close(hFile_);
        throw;
    }
}

RecordingReader::~RecordingReader() {
    close(hFile_);
}

void RecordingReader::Refuse(const std::string& what) const {
    throw std::runtime_error(fmt::format("{}: {}", Escape(file_), what));
}

void RecordingReader::Read(void* pBuffer, std::size_t nBytes, std::uint64_t nOffset) const {
    auto* pTo = static_cast<char*>(pBuffer);
    while (nBytes > 0) {
        const ssize_t nRead = pread(hFile_, pTo, nBytes, static_cast<off_t>(nOffset));
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead < 0) Refuse(std::strerror(errno));
        if (nRead == 0) Refuse("the recording is cut short");
        pTo += nRead;
        nBytes -= static_cast<std::size_t>(nRead);
        nOffset += static_cast<std::uint64_t>(nRead);
    }
}

void RecordingReader::ReadHeader() {
    struct stat status {};
    if (fstat(hFile_, &status) != 0) Refuse(std::strerror(errno));
    if (!S_ISREG(status.st_mode)) Refuse("not a file");
    const auto nSize = static_cast<std::uint64_t>(status.st_size);
    if (nSize < sizeof(header_)) Refuse("not a recording of ztk-record");
    Read(&header_, sizeof(header_), 0);
    if (std::memcmp(header_.magic, ztk_record::kMagic, 6) != 0) Refuse("not a recording of ztk-record");
    if (std::memcmp(header_.magic, ztk_record::kMagic, sizeof(header_.magic)) != 0 ||
        header_.nHeaderSize != ztk_record::kHeaderSize || header_.nChunkSize != ztk_record::kChunkSize ||
        header_.nRecordSize != sizeof(Record)) {
        Refuse("a recording of another version of ztk-record");
    }
    if (header_.nTicksPerSecond == 0) Refuse("the recording is damaged: no clock");
    if (nSize < OffsetOf(header_.nChunks)) Refuse("the recording is cut short");

    nsPerTick_ = 1e9 / static_cast<double>(header_.nTicksPerSecond);
    constexpr std::uint64_t kLongBase = 100'000'000;
    if (header_.nLateNs > header_.nStartNs + kLongBase && header_.nLateTicks > header_.nStartTicks)
        nsPerTick_ = static_cast<double>(header_.nLateNs - header_.nStartNs) /
                     static_cast<double>(header_.nLateTicks - header_.nStartTicks);
    facts_.program.assign(header_.szProgram, strnlen(header_.szProgram, sizeof(header_.szProgram)));
    facts_.nProcess = header_.nProcess;
    facts_.nParent = header_.nParent;
    facts_.nStartEpochNs = header_.nStartEpochNs;
    facts_.nFlags = header_.nFlags;
}

std::uint64_t RecordingReader::OffsetOf(std::uint32_t nNumber) {
    return ztk_record::kHeaderSize + std::uint64_t{nNumber} * ztk_record::kChunkSize;
}

void RecordingReader::ReadChunks() {
    std::set<std::pair<std::uint32_t, std::uint32_t>> closed;  // the last of each open chunk
    std::vector<std::pair<Chunk, ChunkHeader>> open;
    for (std::uint32_t nNumber = 0; nNumber < header_.nChunks; ++nNumber) {
        struct {
            ChunkHeader header;
            Record first;
        } start{};
        Read(&start, sizeof(start), OffsetOf(nNumber));
        const ChunkKind enKind = start.header.enKind;
        const bool bText = enKind == ChunkKind::kText;
        const bool bKnown = bText || enKind == ChunkKind::kOpen || enKind == ChunkKind::kClosed;
        const std::size_t nMost = bText ? ztk_record::kTextPerChunk : ztk_record::kRecordsPerChunk;
        if (!bKnown || start.header.nCount > nMost)
            Refuse(fmt::format("the recording is damaged: chunk {}", nNumber));
        if (bText) {
            ReadText(nNumber, start.header.nCount);
            continue;
        }
        const Chunk chunk{start.first.nTicks, nNumber, start.header.nCount};
        if (enKind == ChunkKind::kOpen) {
            open.emplace_back(chunk, start.header);
        } else {
            closed.emplace(start.header.nPlace, start.header.nFilling);
            if (chunk.nCount != 0) chunks_.push_back(chunk);
        }
    }
    for (const auto& [chunk, header] : open) {
        // killed between writing the copy and beginning anew
        if (chunk.nCount != 0 && closed.count({header.nPlace, header.nFilling}) == 0)
            chunks_.push_back(chunk);
    }
    for (const Chunk& chunk : chunks_)
        facts_.nRecords += chunk.nCount;
    std::sort(chunks_.begin(), chunks_.end(),
              [](const Chunk& one, const Chunk& other) { return one.nFirst < other.nFirst; });
}

void RecordingReader::ReadText(std::uint32_t nNumber, std::uint32_t nCount) {
    std::string text(nCount, '\0');
    Read(text.data(), text.size(), OffsetOf(nNumber) + sizeof(ChunkHeader));
    for (std::size_t nAt = 0; nAt < text.size();) {
        const std::size_t nEnd = text.find('\n', nAt);
        if (nEnd == std::string::npos) Refuse(fmt::format("the recording is damaged: chunk {}", nNumber));
        lines_.push_back(text.substr(nAt, nEnd - nAt));
        nAt = nEnd + 1;
    }
}

/// A place in a chunk.
class RecordingReader::Cursor {
  public:
    Cursor(const RecordingReader& reader, const Chunk& chunk) : reader_(reader), chunk_(chunk) { Fill(); }

    const Record& Current() const { return records_[nAt_]; }
    /// False at the end.
    bool Advance() {
        ++nAt_;
        ++nTaken_;
        if (nTaken_ == chunk_.nCount) return false;
        if (nAt_ == nHeld_) Fill();
        return true;
    }

  private:
    void Fill() {
        nHeld_ = std::min<std::size_t>(records_.size(), chunk_.nCount - nTaken_);
        reader_.Read(records_.data(), nHeld_ * sizeof(Record),
                     OffsetOf(chunk_.nNumber) + sizeof(ChunkHeader) + nTaken_ * sizeof(Record));
        nAt_ = 0;
    }

    const RecordingReader& reader_;
    const Chunk chunk_;
    std::array<Record, 85> records_{};
    std::size_t nHeld_ = 0;
    std::size_t nAt_ = 0;
    std::size_t nTaken_ = 0;
};

void RecordingReader::ForEach(const std::function<void(const Event&)>& take) const {
    using Open = std::unique_ptr<Cursor>;
    const auto later = [](const Open& one, const Open& other) {
        return one->Current().nTicks > other->Current().nTicks;
    };
    std::vector<Open> heap;  // its front is the cursor with the earliest record
    RecordingProgress progress(facts_.nRecords);
    auto next = chunks_.begin();
    while (next != chunks_.end() || !heap.empty()) {
        while (next != chunks_.end() && (heap.empty() || next->nFirst <= heap.front()->Current().nTicks)) {
            heap.push_back(std::make_unique<Cursor>(*this, *next++));
            std::push_heap(heap.begin(), heap.end(), later);
        }
        take(EventOf(heap.front()->Current()));
        progress.Count();
        std::pop_heap(heap.begin(), heap.end(), later);
        if (heap.back()->Advance()) {
            std::push_heap(heap.begin(), heap.end(), later);
        } else {
            heap.pop_back();
        }
    }
}

std::uint64_t RecordingReader::NsOf(std::uint64_t nTicks) const {
    return static_cast<std::uint64_t>(static_cast<double>(nTicks) * nsPerTick_);
}

Event RecordingReader::EventOf(const Record& record) const {
    if (record.enOperation < Operation::kAllocate || record.enOperation > Operation::kUnload)
        Refuse("the recording is damaged: a record of no known kind");
    Event event;
    event.enOperation = record.enOperation;
    event.nAt = record.nTicks > header_.nStartTicks ? NsOf(record.nTicks - header_.nStartTicks) : 0;
    event.nDuration = NsOf(record.nDuration);
    event.nAddress = record.nAddress;
    event.nSize = record.nSize;
    event.nStatus = ztk_record::UnpackStatus(record.nStatus);
    event.nSite = record.nSite;
    event.nThread = record.nThread;
    event.nAlign = record.nAlign;
    event.enMemType = record.enMemType;
    event.bNew = (record.nFlags & ztk_record::kNewBlock) != 0;
    event.bRetried = (record.nFlags & ztk_record::kRetried) != 0;
    event.bNoOutput = (record.nFlags & ztk_record::kNoOutput) != 0;
    return event;
}

}  // namespace ztkmem::record
