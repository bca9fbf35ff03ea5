// The lines of a log, taken apart and handed to the analysis.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "log/analysis.h"
#include "log/dump_reader.h"
#include "log/line_splitter.h"
#include "log/timeline.h"

namespace ztkmem::log {

class Scanner {
  public:
    explicit Scanner(Analysis& analysis);

    void Feed(std::string_view bytes) { splitter_.Feed(bytes); }
    void Finish();

    const Timeline& Times() const { return timeline_; }
    std::uint64_t Lines() const { return splitter_.Lines(); }

  private:
    void OnPiece(const Piece& piece);
    void OnMessage(const Piece& piece, std::string_view prefix, bool bGlued, const Place& place,
                   std::string_view message);
    void OnWhole(const Piece& piece, const LogLine& line, const Speaker& speaker, const Moment& moment);

    Analysis& analysis_;
    LineSplitter splitter_;
    DumpReader dump_;
    Timeline timeline_;
};

}  // namespace ztkmem::log
