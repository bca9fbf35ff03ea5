// Exhausted resources: each of a list of cases, at its limit and beside it, in a process of its own. It ends
// as the case says, with the status the case says, and a load afterwards finds or leaves nothing of it.
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "torture/processes/place.h"
#include "torture/report.h"
#include "torture/resources/limit_case.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "limits";

/// Something mounted on a path while this exists.
class Mounted {
  public:
    Mounted(const char* szSource, const char* szTarget, const char* szType, unsigned long nFlags,
            const std::string& options)
        : szTarget_(szTarget) {
        if (mount(szSource, szTarget, szType, nFlags, options.c_str()) == 0) return;
        std::perror(szTarget);
        std::exit(2);
    }
    ~Mounted() { umount2(szTarget_, MNT_DETACH); }
    Mounted(const Mounted&) = delete;
    Mounted& operator=(const Mounted&) = delete;

  private:
    const char* const szTarget_;
};

/// A file to be mounted over /proc/meminfo; only the mount keeps it.
constexpr char kCover[] = "/dev/shm/cover";

/// A load without limits, which takes away what a killed one has left.
void ExpectNothingLeft(Run& run, const LimitCase& one) {
    const auto load = [] {
        test::Library library;
        return library.Unload() ? 0 : 1;
    };
    const bool bKilled = one.expected.nSignal != 0;
    for (const std::string& name : ShmEntries())
        run.Expect(bKilled || name == kOthersFile, "%s: left %s", one.name.c_str(), name.c_str());
    run.Expect(test::RunChild(load) == test::Exited(0), "%s: the load after it failed", one.name.c_str());
    for (const std::string& name : ShmEntries())
        run.Expect(name == kOthersFile, "%s: left %s after a load", one.name.c_str(), name.c_str());
    EmptyShm();
}

void RunBody(Run& run, const LimitCase& one) {
    one.prepare();
    const auto ending = test::RunChild([&one] {
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_CORE, &none);
        return one.body();
    });
    std::printf("%-62s %s\n", one.name.c_str(),
                ending.nSignal != 0 ? strsignal(ending.nSignal)
                                    : (ending.nExitCode == 0 ? "a status" : "NOT AS EXPECTED"));
    run.Expect(ending == one.expected, "%s: exit code %d, signal %d", one.name.c_str(), ending.nExitCode,
               ending.nSignal);
    ExpectNothingLeft(run, one);
    run.CountRun();
}

void RunWithMemInfo(Run& run, const LimitCase& one) {
    if (!one.bMemInfo) return RunBody(run, one);
    std::ofstream(kCover) << one.memInfo;
    const Mounted cover(kCover, "/proc/meminfo", nullptr, MS_BIND, "");
    unlink(kCover);
    RunBody(run, one);
}

void RunCase(Run& run, const LimitCase& one) {
    if (one.shmOptions.empty()) return RunWithMemInfo(run, one);
    const Mounted small("tmpfs", "/dev/shm", "tmpfs", 0, one.shmOptions);
    RunWithMemInfo(run, one);
}

/// Nobody, root included, can open a socket as a file.
LimitCase MissingMemInfo() {
    for (LimitCase one : MemInfoCases()) {
        if (one.name != "/proc/meminfo empty") continue;
        one.name = "/proc/meminfo missing";
        one.bMemInfo = false;
        return one;
    }
    std::abort();
}

void RunWithoutMemInfo(Run& run) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, kCover, sizeof(kCover));
    const int hSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(hSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) std::perror("bind");
    close(hSocket);
    const Mounted cover(kCover, "/proc/meminfo", nullptr, MS_BIND, "");
    unlink(kCover);
    RunCase(run, MissingMemInfo());
}

int Main(int nCount, char** ppArguments) {
    Run run(kPart, nCount, ppArguments, 1);
    if (!EnterPrivateShm()) return ReportSkipped(kPart, "this kernel refuses a /dev/shm of its own");
    setenv("ZTK_LOG_LEVEL", "5", 1);
    while (run.GoesOn()) {
        for (const auto& cases :
             {FullShmCases(), DescriptorCases(), FileLimitCases(), AddressSpaceCases(), MemInfoCases()}) {
            for (const LimitCase& one : cases)
                RunCase(run, one);
        }
        RunWithoutMemInfo(run);
    }
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
