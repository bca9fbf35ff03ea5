// Small helpers of the portable layer. Their odd results are what ported code expects of them.
#pragma once

#include <cstddef>

namespace ztk {

/// strcpy(); @p nSize is not enforced: keeping the text short enough is the caller's duty.
char* portable_strcpy(char* pDest, std::size_t nSize, const char* pSource);
char* portable_lstrcpy(char* pDest, std::size_t nSize, const char* pSource);

/// strcasecmp().
int portable_stricmp(const char* szFirst, const char* szSecond);

/// Copies @p nCount bytes in any case, then judges: 0 if the source is not null and the destination is
/// large enough, else -1.
int portable_memcpy(void* pDest, std::size_t nSize, const void* pSource, std::size_t nCount);

/// The start of the 4096-byte page that holds @p pAddr.
void* portable_pagebase(void* pAddr);

/// Milliseconds of the wall clock since the epoch.
double portable_milliseconds();

/// dlopen() with RTLD_NOW; null on failure.
void* portable_loadlibrary(const char* szFile);

/// dlsym(); null if there is none.
void* portable_findsymbol(void* hLibrary, const char* szName);

}  // namespace ztk
