#include "top_model.h"

#include <fmt/format.h>

#include <algorithm>

#include "describe.h"
#include "text.h"

namespace ztkmem {
namespace {

constexpr std::size_t kHeadLines = 3;

const char* SortText(TopSort enSort) {
    switch (enSort) {
        case TopSort::kResident:
            return "resident";
        case TopSort::kLength:
            return "length";
        case TopSort::kSegments:
            return "segments";
        case TopSort::kGrowth:
            return "growth";
        case TopSort::kPid:
            return "pid";
    }
    return "?";
}

TopSort Sorted(TopSort enSort, TopKey enKey) {
    constexpr int kSorts = static_cast<int>(TopSort::kPid) + 1;
    const int nSort = static_cast<int>(enSort);
    switch (enKey) {
        case TopKey::kNextSort:
            return static_cast<TopSort>((nSort + 1) % kSorts);
        case TopKey::kPreviousSort:
            return static_cast<TopSort>((nSort + kSorts - 1) % kSorts);
        case TopKey::kSortByResident:
            return TopSort::kResident;
        case TopKey::kSortByPid:
            return TopSort::kPid;
        default:
            return enSort;
    }
}

SortKey KeyForSegments(TopSort enSort) {
    return enSort == TopSort::kLength ? SortKey::kLength : SortKey::kResident;
}

TopLine SegmentLine(const Segment& segment) {
    const std::string users = segment.users.empty() ? "" : "  mapped by " + UsersText(segment.users);
    return {fmt::format("{:>41}{:>9}{:>10}  {}  {}  {}{}", "", HumanBytes(segment.facts.nLength),
                        HumanBytes(segment.facts.nResident), Escape(segment.name),
                        HeaderStateText(segment.verdict.enState), HumanAge(segment.nAge), users),
            IsStale(segment) ? TopStyle::kStale : TopStyle::kPlain, false};
}

std::size_t Stepped(std::size_t nAt, TopKey enKey, std::size_t nPage, std::size_t nCount) {
    const std::size_t nLast = nCount == 0 ? 0 : nCount - 1;
    switch (enKey) {
        case TopKey::kUp:
            return nAt == 0 ? 0 : nAt - 1;
        case TopKey::kDown:
            return std::min(nAt + 1, nLast);
        case TopKey::kPageUp:
            return nAt < nPage ? 0 : nAt - nPage;
        case TopKey::kPageDown:
            return std::min(nAt + nPage, nLast);
        case TopKey::kHome:
            return 0;
        case TopKey::kEnd:
            return nLast;
        default:
            return nAt;
    }
}

}  // namespace

TopModel::ProcessRow& TopModel::RowOf(int nId, const ProcessTable& processes) {
    ProcessRow& row = byId_[nId];
    row.nId = nId;
    if (const Process* pProcess = processes.Find(nId)) {
        row.command = Escape(pProcess->command);
        row.nOwnMemory = pProcess->nResident;
    }
    return row;
}

void TopModel::AddOwners(const Survey& survey) {
    for (const Segment& segment : survey.segments) {
        ProcessRow& row = RowOf(segment.nOwner, survey.processes);
        row.enState = segment.enOwner;
        row.nLength += segment.facts.nLength;
        row.nResident += segment.facts.nResident;
        row.segments.push_back(segment);
    }
}

void TopModel::AddUsers(const Survey& survey) {
    for (const Segment& segment : survey.segments) {
        for (const User& user : segment.users) {
            ProcessRow& row = RowOf(user.nId, survey.processes);
            if (row.enState == OwnerState::kNone) row.enState = OwnerState::kAlive;
            ++row.nMapped;
        }
    }
}

void TopModel::Update(const Survey& survey) {
    byId_.clear();
    totals_ = AddUp(survey.segments);
    nUnread_ = survey.processes.nUnread;
    AddOwners(survey);
    AddUsers(survey);
    std::map<int, std::uint64_t> first;
    rows_.clear();
    for (auto& [nId, row] : byId_) {
        const auto known = firstResident_.find(nId);
        first[nId] = known == firstResident_.end() ? row.nResident : known->second;
        rows_.push_back(std::move(row));
    }
    byId_.clear();
    firstResident_ = std::move(first);
    SortRows();
}

std::int64_t TopModel::GrowthOf(const ProcessRow& row) const {
    return static_cast<std::int64_t>(row.nResident) - static_cast<std::int64_t>(firstResident_.at(row.nId));
}

std::int64_t TopModel::WeightOf(const ProcessRow& row) const {
    switch (enSort_) {
        case TopSort::kResident:
            return static_cast<std::int64_t>(row.nResident);
        case TopSort::kLength:
            return static_cast<std::int64_t>(row.nLength);
        case TopSort::kSegments:
            return static_cast<std::int64_t>(row.segments.size());
        case TopSort::kGrowth:
            return GrowthOf(row);
        case TopSort::kPid:
            break;
    }
    return -row.nId;
}

void TopModel::SortRows() {
    std::stable_sort(rows_.begin(), rows_.end(), [this](const ProcessRow& one, const ProcessRow& other) {
        const std::int64_t nOne = WeightOf(one);
        const std::int64_t nOther = WeightOf(other);
        if (nOne == nOther) return one.nId < other.nId;
        return bReverse_ ? nOne < nOther : nOne > nOther;
    });
    for (ProcessRow& row : rows_)
        SortSegments(row.segments, KeyForSegments(enSort_), bReverse_);
}

void TopModel::Press(TopKey enKey) {
    enSort_ = Sorted(enSort_, enKey);
    if (enKey == TopKey::kReverse) bReverse_ = !bReverse_;
    SortRows();
    nSelected_ = Stepped(nSelected_, enKey, nWindow_, RowCount());
}

std::size_t TopModel::RowCount() const {
    std::size_t nCount = rows_.size();
    for (const ProcessRow& row : rows_)
        nCount += row.segments.size();
    return nCount;
}

TopLine TopModel::ProcessLine(const ProcessRow& row) const {
    const auto nFirst = firstResident_.at(row.nId);
    const std::string owner =
        row.nId == 0 ? "(no owner in the name)" : fmt::format("{}", row.command.empty() ? "-" : row.command);
    const std::string memory =
        row.nOwnMemory == 0 ? "" : fmt::format("  (process: {})", HumanBytes(row.nOwnMemory));
    const bool bDead = IsProvenDead(row.enState);
    return {fmt::format("{:>8}  {:<12}{:>6}{:>6}{:>7}{:>9}{:>10}  {}{}",
                        row.nId == 0 ? "-" : std::to_string(row.nId), OwnerStateText(row.enState),
                        row.segments.size(), row.nMapped, HumanDifference(nFirst, row.nResident),
                        HumanBytes(row.nLength), HumanBytes(row.nResident), owner, memory),
            bDead ? TopStyle::kStale : TopStyle::kProcess, false};
}

std::vector<TopLine> TopModel::Rows() const {
    std::vector<TopLine> lines;
    for (const ProcessRow& row : rows_) {
        lines.push_back(ProcessLine(row));
        for (const Segment& segment : row.segments)
            lines.push_back(SegmentLine(segment));
    }
    return lines;
}

std::string TopModel::SummaryLine(const std::string& clock) const {
    return fmt::format("ztkmem top {}  {}, {}, {} long, {} resident", clock, Counted(rows_.size(), "process"),
                       Counted(totals_.nSegments, "segment"), HumanBytes(totals_.nLength),
                       HumanBytes(totals_.nResident));
}

std::string TopModel::StaleLine() const {
    std::string text = totals_.nStale == 0 ? "nothing stale"
                                           : fmt::format("{} stale with {}", totals_.nStale,
                                                         HumanBytes(totals_.nStaleResident));
    if (totals_.nNotVisible != 0)
        text += fmt::format(", {} not visible", Counted(totals_.nNotVisible, "owner"));
    if (nUnread_ != 0) text += fmt::format(", {} not looked into", Counted(nUnread_, "process"));
    return fmt::format("{}   sorted by {}{}   q quit  h help  < > sort  R reverse", text, SortText(enSort_),
                       bReverse_ ? ", reversed" : "");
}

void TopModel::KeepSelectionVisible(std::size_t nWindow) {
    nWindow_ = std::max<std::size_t>(nWindow, 1);
    const std::size_t nCount = RowCount();
    nSelected_ = nCount == 0 ? 0 : std::min(nSelected_, nCount - 1);
    nFirst_ = std::min(nFirst_, nCount > nWindow_ ? nCount - nWindow_ : 0);
    nFirst_ = std::min(nFirst_, nSelected_);
    if (nSelected_ >= nFirst_ + nWindow_) nFirst_ = nSelected_ - nWindow_ + 1;
}

std::vector<TopLine> TopModel::Lines(std::size_t nHeight, const std::string& clock) {
    KeepSelectionVisible(nHeight > kHeadLines ? nHeight - kHeadLines : 0);
    std::vector<TopLine> lines{
        {SummaryLine(clock), TopStyle::kPlain, false},
        {StaleLine(), TopStyle::kPlain, false},
        {fmt::format("{:>8}  {:<12}{:>6}{:>6}{:>7}{:>9}{:>10}  {}", "PID", "STATE", "OWNS", "MAPS", "GROWTH",
                     "LENGTH", "RESIDENT", "COMMAND, SEGMENT"),
         TopStyle::kTitle, false}};
    std::vector<TopLine> rows = Rows();
    for (std::size_t i = nFirst_; i < rows.size() && lines.size() < nHeight; ++i) {
        rows[i].bSelected = i == nSelected_;
        lines.push_back(std::move(rows[i]));
    }
    lines.resize(std::min(lines.size(), nHeight));
    return lines;
}

}  // namespace ztkmem
