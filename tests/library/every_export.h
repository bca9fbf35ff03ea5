#ifndef ZTK_TESTS_EVERY_EXPORT_H
#define ZTK_TESTS_EVERY_EXPORT_H

#include "tests/library/loaded_library.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Calls each of the thirteen functions and looks at its result. Returns the number of failed checks. */
int UseEveryExport(const LoadedLibrary* pLibrary);

/**
 * Leaves one busy and one idle block of every kind in the pools: heap, MMZ, both also aligned, and shared.
 * Returns the number of failed checks.
 */
int FillPools(const LoadedLibrary* pLibrary);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_TESTS_EVERY_EXPORT_H */
