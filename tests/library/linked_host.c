/* A C program that is linked against the library, as the kit's own programs are. */
#include <stddef.h>

#include "common/ztk_common.h"
#include "tests/library/every_export.h"

int main(void) {
    const LoadedLibrary linked = {
        NULL,
        AllocatePoolMemory,
        AllocateAlignedPoolMemory,
        FreePoolMemory,
        AllocatePoolSharedMemory,
        FreePoolSharedMemory,
        GetAvailableOSSize,
        GetAvailableShareOSSize,
        SetImageBufferNodeNum,
        GetImageBufferNodeNum,
        NotifyIncToolCount,
        NotifyDecToolCount,
        ZTKMemMap,
        ZTKMemUnmap,
    };
    return UseEveryExport(&linked) + FillPools(&linked) == 0 ? 0 : 1;
}
