// What a sweep does, one call or log line after the other.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ztk::torture {

enum class What : int {
    kLstat,
    kLogNoFirst,
    kLogNoDirectory,
    kLogNoStatus,
    kLogNamed,
    kLogNoRegularFile,
    kLogMalformed,
    kLogOther,
    kKill,
    kOpen,
    kUnlink,
    kClose,
    kCloseDirectory,
    kBadText
};

/// A call or a line: which, and the number that it bears.
struct Event {
    What enWhat;
    std::int64_t nNumber;
};

inline bool operator==(const Event& a, const Event& b) {
    return a.enWhat == b.enWhat && a.nNumber == b.nNumber;
}

class Events {
  public:
    void Clear() { nCount_ = 0; }
    void Add(What enWhat, std::int64_t nNumber) {
        if (nCount_ < events_.size()) events_[nCount_++] = {enWhat, nNumber};
    }
    bool operator==(const Events& other) const {
        if (nCount_ != other.nCount_) return false;
        for (std::size_t i = 0; i < nCount_; ++i) {
            if (!(events_[i] == other.events_[i])) return false;
        }
        return true;
    }
    std::string Text() const {
        std::string text;
        for (std::size_t i = 0; i < nCount_; ++i)
            text += " " + std::to_string(static_cast<int>(events_[i].enWhat)) + ":" +
                    std::to_string(events_[i].nNumber);
        return text;
    }

  private:
    std::array<Event, 24> events_{};
    std::size_t nCount_ = 0;
};

}  // namespace ztk::torture
