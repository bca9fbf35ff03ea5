#include <pthread.h>
#include <time.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory_resource>

#include "subject.h"
#include "ztk_common.h"

namespace bench {
namespace {

class Pool : public Subject {
  public:
    void* Take(std::size_t nSize) override {
        void* pBlock = nullptr;
        if (AllocatePoolMemory(nSize, ZTK_MEM_OS, &pBlock, nullptr) != ZTK_SUCCESS) GiveUp("pool");
        return pBlock;
    }
    void Return(void* pBlock, std::size_t) override {
        if (FreePoolMemory(pBlock) != ZTK_SUCCESS) GiveUp("pool");
    }
    void Flush() override {
        constexpr std::int32_t kNoSuchType = 99;  // fails, after it has flushed every idle block
        void* pNone = nullptr;
        if (AllocatePoolMemory(1, kNoSuchType, &pNone, nullptr) != ERR_NO_MEMORY) GiveUp("flush");
    }
};

/// Whatever malloc() this process has: glibc's, or a preloaded one.
class Malloc : public Subject {
  public:
    void* Take(std::size_t nSize) override {
        void* pBlock = std::malloc(nSize);
        if (pBlock == nullptr) GiveUp("malloc");
        return pBlock;
    }
    void Return(void* pBlock, std::size_t) override { std::free(pBlock); }
};

class Pmr : public Subject {
  public:
    void* Take(std::size_t nSize) override { return resource_.allocate(nSize); }
    void Return(void* pBlock, std::size_t nSize) override { resource_.deallocate(pBlock, nSize); }

  private:
    std::pmr::synchronized_pool_resource resource_;
};

/// The least that a locked pool which stamps its blocks and finds them by address can do.
class LockedStampFloor : public Subject {
  public:
    LockedStampFloor() {
        for (std::uint64_t i = 0; i < kEntries; ++i)
            index_[i * 4096] = {};
    }
    void* Take(std::size_t) override {
        pthread_rwlock_wrlock(&lock_);
        Stamp();
        pthread_rwlock_unlock(&lock_);
        nNext_ = (nNext_ + 1) % kEntries;
        return &bytes_[nNext_];
    }
    void Return(void* pBlock, std::size_t) override {
        const auto nEntry = static_cast<std::uint64_t>(static_cast<char*>(pBlock) - bytes_.data());
        pthread_rwlock_wrlock(&lock_);
        if (index_.find(nEntry * 4096) == index_.end()) GiveUp("floor");
        Stamp();
        pthread_rwlock_unlock(&lock_);
    }

  private:
    static constexpr std::uint64_t kEntries = 8;
    void Stamp() {
        clock_gettime(CLOCK_REALTIME, &stamp_);
        asm volatile("" : : "m"(stamp_) : "memory");
    }

    pthread_rwlock_t lock_ = PTHREAD_RWLOCK_INITIALIZER;
    std::map<std::uint64_t, std::array<std::int32_t, 3>> index_;
    std::array<char, kEntries> bytes_{};
    std::uint64_t nNext_ = 0;
    timespec stamp_{};
};

/// Nothing but the caller's own writing, on pages that are there. The buffer is had as the pool has its
/// blocks, so that it lies on the same kind of pages.
class ResidentFloor : public Subject {
  public:
    explicit ResidentFloor(std::size_t nLargest) : pBuffer_(std::malloc(nLargest)) {
        if (pBuffer_ == nullptr) GiveUp("floor");
        std::memset(pBuffer_, 1, nLargest);
    }
    ~ResidentFloor() override { std::free(pBuffer_); }
    void* Take(std::size_t) override { return pBuffer_; }
    void Return(void*, std::size_t) override {}

  private:
    void* pBuffer_;
};

}  // namespace

std::unique_ptr<Subject> MakeHeapSubject(const std::string& szName, std::size_t nLargest) {
    if (szName == "pool") return std::make_unique<Pool>();
    if (szName == "malloc") return std::make_unique<Malloc>();
    if (szName == "pmr") return std::make_unique<Pmr>();
    if (szName == "floor-lock") return std::make_unique<LockedStampFloor>();
    if (szName == "floor-memory") return std::make_unique<ResidentFloor>(nLargest);
    return nullptr;
}

}  // namespace bench
