// A hostile process of the same user works on the segments while their owner does: whatever it does, each of
// the owner's calls comes back with a success or with "no memory", its books stay whole, and it dies at most
// of SIGBUS, when pages that it is using are taken from it. What becomes of whom is printed as a table.
#include <dirent.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <string>

#include "tests/library/child.h"
#include "tests/library/library.h"
#include "tests/library/process_state.h"
#include "torture/processes/attacks.h"
#include "torture/processes/place.h"
#include "torture/report.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "attacks";
constexpr std::uint64_t kCallsOfAnAttack = 1000;

/// Shared by the owner and its attacker; it outlives an owner that is killed.
struct Books {
    std::atomic<std::uint64_t> nGranted, nRefused, nReleased, nOther, nDescriptors;
    std::atomic<bool> bEnded;

    std::uint64_t Calls() const { return nGranted + nRefused + nReleased + nOther; }
};

class Owner {
  public:
    Owner(Books& books, std::uint64_t nSeed) : books_(books), random_(nSeed) {}

    int Run() {
        const int nDescriptors = CountDescriptors();
        while (books_.Calls() < kCallsOfAnAttack)
            Step();
        for (Block& block : blocks_)
            Release(block);
        Flush();
        books_.nDescriptors += static_cast<std::uint64_t>(CountDescriptors() - nDescriptors);
        return library_.Unload() ? 0 : 1;
    }

  private:
    struct Block {
        void* pAddr = nullptr;
        std::uint64_t nSize = 0;
    };

    std::uint64_t Pick(std::uint64_t nBelow) { return random_() % nBelow; }

    void Step() {
        Block& block = blocks_[Pick(sizeof(blocks_) / sizeof(blocks_[0]))];
        if (block.pAddr == nullptr) return Obtain(block);
        if (Pick(3) == 0) return Use(block);
        Release(block);
        if (Pick(4) == 0) Flush();
    }

    void Obtain(Block& block) {
        char szName[ZTK_SHARED_NAME_SIZE];
        block.nSize = 128 + Pick(40'000);
        const std::uint32_t nStatus = library_.AllocatePoolSharedMemory(block.nSize, &block.pAddr, szName);
        if (nStatus == ZTK_SUCCESS) {
            ++books_.nGranted;
        } else {
            ++(nStatus == ERR_NO_MEMORY ? books_.nRefused : books_.nOther);
        }
    }

    static void Use(const Block& block) {
        std::memset(static_cast<char*>(block.pAddr) + ZTK_SHARED_HEADER_SIZE, 0x5a,
                    block.nSize - ZTK_SHARED_HEADER_SIZE);
    }

    void Release(Block& block) {
        if (block.pAddr == nullptr) return;
        ++(library_.FreePoolSharedMemory(block.pAddr) == ZTK_SUCCESS ? books_.nReleased : books_.nOther);
        block.pAddr = nullptr;
    }

    void Flush() {
        void* pAddr = nullptr;
        char szName[ZTK_SHARED_NAME_SIZE];
        if (library_.AllocatePoolSharedMemory(UINT64_MAX, &pAddr, szName) != ERR_NO_MEMORY) ++books_.nOther;
    }

    Books& books_;
    std::mt19937_64 random_;
    test::Library library_;
    Block blocks_[8];
};

Books* MakeBooks() {
    void* pPage = mmap(nullptr, sizeof(Books), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (pPage == MAP_FAILED) std::abort();
    return new (pPage) Books{};
}

/// One pass over all that is there now. Returns how often it attacked.
std::uint64_t AttackAll(const Attack& attack, std::mt19937_64& random) {
    std::uint64_t nAttacks = 0;
    DIR* pDirectory = opendir("/dev/shm");
    if (pDirectory == nullptr) std::abort();
    while (const dirent* pEntry = readdir(pDirectory)) {
        if (std::strncmp(pEntry->d_name, "ZTKTool-", 8) != 0) continue;
        attack.pOn(pEntry->d_name, random);
        ++nAttacks;
    }
    closedir(pDirectory);
    return nAttacks;
}

/// Attacks one owner until it has ended. Returns how it did, and adds to the attacks.
test::Ending AttackOwner(Run& run, const Attack& attack, Books& books, std::uint64_t& nAttacks) {
    books.bEnded = false;
    const std::uint64_t nSeed = run.Random()();
    std::mt19937_64 random(nSeed);  // the attacker's own: it comes as often as it can
    const pid_t nOwner = test::StartChild([&books, nSeed] {
        const int nResult = Owner(books, nSeed).Run();
        books.bEnded = true;
        return nResult;
    });
    siginfo_t info{};
    while (!books.bEnded && info.si_pid == 0) {
        nAttacks += AttackAll(attack, random);
        waitid(P_PID, static_cast<id_t>(nOwner), &info, WEXITED | WNOHANG | WNOWAIT);
    }
    return test::AwaitEnd(nOwner);
}

void ExpectSweepable(Run& run, const Attack& attack) {
    const auto ending = test::RunChild([] {
        test::Library library;
        return library.Unload() ? 0 : 1;
    });
    run.Expect(ending == test::Exited(0), "%s: the load afterwards failed", attack.szName);
    for (const std::string& name : ShmEntries())
        run.Expect(name.compare(0, 7, "renamed") == 0, "%s: left after a load: %s", attack.szName,
                   name.c_str());
    EmptyShm();
}

/// What came of one kind of attack so far.
struct Tally {
    std::uint64_t nAttacks, nGranted, nRefused, nReleased, nKilled, nDescriptors;
};

void Suffer(Run& run, const Attack& attack, Tally& tally) {
    Books* const pBooks = MakeBooks();
    while (pBooks->Calls() < kCallsOfAnAttack) {
        const auto ending = AttackOwner(run, attack, *pBooks, tally.nAttacks);
        const bool bKilled = ending == test::Killed(SIGBUS);
        tally.nKilled += bKilled ? 1 : 0;
        run.Expect(ending == test::Exited(0) || (bKilled && attack.bMayKill),
                   "%s: the owner ended with exit code %d, signal %d", attack.szName, ending.nExitCode,
                   ending.nSignal);
        if (!bKilled && !(ending == test::Exited(0))) break;
    }
    run.Expect(pBooks->nOther == 0, "%s: %llu statuses that must not be", attack.szName,
               static_cast<unsigned long long>(pBooks->nOther));
    tally.nGranted += pBooks->nGranted;
    tally.nRefused += pBooks->nRefused;
    tally.nReleased += pBooks->nReleased;
    tally.nDescriptors += pBooks->nDescriptors;
    run.CountRun(pBooks->Calls());
    munmap(pBooks, sizeof(Books));
    ExpectSweepable(run, attack);
}

void Print(const std::array<Tally, kAttacks.size()>& tallies) {
    std::printf("%-32s %9s %9s %9s %9s %9s %9s\n", "a peer that, on what it finds,", "attacks", "granted",
                "refused", "released", "SIGBUS", "fds kept");
    for (std::size_t nAttack = 0; nAttack < kAttacks.size(); ++nAttack) {
        const Tally& tally = tallies.at(nAttack);
        std::printf("%-32s", kAttacks.at(nAttack).szName);
        for (const std::uint64_t nFigure : {tally.nAttacks, tally.nGranted, tally.nRefused, tally.nReleased,
                                            tally.nKilled, tally.nDescriptors})
            std::printf(" %9llu", static_cast<unsigned long long>(nFigure));
        std::printf("\n");
    }
}

int Main(int nCount, char** ppArguments) {
    Run run(kPart, nCount, ppArguments, 9000);
    if (!EnterPrivateShm()) return ReportSkipped(kPart, "this kernel refuses a /dev/shm of its own");
    setenv("ZTK_LOG_LEVEL", "5", 1);
    std::array<Tally, kAttacks.size()> tallies{};
    do {
        for (std::size_t nAttack = 0; nAttack < kAttacks.size(); ++nAttack)
            Suffer(run, kAttacks.at(nAttack), tallies.at(nAttack));
    } while (run.GoesOn());
    Print(tallies);
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
