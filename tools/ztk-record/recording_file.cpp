#include "recording_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ticks.h"

namespace ztk_record {
namespace {

int MakeNew(const char* szPath) {
    return open(szPath, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0644);
}

/// A program that becomes another one keeps its id: its file is there already.
int MakeUnderSomeName(const char* szPath, char (&szMade)[PATH_MAX]) {
    constexpr int kMostNames = 1000;
    const int nProcess = static_cast<int>(getpid());
    std::snprintf(szMade, sizeof(szMade), "%s", szPath);
    int hFile = MakeNew(szMade);
    for (int i = 1; hFile < 0 && errno == EEXIST && i < kMostNames; ++i) {
        if (i == 1) {
            std::snprintf(szMade, sizeof(szMade), "%s.%d", szPath, nProcess);
        } else {
            std::snprintf(szMade, sizeof(szMade), "%s.%d.%d", szPath, nProcess, i);
        }
        hFile = MakeNew(szMade);
    }
    return hFile;
}

/// Beyond the limit of file sizes waits a signal that ends programs.
bool IsBelowLimit(std::uint64_t nEnd) {
    struct rlimit limit {};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && nEnd <= limit.rlim_cur;
}

bool Grow(int hFile, std::uint64_t nOffset, std::uint64_t nBytes) {
    errno = EFBIG;
    if (IsBelowLimit(nOffset + nBytes))
        errno = posix_fallocate(hFile, static_cast<off_t>(nOffset), static_cast<off_t>(nBytes));
    return errno == 0;
}

void* Map(int hFile, std::uint64_t nOffset, std::size_t nBytes) {
    // written to soon: its pages are had at once
    void* pView = mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, hFile,
                       static_cast<off_t>(nOffset));
    return pView == MAP_FAILED ? nullptr : pView;
}

/// On x86 nothing tells how fast the counter runs. A millisecond makes it known to a ten-thousandth.
std::uint64_t MeasureTicksPerSecond() {
#if defined(__aarch64__)
    std::uint64_t nFrequency = 0;
    asm volatile("mrs %0, cntfrq_el0" : "=r"(nFrequency));
    return nFrequency;
#else
    constexpr std::uint64_t kBase = 1'000'000;
    const std::uint64_t nStartNs = NowNs();
    const std::uint64_t nStart = NowTicks();
    std::uint64_t nPassed = 0;
    do {
        nPassed = NowNs() - nStartNs;
    } while (nPassed < kBase);
    return (NowTicks() - nStart) * kNsPerSecond / nPassed;
#endif
}

void Introduce(FileHeader& header, std::uint32_t nFlags, std::uint32_t nParent) {
    header.nHeaderSize = kHeaderSize;
    header.nChunkSize = kChunkSize;
    header.nRecordSize = sizeof(Record);
    header.nFlags = nFlags;
    header.nProcess = static_cast<std::uint32_t>(getpid());
    header.nParent = nParent;
    header.nTicksPerSecond = MeasureTicksPerSecond();
    header.nStartTicks = NowTicks();
    header.nStartNs = NowNs();
    header.nStartEpochNs = NowNs(CLOCK_REALTIME);
    header.nLateTicks = header.nStartTicks;
    header.nLateNs = header.nStartNs;
    const ssize_t nRead = readlink("/proc/self/exe", header.szProgram, sizeof(header.szProgram) - 1);
    if (nRead < 0) header.szProgram[0] = '\0';
    std::memcpy(header.magic, kMagic, sizeof(kMagic));
}

}  // namespace

bool RecordingFile::Create(const char* szPath, std::uint32_t nFlags, std::uint32_t nParent) {
    const int hFile = MakeUnderSomeName(szPath, szPath_);
    if (hFile < 0) return false;
    struct stat facts {};
    const bool bReady = Grow(hFile, 0, kHeaderSize) && fstat(hFile, &facts) == 0;
    pHeader_ = bReady ? static_cast<FileHeader*>(Map(hFile, 0, kHeaderSize)) : nullptr;
    close(hFile);
    if (pHeader_ == nullptr) {
        const int nError = errno;
        unlink(szPath_);  // of no use to anybody
        errno = nError;
        return false;
    }
    nDevice_ = facts.st_dev;
    nInode_ = facts.st_ino;
    Introduce(*pHeader_, nFlags, nParent);
    return true;
}

/// The same file still, whatever happened to its name.
int RecordingFile::Open() const {
    const int hFile = open(szPath_, O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    struct stat facts {};
    if (hFile >= 0 && (fstat(hFile, &facts) != 0 || facts.st_dev != nDevice_ || facts.st_ino != nInode_)) {
        close(hFile);
        return -1;
    }
    return hFile;
}

Chunk* RecordingFile::Add(ChunkKind enKind) {
    if (pHeader_ == nullptr || IsRaised(kStopped)) return nullptr;
    const int nError = errno;  // the program's
    const int hFile = Open();
    Chunk* pChunk = hFile < 0 ? nullptr : Extend(hFile, enKind);
    if (hFile >= 0) close(hFile);
    if (pChunk == nullptr) Raise(kStopped);
    errno = nError;
    return pChunk;
}

bool RecordingFile::Close(Chunk& chunk) {
    if (IsRaised(kStopped)) return false;
    const int nError = errno;
    const int hFile = Open();
    const bool bWritten = hFile >= 0 && Append(hFile, chunk);
    if (hFile >= 0) close(hFile);
    if (!bWritten) Raise(kStopped);
    errno = nError;
    return bWritten;
}

Chunk* RecordingFile::Extend(int hFile, ChunkKind enKind) {
    const std::uint64_t nOffset = EndOfChunks();
    if (!Grow(hFile, nOffset, kChunkSize)) return nullptr;
    auto* pChunk = static_cast<Chunk*>(Map(hFile, nOffset, kChunkSize));
    if (pChunk == nullptr) return nullptr;
    pChunk->header.enKind = enKind;
    pChunk->header.nPlace = pHeader_->nChunks;
    CountChunk();
    return pChunk;
}

/// A write that meets the end of the disk, or of the process, leaves the chunk where it is and uncounted
/// here.
bool RecordingFile::Append(int hFile, Chunk& chunk) {
    const std::uint64_t nOffset = EndOfChunks();
    if (!IsBelowLimit(nOffset + kChunkSize)) return false;
    chunk.header.enKind = ChunkKind::kClosed;
    const ssize_t nWritten = pwrite(hFile, &chunk, kChunkSize, static_cast<off_t>(nOffset));
    chunk.header.enKind = ChunkKind::kOpen;
    if (nWritten != kChunkSize) return false;
    CountChunk();
    __atomic_store_n(&chunk.header.nCount, 0, __ATOMIC_RELEASE);
    __atomic_store_n(&chunk.header.nFilling, chunk.header.nFilling + 1, __ATOMIC_RELEASE);
    return true;
}

std::uint64_t RecordingFile::EndOfChunks() const {
    return kHeaderSize + std::uint64_t{pHeader_->nChunks} * kChunkSize;
}

void RecordingFile::CountChunk() {
    NoteTime();
    __atomic_store_n(&pHeader_->nChunks, pHeader_->nChunks + 1, __ATOMIC_RELEASE);
}

void RecordingFile::Unmap(Chunk* pChunk) {
    munmap(pChunk, kChunkSize);
}

void RecordingFile::Raise(std::uint32_t nFlag) {
    if (pHeader_ != nullptr) __atomic_fetch_or(&pHeader_->nFlags, nFlag, __ATOMIC_RELAXED);
}

void RecordingFile::End() {
    if (pHeader_ == nullptr) return;
    NoteTime();
    Raise(kEnded);
}

void RecordingFile::NoteTime() {
    pHeader_->nLateNs = NowNs();
    pHeader_->nLateTicks = NowTicks();
}

bool RecordingFile::IsRaised(std::uint32_t nFlag) const {
    return pHeader_ != nullptr && (__atomic_load_n(&pHeader_->nFlags, __ATOMIC_RELAXED) & nFlag) != 0;
}

}  // namespace ztk_record
