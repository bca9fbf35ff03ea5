/*
 * rockit.h - the four functions of librockit, the board's media library, that this project calls:
 * blocks of MMZ, physically contiguous memory that the board's camera, codec and display units can reach.
 */
#ifndef ZTK_EXTERNAL_ROCKIT_H
#define ZTK_EXTERNAL_ROCKIT_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Opaque handle of an MMZ block; null is no block. */
typedef void* MB_BLK;

/** Allocates @p u32Length bytes and stores the handle in @p pBlk. @return 0, or negative on failure. */
int32_t RK_MPI_MMZ_Alloc(MB_BLK* pBlk, uint32_t u32Length, uint32_t u32Flags);

/** The address at which the block is mapped in this process, or null. */
void* RK_MPI_MMZ_Handle2VirAddr(MB_BLK blk);

/** The handle of the block that starts at @p pVirAddr, or null. */
MB_BLK RK_MPI_MMZ_VirAddr2Handle(void* pVirAddr);

/** Gives a block back. @return 0, or negative on failure. */
int32_t RK_MPI_MMZ_Free(MB_BLK blk);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_EXTERNAL_ROCKIT_H */
