// The recording's file: made, grown by a chunk at a time, mapped.
//
// No descriptor stays open: the program's own numbers do not shift, and one that closes all it finds, or
// changes its folder, does no harm. Room on the disk is had before it is written to: a full one ends the
// recording, not the program.
#pragma once

#include <sys/types.h>

#include <climits>
#include <cstdint>

#include "recording.h"

namespace ztk_record {

struct Chunk {
    ChunkHeader header;
    union {
        Record records[kRecordsPerChunk];
        char text[kTextPerChunk];
    };
};
static_assert(sizeof(Chunk) == kChunkSize, "the file's layout");

class RecordingFile {
  public:
    /// Makes the file of this process: @p szPath, or if that is another's, with ".<pid>" behind it.
    bool Create(const char* szPath, std::uint32_t nFlags, std::uint32_t nParent);

    /// One more chunk to be filled, or null: the recording ends here.
    Chunk* Add(ChunkKind enKind);
    /// Writes a full chunk behind all others and lets it begin anew.
    bool Close(Chunk& chunk);
    static void Unmap(Chunk* pChunk);

    /// The process is at its exit. Records may follow: what runs at exit may release blocks.
    void End();

    void Raise(std::uint32_t nFlag);
    bool IsRaised(std::uint32_t nFlag) const;

  private:
    int Open() const;
    void NoteTime();
    Chunk* Extend(int hFile, ChunkKind enKind);
    bool Append(int hFile, Chunk& chunk);
    std::uint64_t EndOfChunks() const;
    void CountChunk();

    FileHeader* pHeader_ = nullptr;
    char szPath_[PATH_MAX] = "";
    dev_t nDevice_ = 0;
    ino_t nInode_ = 0;
};

}  // namespace ztk_record
