#include "standins/board/board.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <new>
#include <numeric>

namespace ztk_board {

/// The file's content. Programs and launcher are of one build, so its layout is nobody else's business.
struct Board::State {
    std::uint64_t nMagic;
    pthread_mutex_t lock;
    BoardPlan plan;
    std::array<CallCounters, kCallKinds> calls;
    MmzCounters mmz;
    std::uint64_t nLeastAvailable;
    std::size_t nExtents;
    std::array<Extent, kMostExtents> extents;
};

namespace {

constexpr std::uint64_t kMagic = 0x0142'4b54'5a00'0001;

bool InitLock(pthread_mutex_t* pLock) {
    pthread_mutexattr_t attributes;
    const bool bDone = pthread_mutexattr_init(&attributes) == 0 &&
                       pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED) == 0 &&
                       pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST) == 0 &&
                       pthread_mutex_init(pLock, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return bDone;
}

void* MapAll(int hFile, std::size_t nBytes) {
    void* pMapping = mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_SHARED, hFile, 0);
    return pMapping == MAP_FAILED ? nullptr : pMapping;
}

bool HasLength(int hFile, std::size_t nBytes) {
    struct stat info {};
    if (fstat(hFile, &info) != 0) return false;
    if (static_cast<std::size_t>(info.st_size) == nBytes) return true;
    errno = EINVAL;
    return false;
}

bool IsDead(std::int64_t nPid) {
    return kill(static_cast<pid_t>(nPid), 0) != 0 && errno == ESRCH;
}

}  // namespace

/// Holds the lock, also after another process died with it: at worst it left one block's record behind.
class Board::Locked {
  public:
    explicit Locked(State* pState) : pState_(pState) {
        if (pthread_mutex_lock(&pState_->lock) == EOWNERDEAD) pthread_mutex_consistent(&pState_->lock);
    }
    ~Locked() { pthread_mutex_unlock(&pState_->lock); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

    State* operator->() const { return pState_; }

    std::optional<Place> Fit(std::uint64_t nBytes) const {
        if (pState_->nExtents == kMostExtents) return std::nullopt;
        return FirstFit(pState_->extents.data(), pState_->nExtents, pState_->plan.nMmz, nBytes);
    }

    void Insert(const Place& place, std::uint64_t nBytes) const {
        Extent* pAt = pState_->extents.data() + place.nIndex;
        std::move_backward(pAt, End(), End() + 1);
        *pAt = Extent{place.nStart, nBytes, getpid()};
        ++pState_->nExtents;
        Recount();
    }

    template <class Predicate>
    void RemoveIf(Predicate predicate) const {
        Extent* pKept = std::remove_if(pState_->extents.data(), End(), predicate);
        pState_->nExtents = static_cast<std::size_t>(pKept - pState_->extents.data());
        Recount();
    }

  private:
    Extent* End() const { return pState_->extents.data() + pState_->nExtents; }

    void Recount() const {
        MmzCounters& mmz = pState_->mmz;
        mmz.nBlocks = pState_->nExtents;
        mmz.nBytes =
            std::accumulate(pState_->extents.data(), End(), std::uint64_t{0},
                            [](std::uint64_t nSum, const Extent& extent) { return nSum + extent.nBytes; });
        mmz.nPeakBytes = std::max(mmz.nPeakBytes, mmz.nBytes);
    }

    State* pState_;
};

int Board::Create(const std::string& path, const BoardPlan& plan) {
    const int hFile = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (hFile < 0) return errno;
    void* pMapping = ftruncate(hFile, sizeof(State)) == 0 ? MapAll(hFile, sizeof(State)) : nullptr;
    int nError = pMapping == nullptr ? errno : 0;
    close(hFile);
    if (pMapping == nullptr) return nError;
    auto* pState = ::new (pMapping) State();
    pState->plan = plan;
    pState->nLeastAvailable = plan.nMemory;
    pState->nMagic = kMagic;
    if (!InitLock(&pState->lock)) nError = ENOTSUP;
    munmap(pMapping, sizeof(State));
    return nError;
}

std::unique_ptr<Board> Board::Attach(const char* szPath) {
    const int hFile = open(szPath, O_RDWR | O_CLOEXEC);
    if (hFile < 0) return nullptr;
    void* pMapping = HasLength(hFile, sizeof(State)) ? MapAll(hFile, sizeof(State)) : nullptr;
    const int nError = errno;
    close(hFile);
    errno = nError;
    if (pMapping == nullptr) return nullptr;
    auto* pState = static_cast<State*>(pMapping);
    if (pState->nMagic == kMagic) return std::unique_ptr<Board>(new Board(pState));
    munmap(pMapping, sizeof(State));
    errno = EINVAL;
    return nullptr;
}

Board* Board::OfEnvironment() {
    const char* szPath = std::getenv(kBoardVariable);
    return szPath == nullptr || szPath[0] == '\0' ? nullptr : Attach(szPath).release();
}

Board::~Board() {
    munmap(pState_, sizeof(State));
}

const BoardPlan& Board::Plan() const {
    return pState_->plan;
}

bool Board::Fails(Call enCall) {
    const Locked state(pState_);
    const auto nKind = static_cast<std::size_t>(enCall);
    CallCounters& calls = state->calls[nKind];
    ++calls.nCalls;
    const auto& rules = state->plan.rules[nKind];
    const bool bFails = std::any_of(rules.begin(), rules.end(),
                                    [&](const FailureRule& rule) { return Hits(rule, calls.nCalls); });
    if (bFails) ++calls.nFailed;
    return bFails;
}

std::optional<std::uint64_t> Board::PlaceMmz(std::uint64_t nBytes) {
    const Locked state(pState_);
    std::optional<Place> place = state.Fit(nBytes);
    if (!place) {
        state.RemoveIf([](const Extent& extent) { return IsDead(extent.nPid); });
        place = state.Fit(nBytes);
    }
    if (!place) {
        const bool bFull = state->plan.nMmz - state->mmz.nBytes < nBytes;
        ++(bFull ? state->mmz.nFull : state->mmz.nFragmented);
        return std::nullopt;
    }
    state.Insert(*place, nBytes);
    return place->nStart;
}

void Board::RemoveMmz(std::uint64_t nStart) {
    const Locked state(pState_);
    state.RemoveIf([&](const Extent& extent) { return extent.nStart == nStart; });
}

void Board::NoteAvailable(std::uint64_t nBytes) {
    const Locked state(pState_);
    state->nLeastAvailable = std::min(state->nLeastAvailable, nBytes);
}

CallCounters Board::Calls(Call enCall) {
    const Locked state(pState_);
    return state->calls[static_cast<std::size_t>(enCall)];
}

MmzCounters Board::Mmz() {
    const Locked state(pState_);
    return state->mmz;
}

std::uint64_t Board::LeastAvailable() {
    const Locked state(pState_);
    return state->nLeastAvailable;
}

}  // namespace ztk_board
