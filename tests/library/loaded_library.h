/*
 * loaded_library.h - the library as a program gets it from dlopen(): thirteen addresses.
 */
#ifndef ZTK_TESTS_LOADED_LIBRARY_H
#define ZTK_TESTS_LOADED_LIBRARY_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct LoadedLibrary {
    void* hLibrary;
    uint32_t (*AllocatePoolMemory)(uint64_t nSize, int32_t enMemType, void** ppAddr, uint64_t* pHandle);
    uint32_t (*AllocateAlignedPoolMemory)(uint64_t nSize, int32_t nAlign, int32_t enMemType, void** ppAddr,
                                          uint64_t* pHandle);
    uint32_t (*FreePoolMemory)(void* pAddr);
    uint32_t (*AllocatePoolSharedMemory)(uint64_t nSize, void** ppAddr, char* szName);
    uint32_t (*FreePoolSharedMemory)(void* pAddr);
    uint64_t (*GetAvailableOSSize)(void);
    uint64_t (*GetAvailableShareOSSize)(void);
    void (*SetImageBufferNodeNum)(int32_t nNum);
    int32_t (*GetImageBufferNodeNum)(void);
    uint32_t (*NotifyIncToolCount)(void);
    uint32_t (*NotifyDecToolCount)(void);
    void* (*ZTKMemMap)(void);
    int32_t (*ZTKMemUnmap)(void);
} LoadedLibrary;

/** Loads with RTLD_NOW and finds every export. Returns 0, or -1 after saying on stderr what is missing. */
int LoadTheLibrary(const char* szPath, LoadedLibrary* pLibrary);

/** Returns 0 if dlclose() succeeded. */
int UnloadTheLibrary(LoadedLibrary* pLibrary);

/** 1 if a library of this path is loaded, else 0. */
int IsLibraryLoaded(const char* szPath);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_TESTS_LOADED_LIBRARY_H */
