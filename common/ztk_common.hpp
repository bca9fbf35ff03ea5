// ztk_common.hpp - C++17 owners of what libZTKCommon hands out: blocks that go back to their pool by
// themselves.
//
// Header only. What ztk_common.h says of pools, threads and traps holds here; above all:
//
// - Content is not cleared when a block is reused.
// - At exit the pools take back all blocks. Owners in static storage of the program are ended before that;
//   in a library that is loaded later with dlopen() they may not be, and must not be used any more then.
// - After fork() the MMZ and shared blocks stay the parent's. The child's copies of their owners do nothing
//   when they end.
#ifndef ZTK_COMMON_HPP
#define ZTK_COMMON_HPP

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory_resource>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include "ztk_common.h"
#include "ztk_shared_view.hpp"

namespace ztk {

/* ---- Statuses as errors ------------------------------------------------------------------------ */

enum class Errc : std::uint32_t {
    kNotSupported = ERR_NOT_SUPPORTED,
    kBadLength = ERR_BAD_LENGTH,
    kInvalidParam = ERR_INVALID_PARAM,
    kNoMemory = ERR_NO_MEMORY,
    kBadHeader = ERR_BAD_HEADER,
};

}  // namespace ztk

template <>
struct std::is_error_code_enum<ztk::Errc> : std::true_type {};

namespace ztk {

class StatusCategory : public std::error_category {
  public:
    const char* name() const noexcept override { return "ztk"; }
    std::string message(int nValue) const override {
        switch (static_cast<Errc>(nValue)) {
            case Errc::kNotSupported:
                return "a kind of memory that is not supported here";
            case Errc::kBadLength:
                return "shorter than the header of a shared block";
            case Errc::kInvalidParam:
                return "no address, or one that the pool does not know";
            case Errc::kNoMemory:
                return "the pool has no memory for this";
            case Errc::kBadHeader:
                return "malformed header of a shared block";
        }
        return "unknown status";
    }
    std::error_condition default_error_condition(int nValue) const noexcept override {
        switch (static_cast<Errc>(nValue)) {
            case Errc::kNotSupported:
                return std::errc::not_supported;
            case Errc::kBadLength:
            case Errc::kInvalidParam:
                return std::errc::invalid_argument;
            case Errc::kNoMemory:
                return std::errc::not_enough_memory;
            case Errc::kBadHeader:
                return std::errc::bad_message;
        }
        return {nValue, *this};
    }

    static const StatusCategory& Get() noexcept {
        static const StatusCategory category;
        return category;
    }
};

/// The error for a status of ztk_common.h; none for ZTK_SUCCESS.
inline std::error_code MakeError(std::uint32_t nStatus) noexcept {
    return {static_cast<int>(nStatus), StatusCategory::Get()};
}
inline std::error_code make_error_code(Errc enError) noexcept {
    return MakeError(static_cast<std::uint32_t>(enError));
}

/* ---- Heap and MMZ blocks ----------------------------------------------------------------------- */

enum class MemoryType : std::int32_t { kHeap = ZTK_MEM_OS, kMmz = ZTK_MEM_MMZ };

namespace detail {

/// The 32-bit length of an aligned MMZ block would wrap, and the block be far too small.
inline bool MmzLengthWraps(std::uint64_t nSize, std::int32_t nAlign, MemoryType enType) noexcept {
    if (enType != MemoryType::kMmz || nAlign <= 0) return false;
    const std::uint64_t nAdded = static_cast<std::uint64_t>(nAlign) + 8;
    return nSize > std::numeric_limits<std::uint32_t>::max() - nAdded;
}

inline std::uint32_t Allocate(std::uint64_t nSize, std::int32_t nAlign, MemoryType enType, void** ppAddr,
                              std::uint64_t* pHandle) noexcept {
    if (MmzLengthWraps(nSize, nAlign, enType)) return ERR_NO_MEMORY;
    const auto nType = static_cast<std::int32_t>(enType);
    return nAlign > 0 ? AllocateAlignedPoolMemory(nSize, nAlign, nType, ppAddr, pHandle)
                      : AllocatePoolMemory(nSize, nType, ppAddr, pHandle);
}

}  // namespace detail

/// A heap or MMZ block, or none.
class Block {
  public:
    Block() noexcept = default;  ///< no block

    /// @param nAlign as for AllocateAlignedPoolMemory(); 0 gives what malloc() or librockit gives.
    /// @throws std::system_error
    explicit Block(std::size_t nSize, MemoryType enType = MemoryType::kHeap, std::int32_t nAlign = 0) {
        const std::error_code error = Obtain(nSize, enType, nAlign);
        if (error)
            throw std::system_error(error, "cannot allocate a block of " + std::to_string(nSize) + " bytes");
    }

    /// No block, and the reason in @p error, instead of an exception.
    static Block TryAllocate(std::size_t nSize, std::error_code& error, MemoryType enType = MemoryType::kHeap,
                             std::int32_t nAlign = 0) noexcept {
        Block block;
        error = block.Obtain(nSize, enType, nAlign);
        return block;
    }

    Block(Block&& other) noexcept
        : pData_(std::exchange(other.pData_, nullptr)),
          nSize_(std::exchange(other.nSize_, 0)),
          nHandle_(std::exchange(other.nHandle_, 0)) {}
    Block& operator=(Block&& other) noexcept {
        Block old(std::move(*this));
        std::swap(pData_, other.pData_);
        std::swap(nSize_, other.nSize_);
        std::swap(nHandle_, other.nHandle_);
        return *this;
    }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block() { Reset(); }

    explicit operator bool() const noexcept { return pData_ != nullptr; }
    std::byte* Data() const noexcept { return static_cast<std::byte*>(pData_); }
    std::size_t Size() const noexcept { return nSize_; }  ///< as asked for; the block may be larger
    Span<std::byte> Bytes() const noexcept { return {Data(), nSize_}; }

    /// As AllocateAlignedPoolMemory() gives it: 0 for heap; for MMZ librockit's, plus an offset if aligned.
    std::uint64_t Handle() const noexcept { return nHandle_; }

    /// Gives the block back.
    void Reset() noexcept {
        if (pData_ != nullptr) static_cast<void>(FreePoolMemory(pData_));
        pData_ = nullptr;
        nSize_ = 0;
        nHandle_ = 0;
    }

    /// Leaves the block to the caller, who frees it with FreePoolMemory().
    void* Release() noexcept {
        nSize_ = 0;
        nHandle_ = 0;
        return std::exchange(pData_, nullptr);
    }

  private:
    std::error_code Obtain(std::size_t nSize, MemoryType enType, std::int32_t nAlign) noexcept {
        const std::uint32_t nStatus = detail::Allocate(nSize, nAlign, enType, &pData_, &nHandle_);
        if (nStatus == ZTK_SUCCESS) nSize_ = nSize;
        return MakeError(nStatus);
    }

    void* pData_ = nullptr;
    std::size_t nSize_ = 0;
    std::uint64_t nHandle_ = 0;
};

/* ---- Shared blocks ----------------------------------------------------------------------------- */

/// A block that other processes open by its name, or none. Asks for the header's room itself and keeps its
/// users behind it.
class SharedBlock {
  public:
    SharedBlock() noexcept = default;  ///< no block

    /// @throws std::system_error
    explicit SharedBlock(std::size_t nPayload) {
        const std::error_code error = Obtain(nPayload);
        if (error) {
            throw std::system_error(
                error, "cannot allocate a shared block of " + std::to_string(nPayload) + " bytes");
        }
    }

    /// No block, and the reason in @p error, instead of an exception.
    static SharedBlock TryAllocate(std::size_t nPayload, std::error_code& error) noexcept {
        SharedBlock block;
        error = block.Obtain(nPayload);
        return block;
    }

    SharedBlock(SharedBlock&& other) noexcept { Swap(other); }
    SharedBlock& operator=(SharedBlock&& other) noexcept {
        SharedBlock old(std::move(*this));
        Swap(other);
        return *this;
    }
    SharedBlock(const SharedBlock&) = delete;
    SharedBlock& operator=(const SharedBlock&) = delete;
    ~SharedBlock() { Reset(); }

    explicit operator bool() const noexcept { return pSegment_ != nullptr; }
    const char* Name() const noexcept { return szName_; }  ///< empty without a block

    /// What lies behind the header, as long as was asked for. Consumers see all of the segment: a reused one
    /// may be longer.
    Span<std::byte> Payload() const noexcept {
        if (pSegment_ == nullptr) return {};
        return {static_cast<std::byte*>(pSegment_) + ZTK_SHARED_HEADER_SIZE, nPayload_};
    }

    /// Gives the block back, where it keeps its name and content until it is reused: consumers must be done.
    void Reset() noexcept {
        if (pSegment_ != nullptr) static_cast<void>(FreePoolSharedMemory(pSegment_));
        pSegment_ = nullptr;
        nPayload_ = 0;
        szName_[0] = '\0';
    }

  private:
    std::error_code Obtain(std::size_t nPayload) noexcept {
        if (nPayload > std::numeric_limits<std::size_t>::max() - ZTK_SHARED_HEADER_SIZE)
            return Errc::kNoMemory;
        const std::uint32_t nStatus =
            AllocatePoolSharedMemory(nPayload + ZTK_SHARED_HEADER_SIZE, &pSegment_, szName_);
        if (nStatus == ZTK_SUCCESS) nPayload_ = nPayload;
        return MakeError(nStatus);
    }

    void Swap(SharedBlock& other) noexcept {
        std::swap(pSegment_, other.pSegment_);
        std::swap(nPayload_, other.nPayload_);
        std::swap(szName_, other.szName_);
    }

    void* pSegment_ = nullptr;
    std::size_t nPayload_ = 0;
    char szName_[ZTK_SHARED_NAME_SIZE] = "";
};

/* ---- Memory for containers --------------------------------------------------------------------- */

/// Containers' memory from a pool. Every allocation is a block: right for frames and tables, wasteful for
/// nodes of lists, which want a std::pmr::unsynchronized_pool_resource between. What the pool refuses is
/// std::bad_alloc. Any thread.
class PoolResource : public std::pmr::memory_resource {
  public:
    explicit PoolResource(MemoryType enType) noexcept : enType_(enType) {}

  private:
    static constexpr std::size_t kGivenAnyway = 16;  ///< by malloc(); librockit gives whole pages

    void* do_allocate(std::size_t nSize, std::size_t nAlign) override {
        if (nAlign > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
            throw std::bad_alloc();
        const auto nWanted = nAlign > kGivenAnyway ? static_cast<std::int32_t>(nAlign) : 0;
        void* pBlock = nullptr;
        // pools refuse 0 bytes, containers may ask for them
        const std::size_t nBytes = nSize == 0 ? 1 : nSize;
        if (detail::Allocate(nBytes, nWanted, enType_, &pBlock, nullptr) != ZTK_SUCCESS)
            throw std::bad_alloc();
        return pBlock;
    }

    void do_deallocate(void* pBlock, std::size_t, std::size_t) override {
        static_cast<void>(FreePoolMemory(pBlock));
    }

    bool do_is_equal(const memory_resource& other) const noexcept override {
        const auto* pOther = dynamic_cast<const PoolResource*>(&other);
        return pOther != nullptr && pOther->enType_ == enType_;
    }

    MemoryType enType_;
};

namespace detail {

/// Never destroyed: containers in static storage end after anything that is.
template <MemoryType kType>
PoolResource* EverlastingResource() noexcept {
    alignas(PoolResource) static std::byte place[sizeof(PoolResource)];
    static auto* const pResource = ::new (static_cast<void*>(place)) PoolResource(kType);
    return pResource;
}

}  // namespace detail

inline std::pmr::memory_resource* HeapResource() noexcept {
    return detail::EverlastingResource<MemoryType::kHeap>();
}
inline std::pmr::memory_resource* MmzResource() noexcept {
    return detail::EverlastingResource<MemoryType::kMmz>();
}

}  // namespace ztk

#endif  // ZTK_COMMON_HPP
