#include "log/lives.h"

#include <algorithm>

namespace ztkmem::log {
namespace {

/// How long work is assumed to go on behind a line.
constexpr double kLongestPause = 60;

/// The two pools of a process start one right after the other.
constexpr std::uint64_t kStartLines = 1000;
constexpr double kStartSeconds = 5;

bool HasIds(const Speaker& speaker) {
    return speaker.nProcess != 0 || speaker.nThread != 0;
}

bool IsAnother(const Life& life, const Speaker& speaker) {
    return speaker.nProcess != 0 && life.nProcess != 0 && life.nProcess != speaker.nProcess;
}

double Pause(const Moment& from, const Moment& to) {
    if (!from.HasTime() || !to.HasTime()) return 0;
    return std::clamp(to.seconds - from.seconds, 0.0, kLongestPause);
}

bool IsCloseTo(const Moment& first, const Moment& moment) {
    if (moment.HasTime() && first.HasTime()) return moment.seconds - first.seconds <= kStartSeconds;
    return moment.nLine - first.nLine <= kStartLines;
}

}  // namespace

Lives::Lives() {
    Add(Moment());
}

Life& Lives::Add(const Moment& moment) {
    lives_.push_back(std::make_unique<Life>());
    lives_.back()->first = moment;
    lives_.back()->last = moment;
    lives_.back()->logActiveAtLast = active_;
    return *lives_.back();
}

std::unordered_map<std::uint64_t, Life*>& Lives::TableOf(const Speaker& speaker) {
    auto& table = speaker.nProcess != 0 ? byProcess_ : byThread_;
    if (table.size() >= kMostSpeakers) table.clear();
    return table;
}

void Lives::Attach(const Speaker& speaker, Life& life) {
    if (!HasIds(speaker)) return;
    TableOf(speaker)[speaker.nProcess != 0 ? speaker.nProcess : speaker.nThread] = &life;
    life.bKnownIds = true;
    if (speaker.nProcess != 0) life.nProcess = speaker.nProcess;
}

Life& Lives::Of(const Speaker& speaker, const Moment& moment) {
    if (!HasIds(speaker)) return *lives_.back();
    const auto& table = TableOf(speaker);
    const auto found = table.find(speaker.nProcess != 0 ? speaker.nProcess : speaker.nThread);
    if (found != table.end()) return *found->second;
    Life& life = IsAnother(*lives_.back(), speaker) ? Add(moment) : *lives_.back();
    Attach(speaker, life);
    return life;
}

/// The one of the same process id, else the newest.
Life& Lives::Likeliest(const Speaker& speaker) const {
    const auto found = byProcess_.find(speaker.nProcess);
    return found == byProcess_.end() ? *lives_.back() : *found->second;
}

/// The second pool's start belongs to the life that the first one's began.
bool Lives::Joins(const Life& life, Pool enPool, const Speaker& speaker, const Moment& moment) const {
    if (life.At(enPool).bStarted || life.At(enPool).nLimitLines != 0) return false;
    if (IsAnother(life, speaker)) return false;
    return (nBegun_ == 0 && life.last.nLine == 0) || IsCloseTo(life.first, moment);
}

Life& Lives::Begin(Pool enPool, const Speaker& speaker, const Moment& moment) {
    Life& likeliest = Likeliest(speaker);
    const bool bJoins = Joins(likeliest, enPool, speaker, moment);
    Life& life = bJoins ? likeliest : Add(moment);
    const bool bSecondPool =
        bJoins && life.At(enPool == Pool::kLocal ? Pool::kShared : Pool::kLocal).bStarted;
    if (!bSecondPool) ++nBegun_;
    if (life.first.nLine == 0) life.first = moment;
    life.At(enPool).bStarted = true;
    life.At(enPool).activeAtLimit = life.active;
    Attach(speaker, life);
    return life;
}

void Lives::NameProcess(Life& life, std::uint64_t nProcess) {
    if (life.nProcess == 0) life.nProcess = nProcess;
}

void Lives::Spoke(Life& life, bool bInformation, const Moment& moment) {
    active_ += Pause(last_, moment);
    last_ = moment;
    if (life.first.nLine == 0) life.first = moment;
    if (bInformation) {
        if (life.bTold) life.active += Pause(life.last, moment);
        life.bTold = true;
        life.last = moment;
    }
    life.logActiveAtLast = active_;
}

std::vector<Life*> Lives::Ended(const Life& speaking) const {
    std::vector<Life*> ended;
    for (const auto& pLife : lives_) {
        if (pLife.get() == &speaking || pLife->bEnded || pLife->first.nLine == 0) continue;
        const bool bSilent = pLife->bTold && active_ - pLife->logActiveAtLast > kSilence;
        if (pLife->bKnownIds ? bSilent : pLife != lives_.back()) ended.push_back(pLife.get());
    }
    return ended;
}

Life* Lives::OneTooMany() const {
    if (lives_.size() <= kMost) return nullptr;
    const auto earlier = [](const auto& one, const auto& other) {
        if (one->bEnded != other->bEnded) return one->bEnded;
        return one->last.nLine < other->last.nLine;
    };
    return std::min_element(lives_.begin(), lives_.end() - 1, earlier)->get();
}

void Lives::Forget(const Life* pLife) {
    for (auto* pTable : {&byProcess_, &byThread_}) {
        for (auto it = pTable->begin(); it != pTable->end();)
            it = it->second == pLife ? pTable->erase(it) : std::next(it);
    }
    lives_.erase(
        std::find_if(lives_.begin(), lives_.end(), [pLife](const auto& p) { return p.get() == pLife; }));
}

}  // namespace ztkmem::log
