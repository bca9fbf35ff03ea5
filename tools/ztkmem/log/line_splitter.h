// Bytes in, lines out, in bounded memory whatever the bytes are.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace ztkmem::log {

/// A line, or as much of it as is held at once.
struct Piece {
    std::string_view text;    ///< without the line's end
    std::uint64_t nLine = 0;  ///< the first is 1
    bool bFirst = true;       ///< the line begins here
    bool bLast = true;        ///< and ends here
};

class LineSplitter {
  public:
    using Sink = std::function<void(const Piece&)>;

    /// Lines longer than this come in pieces, cut where no message of up to 4 KiB is cut in two.
    static constexpr std::size_t kLongestPiece = 256UL * 1024;

    explicit LineSplitter(Sink sink) : sink_(std::move(sink)) {}

    void Feed(std::string_view bytes);

    /// The last line need not end in a line end.
    void Finish();

    std::uint64_t Lines() const { return nLines_; }

  private:
    void Append(std::string_view bytes);
    void Emit(std::string_view text, bool bLast);

    Sink sink_;
    std::string held_;
    std::uint64_t nLines_ = 0;
    bool bInLine_ = false;
};

}  // namespace ztkmem::log
