#include "tests/library/loaded_library.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "common/ztk_common.h"

static int Find(void* hLibrary, const char* szName, void* pFunction, int* pMissing) {
    void* pAddr = dlsym(hLibrary, szName);
    if (pAddr == NULL) {
        fprintf(stderr, "not exported: %s\n", szName);
        ++*pMissing;
    }
    memcpy(pFunction, &pAddr, sizeof(pAddr)); /* C has no cast from an object to a function */
    return pAddr != NULL;
}

/* The comparison is never made: it lets the compiler hold the pointer's type against the public header. */
/* NOLINTBEGIN(bugprone-macro-parentheses): the argument is a name */
#define FIND(name) \
    Find(pLibrary->hLibrary, #name, &pLibrary->name, &nMissing) && sizeof(pLibrary->name == &name)
/* NOLINTEND(bugprone-macro-parentheses) */

int LoadTheLibrary(const char* szPath, LoadedLibrary* pLibrary) {
    int nMissing = 0;
    int nFound = 0;
    pLibrary->hLibrary = dlopen(szPath, RTLD_NOW | RTLD_LOCAL);
    if (pLibrary->hLibrary == NULL) {
        fprintf(stderr, "cannot load: %s\n", dlerror());
        return -1;
    }
    nFound += FIND(AllocatePoolMemory);
    nFound += FIND(AllocateAlignedPoolMemory);
    nFound += FIND(FreePoolMemory);
    nFound += FIND(AllocatePoolSharedMemory);
    nFound += FIND(FreePoolSharedMemory);
    nFound += FIND(GetAvailableOSSize);
    nFound += FIND(GetAvailableShareOSSize);
    nFound += FIND(SetImageBufferNodeNum);
    nFound += FIND(GetImageBufferNodeNum);
    nFound += FIND(NotifyIncToolCount);
    nFound += FIND(NotifyDecToolCount);
    nFound += FIND(ZTKMemMap);
    nFound += FIND(ZTKMemUnmap);
    return nFound == 13 && nMissing == 0 ? 0 : -1;
}

int UnloadTheLibrary(LoadedLibrary* pLibrary) {
    return dlclose(pLibrary->hLibrary);
}

int IsLibraryLoaded(const char* szPath) {
    void* hLibrary = dlopen(szPath, RTLD_NOW | RTLD_NOLOAD);
    if (hLibrary == NULL) return 0;
    dlclose(hLibrary);
    return 1;
}
