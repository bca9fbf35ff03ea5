// Functions that look at their arguments and go on to another function, as if they had never been: for
// arguments that cannot be passed on in C++ (those behind "..."), and for functions that look at who called
// them.
#pragma once

extern "C" {

/// The log library's function, once it is known.
extern __attribute__((visibility("hidden"))) void* g_pZtkRecordRealLog;

// Each tells where to go on to.
__attribute__((visibility("hidden"))) void* ZtkRecordDlsym(void* hLibrary, const char* szName);
__attribute__((visibility("hidden"))) void* ZtkRecordLogLine(int nLevel, const char* szFormat,
                                                             const char* szFunction, int nLine,
                                                             const char* szTag, const char* szAddress);
}
