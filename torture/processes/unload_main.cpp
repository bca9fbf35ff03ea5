// dlopen() and dlclose() again and again, with busy and idle blocks of every kind in the pools, in C and in
// C++ hosts: after every round no descriptor, mapping, thread or object more than before, and no growth in
// the end. The hosts are those of tests/library; each says itself what it found, and how much memory it grew
// by.
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>

#include "tests/library/child.h"
#include "torture/processes/place.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "unloads";
/// Of each host at first, and of each that follows when there is time for more.
constexpr std::uint64_t kFirstRounds = 1000;
constexpr std::uint64_t kLaterRounds = 10'000;

struct Host {
    const char* szName;
    const char* szPath;
};

constexpr std::array<Host, 4> kHosts = {{{"C host", ZTK_HOST_C_PATH},
                                         {"C++ host", ZTK_HOST_CXX_PATH},
                                         {"C host that is the board itself", ZTK_HOST_C_OWN_PATH},
                                         {"C++ host that is the board itself", ZTK_HOST_CXX_OWN_PATH}}};

int Main(int nCount, char** ppArguments) {
    Run run(kPart, nCount, ppArguments, kHosts.size() * kFirstRounds);
    if (!EnterPrivateShm()) return ReportSkipped(kPart, "this kernel refuses a /dev/shm of its own");
    for (std::size_t nHost = 0; run.GoesOn(); nHost = (nHost + 1) % kHosts.size()) {
        const Host& host = kHosts.at(nHost);
        const std::uint64_t nRounds = run.Runs() < kHosts.size() * kFirstRounds ? kFirstRounds : kLaterRounds;
        std::printf("%s: ", host.szName);
        const auto ending =
            test::RunProgram({host.szPath, ZTK_LIBRARY_PATH, "rounds", std::to_string(nRounds)});
        run.Expect(ending == test::Exited(0), "%s: exit code %d, signal %d", host.szName, ending.nExitCode,
                   ending.nSignal);
        for (const std::string& name : ShmEntries())
            run.Differs("%s left %s", host.szName, name.c_str());
        EmptyShm();
        run.CountRun(nRounds);
    }
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
