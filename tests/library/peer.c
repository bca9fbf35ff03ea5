/*
 * peer.c - a second process: opens a shared block by its name, without the library, looks at the header and
 * the data and answers in the last byte. Usage: peer <name> <data bytes>
 */
#define _POSIX_C_SOURCE 200809L
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/library/check.h"

enum { kHeaderSize = 128 };

static void CheckHeader(const unsigned char* pHead, const char* szName, uint64_t nDataLen, int* pFailures) {
    unsigned char expected[kHeaderSize] = {0};
    expected[14] = kHeaderSize;
    memcpy(expected, &nDataLen, sizeof(nDataLen));
    memcpy(expected + 16, szName, strlen(szName) + 1); /* NUL included: the field is longer than any name */
    CHECK_EQUAL(pFailures, memcmp(pHead, expected, kHeaderSize), 0);
}

static void CheckData(const unsigned char* pData, uint64_t nDataLen, int* pFailures) {
    uint64_t i = 0;
    for (; i < nDataLen && *pFailures == 0; ++i)
        CHECK_EQUAL(pFailures, pData[i], i % 251);
}

int main(int argc, char** argv) {
    const uint64_t nDataLen = argc == 3 ? strtoull(argv[2], NULL, 10) : 0;
    const size_t nLen = (size_t)nDataLen + kHeaderSize;
    const int hObject = argc == 3 ? shm_open(argv[1], O_RDWR, 0) : -1;
    struct stat status;
    unsigned char* pView = NULL;
    int nFailures = 0;
    if (hObject < 0 || fstat(hObject, &status) != 0) return 2;
    CHECK_EQUAL(&nFailures, status.st_size, nLen);
    CHECK_EQUAL(&nFailures, status.st_mode & 0777, 0600);
    pView = mmap(NULL, nLen, PROT_READ | PROT_WRITE, MAP_SHARED, hObject, 0);
    close(hObject);
    if (pView == MAP_FAILED) return 2;
    CheckHeader(pView, argv[1], nDataLen, &nFailures);
    CheckData(pView + kHeaderSize, nDataLen, &nFailures);
    pView[nLen - 1] = '!';
    munmap(pView, nLen);
    return nFailures == 0 ? 0 : 1;
}
