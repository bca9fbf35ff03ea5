/*
 * ztk_sdklog_standin.h - what the desk's stand-in for libZTKSDKLogC has beyond the board's functions.
 *
 * A line is "<UTC time with milliseconds> <level word> <thread id> <message>", for instance
 *
 *     2024-02-29T23:59:59.042Z warning 1234 [AllocateMemory@155][ZtkCommon] ...
 *
 * Line ends at the end of a message are dropped, those inside it are kept. A line goes out in one write():
 * lines of several threads and processes do not mix in a file. A pipe gives that promise for lines up to
 * 4096 bytes (PIPE_BUF) only; for long dumps name a file.
 *
 * Environment, read once, when the library is first loaded; an empty value counts as unset:
 *   ZTK_LOG_LEVEL  the lowest level written: 0 trace, 1 info, 2 notice, 3 warning, 4 error, 5 nothing;
 *                  3 by default.
 *   ZTK_LOG_FILE   the file that lines are appended to; it is created if needed. Default: stderr.
 */
#ifndef ZTK_SDKLOG_STANDIN_H
#define ZTK_SDKLOG_STANDIN_H

#ifdef __cplusplus
extern "C" {
#endif

/** Writes lines of @p nLevel and above from now on; above 4 there are none. Any thread. */
void ZTK_LOG_SetLogLevel(int nLevel);

#ifdef __cplusplus
}
#endif

#endif /* ZTK_SDKLOG_STANDIN_H */
