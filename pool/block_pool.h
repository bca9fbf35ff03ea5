// The life of a pooled block, written once for both pools: handed out, taken back, given back to the system
// when long idle, when memory is short, or at the end.
//
// A pool derives from BlockPool<itself, Block, Place>. Its Block is a record with nSize and bBusy, reached by
// AddressOf(block) and LastUse(block); its Place names the list a block lives in (ordered, with nAlign).
// What is particular to its blocks it supplies as static functions:
//
//   Block NewBlock(nSize)             a record for a new block, nothing obtained yet; may throw
//   Status MakeBlock(block, place)    obtains its memory; on failure nothing is kept; does not throw
//   void UnmakeBlock(block, place)    gives its memory back
//   bool SurvivesFork(place)          true if a forked child has a copy of its own of such blocks
//   void Describe(block, dump)        adds the block to a dump
//   void LogRetry(), LogFailed(status, nSize, place), LogAllocated(block), LogUnknownAddress(),
//   LogFreed(block), LogLimit(nSize)  its log lines
//
// and as a member StartReclaimer(). It calls UnInit() from its own destructor, while it is still whole.
//
// One reader-writer lock guards the lists, the address index and the idle total: the dump takes it for
// reading, everything else for writing, through the raw allocations and the log lines as well. Blocks are
// kept in one map ordered by place instead of nested maps: the order of every walk is the same.
//
// A thread may still call in while the process exits. Once the teardown has closed the pool such calls are
// refused, before the lock where they can see it and under it otherwise; they touch only the flag and the
// lock, which have no destructors.
//
// A forked child finds the pool whole (see PrepareFork). It settles in it with its first call, or with the
// teardown. When the fork went past the handlers the owner's process id tells the teardown so.
#pragma once

#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>
#include <map>

#include "common/status.h"
#include "platform/rw_lock.h"
#include "platform/time_stamp.h"
#include "pool/address_index.h"
#include "pool/block_dump.h"
#include "pool/block_list.h"
#include "pool/pool_limits.h"
#include "pool/reclaimer.h"

namespace ztk {

template <class Pool, class Block, class Place>
class BlockPool {
  public:
    BlockPool(const BlockPool&) = delete;
    BlockPool& operator=(const BlockPool&) = delete;

    /// The sum of the sizes of the idle blocks; read without the lock.
    std::uint64_t RedundantSize() const { return nRedundantSize_.load(std::memory_order_relaxed); }

    /// Gives back every block idle for at least @p nIdleSeconds, in the order of places and sizes.
    void FreeUnbusyMemory(std::uint32_t nIdleSeconds) ZTK_REQUIRES(lock_) {
        for (auto& [place, list] : lists_) {
            // the lock analysis does not see that such a lambda runs within the call
            list.RemoveIdleIf([this, nIdleSeconds](const Block& block) ZTK_NO_LOCK_ANALYSIS {
                if (IdleSeconds(block) < nIdleSeconds) return false;
                GiveBack(block);
                return true;
            });
        }
    }

    /// Gives back every block, busy or not. The idle total keeps its value.
    void FreeAllMemory() ZTK_EXCLUDES(lock_) { GiveBackAll(); }

    /// The reclaimer's work, on its thread, until UnInit().
    void DoFreeUnbusyMemoryWork() {
        Pool* pPool = static_cast<Pool*>(this);
        reclaimer_.Run([pPool] { pPool->CheckLimit(); }, [pPool] { pPool->DumpMemoryInfo(); });
    }

    /// Ends the pool for good: gives back every block, stops the reclaimer, destroys the lock. Returns the
    /// result of the last. Only the first call does anything.
    Status UnInit() ZTK_EXCLUDES(lock_) {
        // Closed before the lock is had: a child forked while this waits for it finds a pool that refuses.
        if (bClosed_.exchange(true)) return ZTK_SUCCESS;
        if (getpid() != nOwner_) StartAfreshInChild();
        GiveBackAll();
        reclaimer_.Stop();
        return static_cast<Status>(lock_.Destroy());
    }

    /// Around a fork the forking thread holds the lock, so that the child's copy of the pool is whole. It may
    /// hold it already: a crash handler forks in the middle of an interrupted call.
    void PrepareFork() ZTK_NO_LOCK_ANALYSIS { bLockedByFork_ = lock_.LockForWritingUnlessMine(); }
    void ResumeParent() ZTK_NO_LOCK_ANALYSIS {
        if (bLockedByFork_) lock_.Unlock();
    }

    /// As little as possible is done here: most children only exec. The rest waits for the child's first
    /// call.
    void ResumeChild() ZTK_NO_LOCK_ANALYSIS {
        if (bLockedByFork_) {
            StartAfreshInChild();
        } else {
            bClosed_.store(true);  // in the middle of a call: there is no telling what is whole
            reclaimer_.ForgetInChild();
        }
    }

  protected:
    explicit BlockPool(const Reclaimer::Lines& lines) : reclaimer_(lines) {}
    ~BlockPool() = default;

    /// Hands out a block of the place's list: the smallest idle one that fits, or a new one. On success calls
    /// @p handOut with the block, under the lock.
    template <class HandOut>
    Status Obtain(std::uint64_t nSize, const Place& place, const HandOut& handOut) ZTK_EXCLUDES(lock_) {
        if (bClosed_.load(std::memory_order_acquire)) return ERR_NO_MEMORY;
        const WriteGuard guard(lock_);
        if (!IsOpen()) return ERR_NO_MEMORY;
        try {
            List& list = lists_[place];
            Block* pBlock = list.TakeIdle(nSize, kReuseTolerance);
            if (pBlock == nullptr) return AddBlock(nSize, place, list, handOut);
            GetTimeStamp(LastUse(*pBlock));
            SubtractRedundant(pBlock->nSize);
            handOut(*pBlock);
            return ZTK_SUCCESS;
        } catch (const std::exception&) {  // the pool's own records, or a name, could not be had
            Pool::LogFailed(ERR_NO_MEMORY, nSize, place);
            return ERR_NO_MEMORY;
        }
    }

    /// Takes a block back and keeps it idle. A block that is idle already is counted again: callers' totals
    /// depend on it.
    Status TakeBack(std::uint64_t nAddress) ZTK_EXCLUDES(lock_) {
        if (nAddress == 0 || bClosed_.load(std::memory_order_acquire)) return ERR_INVALID_PARAM;
        const WriteGuard guard(lock_);
        if (!IsOpen()) return ERR_INVALID_PARAM;
        const auto [pList, pNode] = Find(nAddress);
        if (pNode == nullptr) {
            Pool::LogUnknownAddress();
            return ERR_INVALID_PARAM;
        }
        pList->MakeIdle(*pNode);
        GetTimeStamp(LastUse(pNode->block));
        AddRedundant(pNode->block.nSize);
        return ZTK_SUCCESS;
    }

    /// The reclaimer's fourth wake-up.
    void CheckLimit() ZTK_EXCLUDES(lock_) {
        Pool::LogLimit(RedundantSize());
        const WriteGuard guard(lock_);
        if (RedundantSize() > kAllowedLimit) FreeUnbusyMemory(kIdleSeconds);
    }

    /// Adds the blocks of all places from @p first to below @p last to a dump. Throws std::bad_alloc.
    void DescribeBlocks(const Place& first, const Place& last, BlockDump& dump) ZTK_REQUIRES_SHARED(lock_) {
        const auto end = lists_.lower_bound(last);
        for (auto it = lists_.lower_bound(first); it != end;) {
            it->second.ForEach([&dump](const Block& block) { Pool::Describe(block, dump); });
            const std::int32_t nAlign = it->first.nAlign;
            ++it;
            if (it == end || it->first.nAlign != nAlign) SleepMs(0);  // a long dump lets others run
        }
    }

    RwLock lock_;
    Reclaimer reclaimer_;

  private:
    using List = BlockList<Block>;
    using Node = typename List::Node;

    struct Where {
        Place place{};
        List* pList = nullptr;
        Node* pNode = nullptr;  ///< null: to be looked for in the list of the place
    };
    struct Found {
        List* pList = nullptr;
        Node* pNode = nullptr;
    };

    /// To be asked by every call that hands out or takes back, with the lock held.
    bool IsOpen() ZTK_REQUIRES(lock_) {
        if (bClosed_.load(std::memory_order_relaxed)) return false;
        if (bForked_) SettleInChild();
        return true;
    }

    void StartAfreshInChild() ZTK_NO_LOCK_ANALYSIS {
        lock_.RestartInChild();
        reclaimer_.ForgetInChild();
        nOwner_ = getpid();
        bForked_ = true;
    }

    /// A forked child that goes on to use the pool makes it its own.
    void SettleInChild() ZTK_REQUIRES(lock_) {
        DisownParents();
        static_cast<Pool*>(this)->StartReclaimer();
    }

    /// The child keeps what it has its own copies of. Everything else belongs to the parent, which still
    /// uses it: here it is only memory.
    void DisownParents() ZTK_REQUIRES(lock_) {
        bForked_ = false;
        for (auto& [place, list] : lists_) {
            if (Pool::SurvivesFork(place)) continue;
            list.ForEach([this](const Block& block) ZTK_NO_LOCK_ANALYSIS {
                index_.Erase(AddressOf(block));
                if (!block.bBusy) SubtractRedundant(block.nSize);
            });
            list.Clear();
        }
    }

    /// Everything that can fail comes before the memory is obtained, so that nothing is recorded half.
    template <class HandOut>
    Status AddBlock(std::uint64_t nSize, const Place& place, List& list, const HandOut& handOut)
        ZTK_REQUIRES(lock_) {
        auto listEntry = list.NewEntry();
        auto indexEntry = index_.NewEntry();
        Block block = Pool::NewBlock(nSize);
        Status nStatus = Pool::MakeBlock(block, place);
        if (nStatus != ZTK_SUCCESS) {
            Pool::LogRetry();
            FreeUnbusyMemory(0);
            nStatus = Pool::MakeBlock(block, place);
        }
        if (nStatus != ZTK_SUCCESS) {
            Pool::LogFailed(nStatus, nSize, place);
            return nStatus;
        }
        Pool::LogAllocated(block);
        GetTimeStamp(LastUse(block));
        Node& node = list.InsertBusy(std::move(listEntry), block);
        // An address known already belongs to a block that the program gave back behind our back: of such
        // twins the list tells the first.
        const bool bTwin = index_.Find(AddressOf(block)).pNode != nullptr;
        index_.Set(std::move(indexEntry), AddressOf(block), {place, &list, bTwin ? nullptr : &node});
        handOut(block);
        return ZTK_SUCCESS;
    }

    /// The block of an address and its list, or nulls. An unknown address leaves a record in the index, as
    /// far as there is memory for it.
    Found Find(std::uint64_t nAddress) ZTK_REQUIRES(lock_) {
        try {
            const auto& where = index_.Enter(nAddress);
            if (where.pNode != nullptr) return {where.pList, where.pNode};
            const auto it = lists_.find(where.place);
            if (it == lists_.end()) return {};
            return {&it->second, it->second.Find(nAddress)};
        } catch (const std::exception&) {
            return {};
        }
    }

    /// The clock is read anew for every block: a long run of frees takes time itself.
    static std::int64_t IdleSeconds(const Block& block) {
        TimeStamp now;
        GetTimeStamp(now);
        return now.nSeconds - LastUse(block).nSeconds;
    }

    void GiveBack(const Block& block) ZTK_REQUIRES(lock_) {
        const std::uint64_t nAddress = AddressOf(block);
        Pool::LogFreed(block);
        Pool::UnmakeBlock(block, index_.Find(nAddress).place);
        index_.Erase(nAddress);
        SubtractRedundant(block.nSize);
    }

    void GiveBackAll() ZTK_EXCLUDES(lock_) {
        const WriteGuard guard(lock_);
        if (bForked_) DisownParents();
        for (const auto& [place, list] : lists_) {
            list.ForEach([this](const Block& block) ZTK_NO_LOCK_ANALYSIS {
                Pool::UnmakeBlock(block, index_.Find(AddressOf(block)).place);
            });
        }
        lists_.clear();
        index_.Clear();
    }

    // Written under the lock; atomic because the reclaimer's log line reads it without.
    void AddRedundant(std::uint64_t nSize) ZTK_REQUIRES(lock_) {
        nRedundantSize_.store(RedundantSize() + nSize, std::memory_order_relaxed);
    }
    void SubtractRedundant(std::uint64_t nSize) ZTK_REQUIRES(lock_) {
        nRedundantSize_.store(RedundantSize() - nSize, std::memory_order_relaxed);
    }

    std::map<Place, List> lists_ ZTK_GUARDED_BY(lock_);
    AddressIndex<Where> index_ ZTK_GUARDED_BY(lock_);
    std::atomic<std::uint64_t> nRedundantSize_{0};
    std::atomic<bool> bClosed_{false};
    pid_t nOwner_ = getpid();                     ///< set anew while a child has one thread
    bool bForked_ ZTK_GUARDED_BY(lock_) = false;  ///< in a child that has not used the pool yet
    bool bLockedByFork_ = false;                  ///< between PrepareFork() and its Resume
};

}  // namespace ztk
