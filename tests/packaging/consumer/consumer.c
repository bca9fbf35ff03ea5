/* Memory of every kind from the installed library. */
#include <stdio.h>
#include <string.h>
#include <ztk_common.h>
#include <ztk_shared_view.h>

static int Used(int32_t enMemType) {
    void* pBlock = NULL;
    if (AllocateAlignedPoolMemory(1000, 64, enMemType, &pBlock, NULL) != ZTK_SUCCESS) return 0;
    memset(pBlock, 7, 1000);
    return FreePoolMemory(pBlock) == ZTK_SUCCESS;
}

static int Shared(void) {
    char szName[ZTK_SHARED_NAME_SIZE];
    ZtkSharedView view;
    void* pBlock = NULL;
    int bSeen = 0;
    if (AllocatePoolSharedMemory(ZTK_SHARED_HEADER_SIZE + 5, &pBlock, szName) != ZTK_SUCCESS) return 0;
    memcpy((char*)pBlock + ZTK_SHARED_HEADER_SIZE, "frame", 5);
    if (ZtkOpenSharedView(szName, &view) == ZTK_VIEW_OK) {
        bSeen = view.nDataLen == 5 && memcmp(view.pData, "frame", 5) == 0;
        ZtkCloseSharedView(&view);
    }
    return FreePoolSharedMemory(pBlock) == ZTK_SUCCESS && bSeen;
}

int main(void) {
    if (Used(ZTK_MEM_OS) && Used(ZTK_MEM_MMZ) && Shared()) return 0;
    fprintf(stderr, "the installed library does not hand out memory\n");
    return 1;
}
