// What the tests of ztk-record and its commands share.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/program_test.h"
#include "ztk-record/recording.h"

namespace ztkmem::test {

class RecordTest : public ProgramTest {
  protected:
    std::string File() const { return Folder() + "/t.rec"; }

    /// ztk-record with the options, on the program of this folder doing @p what.
    Outcome Record(const std::vector<std::string>& what, const std::vector<std::string>& options = {}) const;
};

/// A recording in memory, to be written as a file. Its clock ticks in nanoseconds.
class MadeUpRecording {
  public:
    MadeUpRecording();

    ztk_record::FileHeader& Header() { return header_; }
    /// Of an open chunk, unless it is said to be closed.
    ztk_record::ChunkHeader& AddChunk(const std::vector<ztk_record::Record>& records);
    void AddText(const std::string& text);
    std::string Bytes() const;
    void WriteTo(const std::string& file) const;

  private:
    struct Chunk {
        ztk_record::ChunkHeader header{};
        std::string content;
    };

    ztk_record::FileHeader header_{};
    std::vector<Chunk> chunks_;
};

ztk_record::Record Allocation(std::uint64_t nAt, std::uint64_t nAddress, std::uint64_t nSize,
                              bool bNew = true);
ztk_record::Record Released(std::uint64_t nAt, std::uint64_t nAddress);

}  // namespace ztkmem::test
