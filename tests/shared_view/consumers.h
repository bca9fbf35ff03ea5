/*
 * The same consumer, compiled once as C99 and once as C++11: the header must be clean in both, and a view
 * filled by one must be readable by the other.
 */
#ifndef ZTK_TEST_CONSUMERS_H
#define ZTK_TEST_CONSUMERS_H

#include "common/ztk_shared_view.h"

#ifdef __cplusplus
extern "C" {
#endif

ZtkViewStatus C99Open(const char* szName, int bWritable, ZtkSharedView* pView);
void C99Close(ZtkSharedView* pView);
unsigned C99SumOf(const ZtkSharedView* pView);
size_t C99SizeOfView(void);

ZtkViewStatus Cxx11Open(const char* szName, int bWritable, ZtkSharedView* pView);
void Cxx11Close(ZtkSharedView* pView);
unsigned Cxx11SumOf(const ZtkSharedView* pView);
size_t Cxx11SizeOfView(void);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_TEST_CONSUMERS_H */
