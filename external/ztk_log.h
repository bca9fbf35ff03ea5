/*
 * ztk_log.h - the two functions of libZTKSDKLogC, the kit's logging library, that this project calls.
 */
#ifndef ZTK_EXTERNAL_ZTK_LOG_H
#define ZTK_EXTERNAL_ZTK_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

/** Writes one line at @p level (0 trace .. 4 error); @p format is printf's. Any thread. */
void ZTK_LOG_WriteLog(int level, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;

/** The lowest level that is written. */
int ZTK_LOG_GetLogLevel(void);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_EXTERNAL_ZTK_LOG_H */
