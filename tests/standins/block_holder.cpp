#include "tests/standins/block_holder.h"

namespace {

MB_BLK g_hHeld = nullptr;

__attribute__((destructor)) void LetGo() {
    RK_MPI_MMZ_Free(g_hHeld);
}

}  // namespace

void HoldBlock(MB_BLK hBlock) {
    g_hHeld = hBlock;
}
