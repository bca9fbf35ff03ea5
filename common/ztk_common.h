/*
 * ztk_common.h - the C interface of libZTKCommon: memory blocks from pools.
 *
 * Conventions, valid for every function below:
 *
 *  1. Sizes are bytes. Statuses are unsigned 32-bit; 0 (ZTK_SUCCESS) is success, failures are ERR_*.
 *  2. Every function may be called from any thread at any time between load and unload. Each pool has
 *     one lock: calls into one pool are serialised, calls into different pools are not.
 *  3. The pool owns every block for good; the caller holds an address (and, for shared blocks, a name)
 *     until it frees the block. At unload or exit the pools give back ALL blocks, also those still held:
 *     addresses kept beyond that dangle.
 *  4. A freed block is not returned to the system. It stays idle in its pool, and a later request of the
 *     same kind, alignment and size class receives it again if it is large enough and at most 30 MiB
 *     larger than asked. Its content is NOT cleared. Size classes: below 20 MiB, below 50 MiB, then
 *     steps of 50 MiB. Once a minute a pool with more than 300 MiB idle gives back what has been idle
 *     for 30 s.
 *  5. Output arguments are written on success only.
 *  6. No function throws.
 *  7. The pools write their log lines with their lock held. A log callback that calls back into the pool, or
 *     that forks, deadlocks.
 *  8. fork(): the child starts with the parent's heap blocks (its own copies) and with neither its MMZ nor
 *     its shared blocks. These belong to the parent: freeing one in the child fails with
 *     ERR_INVALID_PARAM, and the child's exit leaves them alone. Shared blocks stay mapped in the child,
 *     and so in memory, until it execs or ends. The child may use the pools; its first call into a pool
 *     starts a reclaimer thread of its own there.
 *  9. exit() with threads still inside these functions is safe: from the moment a pool is torn down its
 *     allocations fail with ERR_NO_MEMORY and its releases with ERR_INVALID_PARAM. dlclose() is not: no
 *     thread may be inside the library, or in fork(), then.
 */
#ifndef ZTK_COMMON_H
#define ZTK_COMMON_H

#include <stdint.h>

#if defined(__GNUC__)
#define ZTK_API __attribute__((visibility("default")))
#else
#define ZTK_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status codes ------------------------------------------------------------------------------ */

/** Success. */
#define ZTK_SUCCESS UINT32_C(0)
/** A mapped shared segment describes memory of a platform kind that this build does not support. */
#define ERR_NOT_SUPPORTED UINT32_C(0x80100001)
/** A mapping length is shorter than the 128-byte segment header. */
#define ERR_BAD_LENGTH UINT32_C(0x80100005)
/** A null output pointer or address, or an address that the pool does not know. */
#define ERR_INVALID_PARAM UINT32_C(0x80100006)
/** Memory could not be obtained, or a system call on memory failed. */
#define ERR_NO_MEMORY UINT32_C(0x80100009)
/** The header of a mapped shared segment is malformed. */
#define ERR_BAD_HEADER UINT32_C(0x80100023)

/* ---- Memory types (enMemType) ------------------------------------------------------------------ */

/** The C heap. */
#define ZTK_MEM_OS 0
/** MMZ: physically contiguous media memory of the board. At most 4 GiB - 1 a block. */
#define ZTK_MEM_MMZ 1

/** Size of the buffer that AllocatePoolSharedMemory() writes a name into. */
#define ZTK_SHARED_NAME_SIZE 64
/** Bytes of header at the start of every shared segment (see AllocatePoolSharedMemory()). */
#define ZTK_SHARED_HEADER_SIZE 128

/* ---- Heap and MMZ memory ----------------------------------------------------------------------- */

/**
 * Hands out a block of at least @p nSize bytes: an idle one of the pool, or a new one.
 *
 * A new heap block is refused when it would leave the system with less than 350 MiB available
 * ("MemAvailable:" of /proc/meminfo); an unreadable /proc/meminfo counts as 0 available. MMZ blocks are
 * not measured against that reserve. When a new block cannot be had, the pool gives ALL its idle blocks
 * back to the system, of every kind, and tries once more.
 *
 * @param nSize     bytes wanted. A new block cannot be made with 0. Alignment is that of malloc() (heap) or
 *                  what librockit gives (MMZ).
 * @param enMemType ZTK_MEM_OS or ZTK_MEM_MMZ. Any other value fails with ERR_NO_MEMORY, after flushing
 *                  every idle block of the pool on the way.
 * @param ppAddr    out: the block's address. Free it with FreePoolMemory().
 * @param pHandle   out, may be null: 0 for a heap block, the MMZ block handle for an MMZ block.
 * @return ZTK_SUCCESS; ERR_INVALID_PARAM if @p ppAddr is null; ERR_NO_MEMORY.
 */
ZTK_API uint32_t AllocatePoolMemory(uint64_t nSize, int32_t enMemType, void** ppAddr, uint64_t* pHandle);

/**
 * AllocatePoolMemory() with an alignment.
 *
 * Blocks are pooled by exact alignment: an idle block made with 64 serves requests with 64 only.
 *
 * Trap: the length of an MMZ block, @p nSize + @p nAlign + 8, is formed in 32 bits. From 4 GiB on it wraps,
 * and the request succeeds with a block that is far too small.
 *
 * @param nAlign  any positive number, power of two or not: the address is a multiple of it. 0 or less
 *                gives an unaligned block.
 * @param pHandle out, may be null. Of an aligned MMZ block this is the block handle PLUS the alignment
 *                offset, not a handle that librockit accepts.
 * @return as AllocatePoolMemory().
 */
ZTK_API uint32_t AllocateAlignedPoolMemory(uint64_t nSize, int32_t nAlign, int32_t enMemType, void** ppAddr,
                                           uint64_t* pHandle);

/**
 * Takes back a block of AllocatePoolMemory() or AllocateAlignedPoolMemory(). The block stays idle in the
 * pool.
 *
 * Traps: freeing a block twice succeeds twice and counts its bytes as idle twice; if it was handed out
 * again in between, the second free takes it from its new holder. Freeing an address the pool never
 * gave leaves a small record of it in the pool for good.
 *
 * @return ZTK_SUCCESS; ERR_INVALID_PARAM for null or an address the pool does not know.
 */
ZTK_API uint32_t FreePoolMemory(void* pAddr);

/* ---- Shared memory ----------------------------------------------------------------------------- */

/**
 * Hands out a block that another process can open by name.
 *
 * Every block is one POSIX shared-memory object named "ZTKTool-<pid>-<32 hex digits>" (see /dev/shm).
 * It stays mapped, with one open descriptor, until the pool gives it back; an idle one keeps its name and
 * content, and a reuse hands out the same name again.
 *
 * Traps:
 *  - The address is the start of the segment. Its first ZTK_SHARED_HEADER_SIZE bytes hold the header that
 *    other processes check: write your data behind it, and ask for @p nSize = 128 + data bytes. The pool
 *    does not add the header to the size and does not protect it.
 *  - A new segment of less than 128 bytes cannot be made: ERR_NO_MEMORY, after all idle segments were given
 *    back, unless a larger idle one serves the request.
 *  - A new block's data area is zero. A reused one is handed out as it was: old content, its own length (up
 *    to 30 MiB more than asked), and its header, even if a former holder wrote over that.
 *  - A block may be reused while another process still has the old content mapped: agree on who is done
 *    before you free.
 *  - @p szName is not checked: it must be a buffer of ZTK_SHARED_NAME_SIZE characters, null crashes.
 *  - A program that dies without unloading leaves its objects. The next load of the library on the machine
 *    removes those whose process id no longer exists in its pid namespace, may not be signalled, or is its
 *    own. Under a recycled process id they stay.
 *
 * @param nSize  bytes of the whole segment, header included. A new segment must leave the
 *               system with more than 350 MiB available.
 * @param ppAddr out: address of the segment in this process. Free it with FreePoolSharedMemory().
 * @param szName out: the object's name, NUL-terminated, as shm_open() takes it here (no leading slash).
 * @return ZTK_SUCCESS; ERR_INVALID_PARAM if @p ppAddr is null; ERR_NO_MEMORY.
 */
ZTK_API uint32_t AllocatePoolSharedMemory(uint64_t nSize, void** ppAddr, char* szName);

/**
 * Takes back a block of AllocatePoolSharedMemory(). The segment stays idle in the pool, named and mapped.
 * The traps of FreePoolMemory() hold here too.
 *
 * @return ZTK_SUCCESS; ERR_INVALID_PARAM for null or an address the pool does not know.
 */
ZTK_API uint32_t FreePoolSharedMemory(void* pAddr);

/* ---- System memory ----------------------------------------------------------------------------- */

/** Bytes of memory the system has available ("MemAvailable:" of /proc/meminfo), read afresh; 0 if it
 *  cannot be read. */
ZTK_API uint64_t GetAvailableOSSize(void);

/** Always 0; kept for callers of older kits. */
ZTK_API uint64_t GetAvailableShareOSSize(void);

/* ---- Settings ---------------------------------------------------------------------------------- */

/** Stores the image buffer node number, clamped to 1 to 64. The library itself does not use it. */
ZTK_API void SetImageBufferNodeNum(int32_t nNum);

/** The stored image buffer node number; 1 after load. */
ZTK_API int32_t GetImageBufferNodeNum(void);

/* ---- Fixed answers, kept for callers of older kits ------------------------------------------------ */

/** Does nothing. @return always 0. */
ZTK_API uint32_t NotifyIncToolCount(void);

/** Does nothing. @return always 0. */
ZTK_API uint32_t NotifyDecToolCount(void);

/** Does nothing. @return always null. */
ZTK_API void* ZTKMemMap(void);

/** Does nothing. @return always -1. */
ZTK_API int32_t ZTKMemUnmap(void);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_COMMON_H */
