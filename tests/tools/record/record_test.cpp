#include "tools/record/record_test.h"

#include <cstring>
#include <fstream>

namespace ztkmem::test {

using ztk_record::ChunkKind;
using ztk_record::Operation;

Outcome RecordTest::Record(const std::vector<std::string>& what,
                           const std::vector<std::string>& options) const {
    std::vector<std::string> command{ZTK_RECORD, "-o", File()};
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(), {"--", ZTK_RECORDED});
    command.insert(command.end(), what.begin(), what.end());
    return RunProgram(command);
}

MadeUpRecording::MadeUpRecording() {
    std::memcpy(header_.magic, ztk_record::kMagic, sizeof(header_.magic));
    header_.nHeaderSize = ztk_record::kHeaderSize;
    header_.nChunkSize = ztk_record::kChunkSize;
    header_.nRecordSize = sizeof(ztk_record::Record);
    header_.nFlags = ztk_record::kSawLog | ztk_record::kEnded;
    header_.nProcess = 42;
    header_.nTicksPerSecond = 1'000'000'000;
    std::strcpy(header_.szProgram, "/made/up");
}

ztk_record::ChunkHeader& MadeUpRecording::AddChunk(const std::vector<ztk_record::Record>& records) {
    Chunk chunk;
    chunk.header.enKind = ChunkKind::kOpen;
    chunk.header.nCount = static_cast<std::uint32_t>(records.size());
    chunk.header.nPlace = header_.nChunks++;
    chunk.content.assign(reinterpret_cast<const char*>(records.data()), records.size() * sizeof(records[0]));
    chunks_.push_back(chunk);
    return chunks_.back().header;
}

void MadeUpRecording::AddText(const std::string& text) {
    Chunk chunk;
    chunk.header.enKind = ChunkKind::kText;
    chunk.header.nCount = static_cast<std::uint32_t>(text.size());
    chunk.content = text;
    chunks_.push_back(chunk);
    ++header_.nChunks;
}

std::string MadeUpRecording::Bytes() const {
    std::string bytes(reinterpret_cast<const char*>(&header_), sizeof(header_));
    bytes.resize(ztk_record::kHeaderSize);
    for (const Chunk& chunk : chunks_) {
        std::string part(reinterpret_cast<const char*>(&chunk.header), sizeof(chunk.header));
        part += chunk.content;
        part.resize(ztk_record::kChunkSize);
        bytes += part;
    }
    return bytes;
}

void MadeUpRecording::WriteTo(const std::string& file) const {
    std::ofstream(file, std::ios::binary) << Bytes();
}

ztk_record::Record Allocation(std::uint64_t nAt, std::uint64_t nAddress, std::uint64_t nSize, bool bNew) {
    ztk_record::Record record{};
    record.nTicks = nAt;
    record.nAddress = nAddress;
    record.nSize = nSize;
    record.nThread = 1;
    record.enOperation = Operation::kAllocate;
    record.nFlags = bNew ? ztk_record::kNewBlock : 0;
    return record;
}

ztk_record::Record Released(std::uint64_t nAt, std::uint64_t nAddress) {
    ztk_record::Record record{};
    record.nTicks = nAt;
    record.nAddress = nAddress;
    record.nThread = 1;
    record.enOperation = Operation::kRelease;
    return record;
}

}  // namespace ztkmem::test
