#include "torture/processes/marker.h"

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>

namespace ztk::torture {
namespace {

Marker* g_pMarker = nullptr;
thread_local std::size_t g_nPlace = 0;

}  // namespace

const char* NameOf(Phase enPhase) {
    static constexpr std::array<const char*, static_cast<std::size_t>(Phase::kCount)> kNames = {
        "outside the library",
        "bookkeeping",
        "sweep: scan",
        "sweep: remove",
        "create",
        "set length",
        "reserve pages",
        "write header",
        "check header",
        "map",
        "clear",
        "unmap",
        "unlink",
        "close"};
    return kNames.at(static_cast<std::size_t>(enPhase));
}

Marker* MakeMarker() {
    void* pPage = mmap(nullptr, sizeof(Marker), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (pPage == MAP_FAILED) {
        std::perror("mmap");
        std::exit(2);
    }
    return new (pPage) Marker{};
}

void ResetMarker(Marker* pMarker) {
    pMarker->~Marker();
    new (pMarker) Marker{};
}

void MarkIn(Marker* pMarker) {
    g_pMarker = pMarker;
}

void TakePlace(std::size_t nPlace) {
    g_nPlace = nPlace;
}

void Mark(Phase enPhase) {
    if (g_pMarker == nullptr) return;
    g_pMarker->phases.at(g_nPlace) = enPhase;
    const std::uint64_t nMark = ++g_pMarker->marks.at(static_cast<std::size_t>(enPhase));
    if (enPhase != g_pMarker->enTarget || nMark != g_pMarker->nTarget) return;
    if (g_pMarker->bKillsItself) kill(getpid(), SIGKILL);
    g_pMarker->bReached = true;
}

Phase LastMark() {
    return g_pMarker == nullptr ? Phase::kOutside : g_pMarker->phases.at(g_nPlace).load();
}

}  // namespace ztk::torture
