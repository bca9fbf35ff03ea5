// What the live view shows: rows for processes and their segments, their order, and which of them are in the
// window. No terminal, no system access.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "survey.h"

namespace ztkmem {

enum class TopSort { kResident, kLength, kSegments, kGrowth, kPid };

enum class TopKey {
    kUp,
    kDown,
    kPageUp,
    kPageDown,
    kHome,
    kEnd,
    kNextSort,
    kPreviousSort,
    kSortByResident,
    kSortByPid,
    kReverse,
};

enum class TopStyle { kPlain, kTitle, kProcess, kStale };

struct TopLine {
    std::string text;  ///< escaped, not cut
    TopStyle enStyle = TopStyle::kPlain;
    bool bSelected = false;
};

class TopModel {
  public:
    /// New facts. Growth is counted from the first survey that showed the process.
    void Update(const Survey& survey);

    void Press(TopKey enKey);

    /// The window's lines: two of totals, one of titles, then as many rows as fit. @p clock: the time of day,
    /// to show.
    std::vector<TopLine> Lines(std::size_t nHeight, const std::string& clock);

  private:
    struct ProcessRow {
        int nId = 0;  ///< 0: segments without an owner
        std::string command;
        OwnerState enState = OwnerState::kNone;
        std::vector<Segment> segments;
        std::size_t nMapped = 0;  ///< segments of others
        std::uint64_t nLength = 0;
        std::uint64_t nResident = 0;
        std::uint64_t nOwnMemory = 0;
    };

    void AddOwners(const Survey& survey);
    void AddUsers(const Survey& survey);
    ProcessRow& RowOf(int nId, const ProcessTable& processes);
    void SortRows();
    std::int64_t WeightOf(const ProcessRow& row) const;
    std::int64_t GrowthOf(const ProcessRow& row) const;
    std::vector<TopLine> Rows() const;
    TopLine ProcessLine(const ProcessRow& row) const;
    std::string SummaryLine(const std::string& clock) const;
    std::string StaleLine() const;
    std::size_t RowCount() const;
    void KeepSelectionVisible(std::size_t nWindow);

    std::map<int, ProcessRow> byId_;
    std::vector<ProcessRow> rows_;
    std::map<int, std::uint64_t> firstResident_;
    Totals totals_;
    std::size_t nUnread_ = 0;
    TopSort enSort_ = TopSort::kResident;
    bool bReverse_ = false;
    std::size_t nSelected_ = 0;
    std::size_t nFirst_ = 0;
    std::size_t nWindow_ = 1;
};

}  // namespace ztkmem
