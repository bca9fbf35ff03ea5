// Names of every kind as real entries of a real /dev/shm, of every type of file, beside live, dead, zombie
// and foreign processes: after a load those are gone that the oracle says, and no others. The load runs as
// root or as another user, whose signals and unlinks the kernel refuses.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "tests/library/child.h"
#include "tests/library/library.h"
#include "torture/fuzz/name_maker.h"
#include "torture/fuzz/name_oracle.h"
#include "torture/processes/place.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "names-real";
constexpr uid_t kOtherUser = 65'534;

std::string PathOf(const std::string& name) {
    return "/dev/shm/" + name;
}

/// A process that stays, one that has ended and is not waited for, and one that is gone.
class Processes {
  public:
    Processes()
        : nLive_(test::StartChild([this] {
              end_.Await();
              return 0;
          })),
          nZombie_(test::StartChild([] { return 0; })),
          nGone_(test::StartChild([] { return 0; })) {
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(nZombie_), &info, WEXITED | WNOWAIT);
        test::AwaitEnd(nGone_);
    }
    ~Processes() {
        end_.Open();
        test::AwaitEnd(nLive_);
        test::AwaitEnd(nZombie_);
    }
    Processes(const Processes&) = delete;
    Processes& operator=(const Processes&) = delete;

    std::vector<std::string> Ids() const {
        return {std::to_string(nLive_), std::to_string(nZombie_), std::to_string(nGone_),
                "-" + std::to_string(getpgrp()), kNobody};
    }

  private:
    test::Latch end_;
    pid_t nLive_, nZombie_, nGone_;
};

bool MakeSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) return mkfifo(path.c_str(), 0600) == 0;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int hSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool bMade = bind(hSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    close(hSocket);
    return bMade;
}

bool MakeRegular(const std::string& path, bool bForOther) {
    const int hFile = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (hFile < 0) return false;
    const bool bMade = !bForOther || fchown(hFile, kOtherUser, kOtherUser) == 0;
    close(hFile);
    return bMade;
}

/// False if there is such an entry already.
bool Make(const std::string& name, std::uint64_t nKind, bool bForOther) {
    const std::string path = PathOf(name);
    switch (nKind) {
        case 0:
            return mkdir(path.c_str(), 0700) == 0;
        case 1:
            return symlink("/dev/null", path.c_str()) == 0;
        case 2:
            return symlink("nowhere", path.c_str()) == 0;
        case 3:
            return mkfifo(path.c_str(), 0600) == 0;
        case 4:
            return MakeSocket(path);
        case 5:
            return mknod(path.c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0;
        case 6:
            return mknod(path.c_str(), S_IFBLK | 0600, makedev(7, 255)) == 0;
        default:
            return MakeRegular(path, bForOther);
    }
}

struct Planted {
    EntryType enType;
    bool bOthers;  ///< the other user's
};

EntryType TypeOf(std::uint64_t nKind) {
    return nKind == 0 ? EntryType::kDirectory : nKind <= 6 ? EntryType::kOther : EntryType::kRegular;
}

/// In the process that loads: which of the entries are there afterwards and which must be. Whether a process
/// answers is asked of the kernel; which one to ask is the oracle's.
int LoadAndCompare(const std::map<std::string, Planted>& planted, bool bAsOther) {
    if (bAsOther && (setgid(kOtherUser) != 0 || setuid(kOtherUser) != 0)) return 1;
    std::map<std::string, bool> gone;
    const std::string own = std::to_string(getpid());
    for (const auto& [name, entry] : planted) {
        const Verdict verdict = Judge(name, entry.enType, own);
        const bool bStale = verdict.bOwn || (verdict.bAsked && kill(verdict.nAsked, 0) != 0);
        gone[name] = bStale && (!bAsOther || entry.bOthers);
    }
    test::Library library;
    int nDifferences = 0;
    for (const auto& [name, bGone] : gone) {
        struct stat status {};
        const bool bIsGone = lstat(PathOf(name).c_str(), &status) != 0 && errno == ENOENT;
        if (bIsGone == bGone) continue;
        std::printf("DIFFERENCE %s is %s (%zu bytes, own id %s%s)\n", name.c_str(), bIsGone ? "gone" : "kept",
                    name.size(), own.c_str(), bAsOther ? ", as another user" : "");
        ++nDifferences;
    }
    static_cast<void>(std::fflush(stdout));
    if (!library.Unload()) ++nDifferences;
    return nDifferences > 100 ? 100 : nDifferences;
}

std::map<std::string, Planted> Plant(Run& run, std::vector<std::string> ids, const std::string& own) {
    constexpr int kEntries = 400;
    ids.push_back(own);
    ids.push_back("0" + own);
    NameMaker names(run.Random()(), std::move(ids));
    std::map<std::string, Planted> planted;
    for (int i = 0; i < kEntries; ++i) {
        const std::string& name = names.Next();
        const std::uint64_t nKind = run.Pick(0, 19);
        const bool bOthers = run.Pick(0, 1) == 0;
        if (Make(name, nKind, bOthers)) planted[name] = {TypeOf(nKind), bOthers};
    }
    return planted;
}

/// The child plants the entries itself, still as root: so names can bear its own id.
void SweepOnce(Run& run, const Processes& processes) {
    const bool bAsOther = run.Pick(0, 1) == 0;
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    std::uint64_t nPlanted = 0;
    const std::uint64_t nSeed = run.Random()();
    const pid_t nChild = test::StartChild([&]() -> int {
        run.Random().seed(nSeed);
        const auto planted = Plant(run, processes.Ids(), std::to_string(getpid()));
        nPlanted = planted.size();
        if (write(ends[1], &nPlanted, sizeof(nPlanted)) != sizeof(nPlanted)) return 1;
        return LoadAndCompare(planted, bAsOther);
    });
    close(ends[1]);
    const auto ending = test::AwaitEnd(nChild);
    if (read(ends[0], &nPlanted, sizeof(nPlanted)) != sizeof(nPlanted)) nPlanted = 0;
    close(ends[0]);
    run.Expect(ending.nSignal == 0, "a load ended by signal %d", ending.nSignal);
    run.AddDifferences(ending.nExitCode > 0 ? static_cast<std::uint64_t>(ending.nExitCode) : 0);
    run.CountRun(nPlanted);
    EmptyShm();
}

int Main(int nCount, char** ppArguments) {
    Run run(kPart, nCount, ppArguments, 20'000);
    if (!EnterPrivateShm()) return ReportSkipped(kPart, "this kernel refuses a /dev/shm of its own");
    if (geteuid() != 0) return ReportSkipped(kPart, "only root can make files of every type and owner");
    setenv("ZTK_LOG_LEVEL", "5", 1);
    const Processes processes;
    while (run.GoesOn())
        SweepOnce(run, processes);
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
