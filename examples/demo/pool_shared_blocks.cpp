#include "pool_errors.h"
#include "shared_blocks.h"
#include "ztk_common.h"

namespace demo {

static_assert(kNameSize == ZTK_SHARED_NAME_SIZE);

SharedBlock PoolSharedBlocks::Obtain(std::size_t nSize) {
    SharedBlock block;
    // The pool's header comes out of the size asked for, and must stay as it is: the viewer checks it.
    block.nLength = ZTK_SHARED_HEADER_SIZE + nSize;
    const std::uint32_t nStatus = AllocatePoolSharedMemory(block.nLength, &block.pStart, block.name.data());
    if (nStatus != ZTK_SUCCESS) throw PoolRefusal("shared", block.nLength, nStatus);
    block.pData = static_cast<std::uint8_t*>(block.pStart) + ZTK_SHARED_HEADER_SIZE;
    return block;
}

void PoolSharedBlocks::GiveBack(const SharedBlock& block) {
    if (FreePoolSharedMemory(block.pStart) != ZTK_SUCCESS) {
        throw std::runtime_error("the pool does not know a shared block that it handed out");
    }
}

}  // namespace demo
