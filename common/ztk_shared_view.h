/*
 * ztk_shared_view.h - the consumer's side of a named shared block: opens it by name in another process,
 * checks its 128-byte header and maps its data as it stands, without clearing it.
 *
 * Header-only, C99 and C++11, needs libc alone: a consumer does not link libZTKCommon.
 *
 *     ZtkSharedView view;
 *     ZtkViewStatus enStatus = ZtkOpenSharedView(szName, &view);
 *     if (enStatus != ZTK_VIEW_OK) { report(ZtkViewStatusText(enStatus)); return; }
 *     consume(view.pData, view.nDataLen);
 *     ZtkCloseSharedView(&view);
 *
 * Ownership. The object belongs to the pool that made it. A view only looks: it never creates, resizes,
 * clears or unlinks. It keeps a mapping and no descriptor, so it stays valid after the owner has given
 * the object back or has ended; the memory returns to the system with the last view.
 *
 * Threads. The functions have no state of their own. One ZtkSharedView must not be opened or closed by
 * two threads at once; reading its data from several is fine.
 *
 * Traps.
 *  - Nothing synchronises with the owner. After it frees the block, the pool may hand the same memory to
 *    its next caller while you still read: agree on who is done before the owner frees.
 *  - A freed block keeps its name and content while it idles in the owner's pool. That a name opens does
 *    not mean that the block is in use.
 *  - An owner that writes its data from the block's first byte, instead of behind the header, destroys
 *    the header: ZTK_VIEW_BAD_HEADER, or one of the statuses behind it.
 *  - A peer that shortens the object while it is mapped turns the next access behind its new end into
 *    SIGBUS. No check can prevent that; pools never do it.
 *  - In the instant between the owner's creating the object and stamping its header it is too short or
 *    its header is zero. Names received from the owner are past that.
 *  - Other processes can write into the block: what you decide on, copy first.
 *  - A plain flag in the block does not tell on ARM64 that what was written before it has arrived: set it by
 *    a release store, read it by an acquire load, or tell by a system call (a pipe, a semaphore).
 */
#ifndef ZTK_SHARED_VIEW_H
#define ZTK_SHARED_VIEW_H

#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

/** Bytes of header in front of the data. */
#define ZTK_VIEW_HEADER_SIZE 128
/** Longest name of an object (NAME_MAX), without a leading slash and the terminator. */
#define ZTK_VIEW_NAME_MAX 255

/** A mapped block. Fill it with one of the open functions; the members are for reading only. */
typedef struct ZtkSharedView {
    const unsigned char* pData; /**< first byte behind the header; null when closed */
    uint64_t nDataLen;          /**< bytes at pData; 0 for a block that is all header */
    void* pMapping;             /**< start of the mapping, header included; null when closed */
    size_t nMappingLen;         /**< bytes at pMapping */
    int bWritable;              /**< not 0: the data may be written through ZtkSharedViewData() */
} ZtkSharedView;

/** Why a block was not opened. The checks run in this order; the first that fails is reported. */
typedef enum ZtkViewStatus {
    ZTK_VIEW_OK = 0,
    ZTK_VIEW_BAD_ARGUMENT,  /**< no ZtkSharedView was passed */
    ZTK_VIEW_BAD_NAME,      /**< null, empty, longer than ZTK_VIEW_NAME_MAX, or with an inner slash */
    ZTK_VIEW_VANISHED,      /**< no object has this name (any more); errno is ENOENT */
    ZTK_VIEW_NOT_PERMITTED, /**< it is another user's, usually; errno is EACCES or EPERM */
    ZTK_VIEW_SYSTEM_ERROR,  /**< a system call failed; errno says why */
    ZTK_VIEW_NOT_AN_OBJECT, /**< a directory, pipe, socket or link bears the name */
    ZTK_VIEW_TOO_SHORT,     /**< shorter than the header */
    ZTK_VIEW_BAD_HEADER,    /**< its header length is not 128: no such block, or overwritten by its owner */
    ZTK_VIEW_MMZ_DESCRIBED, /**< the header describes an MMZ block; there is no data here */
    ZTK_VIEW_WRONG_LENGTH,  /**< the data length is not the object's size less the header */
    ZTK_VIEW_NAME_MISMATCH  /**< the header bears another name */
} ZtkViewStatus;

/* ---- From here to the next rule: not for callers ----------------------------------------------- */

#ifdef __cplusplus
#define ZTK_VIEW_CAST_(type, value) static_cast<type>(value)
#define ZTK_VIEW_NULL_ nullptr
#else
#define ZTK_VIEW_CAST_(type, value) ((type)(value))
#define ZTK_VIEW_NULL_ NULL
#endif

/* The header as it lies in memory, in the machine's byte order. A block's name has no terminator. */
#define ZTK_VIEW_AT_DATA_LEN_ 0
#define ZTK_VIEW_AT_BY_MMZ_ 9
#define ZTK_VIEW_AT_HEADER_LEN_ 14
#define ZTK_VIEW_AT_NAME_ 16
#define ZTK_VIEW_NAME_FIELD_ 80

static inline const char* ZtkViewBareName_(const char* szName) {
    return (szName != ZTK_VIEW_NULL_ && szName[0] == '/') ? szName + 1 : szName;
}

static inline int ZtkViewNameIsGood_(const char* szBareName) {
    size_t nLen = 0;
    if (szBareName == ZTK_VIEW_NULL_) return 0;
    while (szBareName[nLen] != '\0') {
        if (szBareName[nLen] == '/' || nLen == ZTK_VIEW_NAME_MAX) return 0;
        ++nLen;
    }
    return nLen > 0;
}

static inline ZtkViewStatus ZtkViewOpenError_(int nError) {
    switch (nError) {
        case ENOENT:
            return ZTK_VIEW_VANISHED;
        case EACCES:
        case EPERM:
            return ZTK_VIEW_NOT_PERMITTED;
        case ELOOP:  /* a link */
        case ENXIO:  /* a socket */
        case EISDIR: /* a directory, opened for writing; glibc makes it EINVAL */
        case EINVAL:
            return ZTK_VIEW_NOT_AN_OBJECT;
        default:
            return ZTK_VIEW_SYSTEM_ERROR;
    }
}

/* Without a terminator a name may fill the field; a longer one cannot be in it. */
static inline int ZtkViewNameMatches_(const unsigned char* pHeader, const char* szBareName) {
    char szExpected[ZTK_VIEW_NAME_FIELD_] = {0};
    const size_t nLen = strlen(szBareName);
    if (nLen > sizeof(szExpected)) return 0;
    memcpy(szExpected, szBareName, nLen);
    return memcmp(pHeader + ZTK_VIEW_AT_NAME_, szExpected, sizeof(szExpected)) == 0;
}

static inline ZtkViewStatus ZtkViewCheckHeader_(const unsigned char* pHeader, const char* szBareName,
                                                uint64_t nObjectLen) {
    uint64_t nDataLen = 0;
    uint16_t nHeaderLen = 0;
    memcpy(&nDataLen, pHeader + ZTK_VIEW_AT_DATA_LEN_, sizeof(nDataLen));
    memcpy(&nHeaderLen, pHeader + ZTK_VIEW_AT_HEADER_LEN_, sizeof(nHeaderLen));
    if (nHeaderLen != ZTK_VIEW_HEADER_SIZE) return ZTK_VIEW_BAD_HEADER;
    if (pHeader[ZTK_VIEW_AT_BY_MMZ_] != 0) return ZTK_VIEW_MMZ_DESCRIBED;
    if (nDataLen != nObjectLen - ZTK_VIEW_HEADER_SIZE) return ZTK_VIEW_WRONG_LENGTH;
    return ZtkViewNameMatches_(pHeader, szBareName) ? ZTK_VIEW_OK : ZTK_VIEW_NAME_MISMATCH;
}

/*
 * Reads the header with read() rather than through a mapping: it is copied exactly once, so a peer cannot
 * change it between check and use, and an object that is shortened meanwhile is a short read, not SIGBUS.
 */
static inline ZtkViewStatus ZtkViewCheckObject_(int nFd, const char* szBareName, uint64_t* pObjectLen) {
    unsigned char header[ZTK_VIEW_HEADER_SIZE];
    struct stat info;
    ssize_t nRead = 0;
    if (fstat(nFd, &info) != 0) return ZTK_VIEW_SYSTEM_ERROR;
    if (!S_ISREG(info.st_mode)) return ZTK_VIEW_NOT_AN_OBJECT;
    if (info.st_size < ZTK_VIEW_HEADER_SIZE) return ZTK_VIEW_TOO_SHORT;
    nRead = read(nFd, header, sizeof(header));
    if (nRead < 0) return ZTK_VIEW_SYSTEM_ERROR;
    if (nRead < ZTK_VIEW_HEADER_SIZE) return ZTK_VIEW_TOO_SHORT;
    *pObjectLen = ZTK_VIEW_CAST_(uint64_t, info.st_size);
    return ZtkViewCheckHeader_(header, szBareName, *pObjectLen);
}

static inline ZtkViewStatus ZtkViewMap_(int nFd, uint64_t nObjectLen, int bWritable, ZtkSharedView* pView) {
    void* pMapping = MAP_FAILED;
    size_t nMappingLen = 0;
    nMappingLen = ZTK_VIEW_CAST_(size_t, nObjectLen);
    if (nMappingLen != nObjectLen) { /* more than this machine can address */
        errno = ENOMEM;
        return ZTK_VIEW_SYSTEM_ERROR;
    }
    pMapping =
        mmap(ZTK_VIEW_NULL_, nMappingLen, bWritable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, nFd, 0);
    if (pMapping == MAP_FAILED) return ZTK_VIEW_SYSTEM_ERROR;
    pView->pMapping = pMapping;
    pView->nMappingLen = nMappingLen;
    pView->pData = ZTK_VIEW_CAST_(const unsigned char*, pMapping) + ZTK_VIEW_HEADER_SIZE;
    pView->nDataLen = nObjectLen - ZTK_VIEW_HEADER_SIZE;
    pView->bWritable = bWritable;
    return ZTK_VIEW_OK;
}

/* O_NONBLOCK: a pipe that bears the name must not block. shm_open() itself refuses links and sets
 * close-on-exec. */
static inline ZtkViewStatus ZtkViewOpen_(const char* szName, int bWritable, ZtkSharedView* pView) {
    static const ZtkSharedView closed = {ZTK_VIEW_NULL_, 0, ZTK_VIEW_NULL_, 0, 0};
    const char* szBareName = ZtkViewBareName_(szName);
    ZtkViewStatus enStatus = ZTK_VIEW_OK;
    uint64_t nObjectLen = 0;
    int nFd = -1;
    int nError = 0;
    if (pView == ZTK_VIEW_NULL_) return ZTK_VIEW_BAD_ARGUMENT;
    *pView = closed;
    if (!ZtkViewNameIsGood_(szBareName)) return ZTK_VIEW_BAD_NAME;
    nFd = shm_open(szBareName, (bWritable ? O_RDWR : O_RDONLY) | O_NONBLOCK, 0);
    if (nFd < 0) return ZtkViewOpenError_(errno);
    enStatus = ZtkViewCheckObject_(nFd, szBareName, &nObjectLen);
    if (enStatus == ZTK_VIEW_OK) enStatus = ZtkViewMap_(nFd, nObjectLen, bWritable, pView);
    nError = errno;
    close(nFd);
    errno = nError;
    return enStatus;
}

#undef ZTK_VIEW_AT_DATA_LEN_
#undef ZTK_VIEW_AT_BY_MMZ_
#undef ZTK_VIEW_AT_HEADER_LEN_
#undef ZTK_VIEW_AT_NAME_
#undef ZTK_VIEW_NAME_FIELD_

/* ---- For callers ------------------------------------------------------------------------------- */

/**
 * Opens a shared block for reading.
 *
 * Nothing is handed out unless the whole header fits the object: header length 128, data here and not in
 * an MMZ block, the data length EQUAL to the object's size less the header, the name in the header the
 * one that was opened. (Equal, not merely within: the owner sizes and stamps a block in one go and never
 * resizes it, so any difference means that the block was tampered with or is not one.) The reserved
 * header bytes are not looked at.
 *
 * @param szName the name that AllocatePoolSharedMemory() gave the owner; one leading slash is accepted.
 * @param pView  out: the view, or a closed one on failure. An open view must be closed before it is used
 *               again: it is overwritten.
 * @return ZTK_VIEW_OK, or why not; errno is meaningful for VANISHED, NOT_PERMITTED and SYSTEM_ERROR.
 */
static inline ZtkViewStatus ZtkOpenSharedView(const char* szName, ZtkSharedView* pView) {
    return ZtkViewOpen_(szName, 0, pView);
}

/** ZtkOpenSharedView() for reading and writing; write through ZtkSharedViewData(). */
static inline ZtkViewStatus ZtkOpenSharedViewWritable(const char* szName, ZtkSharedView* pView) {
    return ZtkViewOpen_(szName, 1, pView);
}

/** The data of a writable view, to write to; null for a read-only or closed one. */
static inline unsigned char* ZtkSharedViewData(const ZtkSharedView* pView) {
    if (pView == ZTK_VIEW_NULL_ || pView->pMapping == ZTK_VIEW_NULL_ || !pView->bWritable)
        return ZTK_VIEW_NULL_;
    return ZTK_VIEW_CAST_(unsigned char*, pView->pMapping) + ZTK_VIEW_HEADER_SIZE;
}

/**
 * Gives the mapping back; addresses into it dangle from then on. The object itself is left alone.
 * Closing a closed view, or null, does nothing. Keeps errno.
 */
static inline void ZtkCloseSharedView(ZtkSharedView* pView) {
    static const ZtkSharedView closed = {ZTK_VIEW_NULL_, 0, ZTK_VIEW_NULL_, 0, 0};
    const int nError = errno;
    if (pView == ZTK_VIEW_NULL_ || pView->pMapping == ZTK_VIEW_NULL_) return;
    munmap(pView->pMapping, pView->nMappingLen);
    *pView = closed;
    errno = nError;
}

#undef ZTK_VIEW_CAST_
#undef ZTK_VIEW_NULL_

/** A short English text for @p enStatus, never null. */
static inline const char* ZtkViewStatusText(ZtkViewStatus enStatus) {
    switch (enStatus) {
        case ZTK_VIEW_OK:
            return "opened";
        case ZTK_VIEW_BAD_ARGUMENT:
            return "no view to fill was given";
        case ZTK_VIEW_BAD_NAME:
            return "not a name of a shared block";
        case ZTK_VIEW_VANISHED:
            return "no shared block has this name";
        case ZTK_VIEW_NOT_PERMITTED:
            return "no permission to open the shared block";
        case ZTK_VIEW_SYSTEM_ERROR:
            return "a system call failed";
        case ZTK_VIEW_NOT_AN_OBJECT:
            return "what bears this name is not a shared-memory object";
        case ZTK_VIEW_TOO_SHORT:
            return "shorter than a block's header";
        case ZTK_VIEW_BAD_HEADER:
            return "no block header, or overwritten by its owner";
        case ZTK_VIEW_MMZ_DESCRIBED:
            return "describes an MMZ block, which cannot be opened by name";
        case ZTK_VIEW_WRONG_LENGTH:
            return "data length does not fit the object";
        case ZTK_VIEW_NAME_MISMATCH:
            return "header bears another name";
    }
    return "unknown status";
}

#endif /* ZTK_SHARED_VIEW_H */
