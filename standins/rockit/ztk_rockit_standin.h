/*
 * ztk_rockit_standin.h - what the desk's stand-in for librockit has beyond the board's functions:
 * counters to read and a capacity to set. A program that uses it runs with the stand-in only.
 *
 * Blocks come from a CMA heap in /dev/dma_heap where there is one (physically contiguous, as on the
 * board; opening it usually takes root), else from memfd_create(). Lengths are rounded up to whole pages,
 * flags are ignored, failures are negative errno values (-EINVAL, -ENOMEM, ...).
 *
 * A block belongs to the process that allocated it. A forked child starts with no blocks and with all
 * counters at 0: what its parent had allocated stays mapped in it, shared with the parent, but its
 * handles and addresses are unknown there. The memory returns to the system when both have let go.
 *
 * At exit a process with live blocks writes one line to stderr: how many, how large, and where the first
 * of them are.
 *
 * Environment: ZTK_ROCKIT_CAPACITY, read at load: bytes, optionally with K, M or G (1024-based); the
 * default is 256M. Programs that ztk-board runs share one area instead, of the board's size: a block needs
 * a gap there that is long enough, also when it needs no more bytes than are free.
 */
#ifndef ZTK_ROCKIT_STANDIN_H
#define ZTK_ROCKIT_STANDIN_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** This process's blocks, now and since it started; bytes are those of whole pages. */
typedef struct ZtkRockitCounters {
    uint64_t nLiveBlocks;
    uint64_t nLiveBytes;
    uint64_t nPeakBytes;    /**< the most that nLiveBytes ever was */
    uint64_t nAllocs;       /**< successful ones */
    uint64_t nFrees;        /**< successful ones */
    uint64_t nFailedAllocs; /**< length 0, no place for the handle, over capacity, no memory */
    uint64_t nInvalidFrees; /**< of null, of an unknown handle, of one already freed */
} ZtkRockitCounters;

/** Fills @p pCounters with one consistent state. Any thread. */
void ZtkRockitGetCounters(ZtkRockitCounters* pCounters);

/**
 * Limits the live bytes of this process from now on; 0 lets every allocation fail. Blocks beyond a
 * smaller limit stay. Any thread.
 */
void ZtkRockitSetCapacity(uint64_t nBytes);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_ROCKIT_STANDIN_H */
