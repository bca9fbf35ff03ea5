// Writes logs as processes with the library would, at times of the test's choice.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>

namespace ztkmem::log::test {

class LogWriter {
  public:
    /// What stands in front of each message; "{time}" and "{thread}" are filled in.
    enum class Prefix { kDateAndThread, kTimeOfDay, kTimeAndProcess, kSeconds, kNone };

    explicit LogWriter(Prefix enPrefix = Prefix::kDateAndThread) : enPrefix_(enPrefix) {}

    const std::string& Text() const { return text_; }
    void Pass(double seconds) { seconds_ += seconds; }
    /// The thread, or the process, that writes from here on.
    void By(int nWriter) { nThread_ = nWriter; }

    void Line(const std::string& message) { text_ += Front() + message + '\n'; }
    void Start(bool bShared = false) {
        Line(bShared
                 ? "[FreeUnbusySharedMemoryThread@25][ZtkCommon] Free unbusy shared memory thread, tid=140"
                 : "[FreeUnbusyMemoryThread@17][ZtkCommon] Free unbusy memory thread, tid=139");
    }
    void Begin() { Line("[AllocatePoolMemory@72][ZtkCommon] AllocatePoolMemory()"); }
    void End(std::uint64_t nSize, int enMemType, unsigned nStatus = 0) {
        Line(fmt::format(
            "[AllocatePoolMemory@74][ZtkCommon] Allocate memory return {:#x}, nSize = {}, enMemType={}",
            nStatus, nSize, enMemType));
    }
    void Allocated(std::uint64_t nAddress, std::uint64_t nSize, bool bShared = false) {
        Line(fmt::format("[AllocateMemory@{}][ZtkCommon] Allocate {} memory addr={:#x}, size={}",
                         bShared ? 180 : 160, bShared ? "shared" : "system", nAddress, nSize));
    }
    void Freed(std::uint64_t nAddress, std::uint64_t nSize, bool bShared = false) {
        Line(fmt::format("[FreeUnbusyMemory@{}][ZtkCommon] Free {} memory addr={:#x}, size={}",
                         bShared ? 372 : 373, bShared ? "shared" : "system", nAddress, nSize));
    }
    void Limit(std::uint64_t nRedundant, bool bShared = false) {
        Line(fmt::format(
            "[DoFreeUnbusyMemoryWork@{}][ZtkCommon] Current redundant memory size: {} bytes, allow limit "
            "size: 314572800 bytes",
            bShared ? 321 : 318, nRedundant));
    }
    void HeapTotal(std::uint64_t nBlocks, std::uint64_t nBytes) {
        Line(fmt::format(
            "[DumpMemoryInfo@439][ZtkCommon] OS Memory pool contains {} block(s), total size: {} bytes",
            nBlocks, nBytes));
    }
    void MmzTotal(std::uint64_t nBlocks, std::uint64_t nBytes) {
        Line(fmt::format(
            "[DumpMemoryInfo@476][ZtkCommon] MMZ Memory pool contains {} block(s), total size: {} bytes",
            nBlocks, nBytes));
    }
    void SharedTotal(std::uint64_t nBlocks, std::uint64_t nBytes) {
        Line(fmt::format(
            "[DumpMemoryInfo@438][ZtkCommon] Shared memory pool contains {} block(s), total size: {} "
            "bytes",
            nBlocks, nBytes));
    }
    void Retry() {
        Line("[AllocateMemory@142][ZtkCommon] Insufficient memory, free all unbusy block(s) and try again");
    }
    void Failed(std::uint64_t nSize, int enMemType) {
        Line(fmt::format("[AllocateMemory@155][ZtkCommon] Allocate memory failed, size={}, align=0, plat={}",
                         nSize, enMemType));
    }

  private:
    std::string Front() const {
        const auto nMilli = static_cast<std::int64_t>(seconds_ * 1000);
        const std::int64_t nSeconds = nMilli / 1000;
        const std::string ofDay = fmt::format("{:02}:{:02}:{:02}.{:03}", nSeconds / 3600 % 24,
                                              nSeconds / 60 % 60, nSeconds % 60, nMilli % 1000);
        switch (enPrefix_) {
            case Prefix::kDateAndThread:
                return fmt::format("2024-02-{:02}T{}Z info    {} ", 28 + nSeconds / 86400, ofDay, nThread_);
            case Prefix::kTimeOfDay:
                return ofDay + ' ';
            case Prefix::kTimeAndProcess:
                return fmt::format("Feb 29 {} board cam[{}]: ", ofDay, nThread_);
            case Prefix::kSeconds:
                return fmt::format("[{:5}.{:03}] ", nSeconds, nMilli % 1000);
            case Prefix::kNone:
                break;
        }
        return "";
    }

    const Prefix enPrefix_;
    std::string text_;
    double seconds_ = 36000;
    int nThread_ = 700;
};

}  // namespace ztkmem::log::test
