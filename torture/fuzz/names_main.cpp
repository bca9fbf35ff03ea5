// Names of every kind through the sweep of the built library: the directory, its objects and the processes
// are made up (fed_sweep.h), so that millions fit into seconds; every call and every line is compared with
// the oracle's. names_real_main.cpp does the same with real files and processes, and fewer of them.
#include <array>
#include <cerrno>
#include <cstdio>

#include "tests/library/library.h"
#include "torture/fuzz/fed_sweep.h"
#include "torture/fuzz/name_maker.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "names";
constexpr std::uint64_t kEntriesOfALoad = 200'000;

struct Load {
    std::uint64_t nLeft;
    NameMaker names;
    std::mt19937_64 random;

    bool Next(FedEntry& entry) {
        if (nLeft-- == 0) return false;
        const std::uint64_t nBits = random();
        entry.name = (nBits & 0xfffU) == 1 ? "." : (nBits & 0xfffU) == 2 ? ".." : names.Next();
        const std::uint64_t nType = nBits >> 12U & 15U;
        entry.enType = nType == 0   ? EntryType::kOther
                       : nType == 1 ? EntryType::kDirectory
                                    : EntryType::kRegular;
        const std::uint64_t nError = nBits >> 16U & 63U;
        entry.nLstatError = nError == 0 ? ENOENT : nError == 1 ? EACCES : 0;
        entry.hObject = (nBits >> 22U & 7U) == 0 ? -1 : static_cast<int>(1'000'000 + (nBits >> 32U & 0xffU));
        entry.bRemovable = (nBits >> 25U & 7U) != 0;
        return true;
    }
};

FedDirectory PickDirectory(Run& run) {
    switch (run.Pick(0, 63)) {
        case 0:
            return FedDirectory::kUnopenable;
        case 1:
            return FedDirectory::kEmpty;
        default:
            return FedDirectory::kReadable;
    }
}

std::uint64_t SweepOnce(Run& run, std::uint64_t nEntries) {
    const std::array<pid_t, 5> owners = {1, 7, 4711, 32'768, 4'194'303};
    const pid_t nOwn = owners.at(run.Pick(0, owners.size() - 1));
    const std::string own = std::to_string(nOwn);
    std::mt19937_64 ids(run.Random()());
    Load load{nEntries,
              NameMaker(run.Random()(),
                        {own, own, "0" + own, own + "x", " " + own, "-" + own, std::to_string(ids() % 99),
                         std::to_string(ids() % 32'768), std::to_string(ids() % 4'194'304)}),
              std::mt19937_64(run.Random()())};
    BeginFedSweep({PickDirectory(run), nOwn, run.Random()(),
                   [&load](FedEntry& entry) { return load.Next(entry); },
                   [&run](const std::string& text) { run.Differs("%s", text.c_str()); }});
    test::Library library;
    const std::uint64_t nHandled = EndFedSweep();
    run.Expect(library.Unload(), "the library was not unloaded");
    return nHandled;
}

int Main(int nCount, char** ppArguments) {
    Run run(kPart, nCount, ppArguments, 10'000'000);
    std::uint64_t nLoads = 0;
    while (run.GoesOn()) {
        run.CountRun(SweepOnce(run, ++nLoads % 8 == 0 ? run.Pick(0, 3) : kEntriesOfALoad));
    }
    std::printf("%llu names in %llu loads\n", static_cast<unsigned long long>(run.Runs()),
                static_cast<unsigned long long>(nLoads));
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
