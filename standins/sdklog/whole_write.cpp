#include "standins/sdklog/whole_write.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace ztk_standin {
namespace {

constexpr int kPatienceMs = 1000;

bool MayTryAgain(int nFd, int nError) {
    if (nError == EINTR) return true;
    if (nError != EAGAIN) return false;
    pollfd ready{nFd, POLLOUT, 0};
    int nReady = 0;
    do {
        nReady = poll(&ready, 1, kPatienceMs);
    } while (nReady < 0 && errno == EINTR);
    return nReady > 0 && (ready.revents & POLLOUT) != 0;
}

}  // namespace

void WriteWhole(int nFd, const char* pBytes, std::size_t nBytes) {
    while (nBytes > 0) {
        const ssize_t nWritten = write(nFd, pBytes, nBytes);
        if (nWritten > 0) {
            pBytes += nWritten;
            nBytes -= static_cast<std::size_t>(nWritten);
        } else if (nWritten == 0 || !MayTryAgain(nFd, errno)) {
            return;
        }
    }
}

}  // namespace ztk_standin
