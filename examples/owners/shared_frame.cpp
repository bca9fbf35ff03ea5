// A frame for another process: the owner keeps the block, the consumer opens it by name.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <system_error>
#include <ztk_common.hpp>

namespace {

/// The consumer's side. It needs ztk_shared_view.hpp alone and links nothing.
int Consume(const std::string& name) {
    try {
        const ztk::SharedView frame(name);
        const auto nBright = std::count(frame.Payload().begin(), frame.Payload().end(), std::byte{200});
        std::printf("consumer: %zu bytes, %ld of them bright\n", frame.Payload().size(),
                    static_cast<long>(nBright));
        return 0;
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "consumer: %s\n", error.what());
        return 1;
    }
}

int ConsumeInOtherProcess(const char* szName) {
    std::fflush(stdout);
    const pid_t nChild = fork();
    if (nChild == 0) {
        const int nExit = Consume(szName);
        std::fflush(stdout);
        _exit(nExit);
    }
    int nStatus = -1;
    return nChild > 0 && waitpid(nChild, &nStatus, 0) == nChild ? nStatus : -1;
}

bool Show() {
    ztk::SharedBlock frame(1000);
    const auto pixels = frame.Payload();  // behind the header, which consumers check
    std::fill(pixels.begin(), pixels.end(), std::byte{10});
    std::fill(pixels.begin(), pixels.begin() + 250, std::byte{200});

    const std::string name = frame.Name();
    const int nStatus = ConsumeInOtherProcess(name.c_str());
    frame.Reset();  // the consumer is done: the pool may hand the memory to the next frame

    std::error_code error;
    const auto view = ztk::SharedView::TryOpen("ZTKTool-of-nobody", error);
    std::printf("owner: a name that nobody has: %s\n", view ? "opened" : error.message().c_str());
    return nStatus == 0;
}

}  // namespace

int main() {
    try {
        return Show() ? 0 : 1;
    } catch (const std::system_error& refusal) {
        std::fprintf(stderr, "%s\n", refusal.what());
        return 1;
    }
}
