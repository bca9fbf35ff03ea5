#include "log/scanner.h"

#include <algorithm>

namespace ztkmem::log {
namespace {

/// As much of what stands in front of a message as is looked at.
constexpr std::size_t kLongestPrefix = 256;

std::string_view WithoutEnd(std::string_view message) {
    while (!message.empty() && static_cast<unsigned char>(message.back()) <= ' ')
        message.remove_suffix(1);
    return message;
}

std::string_view Tail(std::string_view text, std::size_t nMost) {
    return text.substr(text.size() - std::min(text.size(), nMost));
}

/// In a glued line, what stands before the time is the end of another message.
Speaker SpeakerIn(std::string_view prefix, const std::optional<Stamp>& stamp, bool bGlued) {
    if (!stamp) return bGlued ? Speaker() : ReadSpeaker(prefix);
    Speaker speaker = ReadSpeaker(prefix.substr(stamp->nEnd));
    if (!bGlued && speaker.nProcess == 0)
        speaker.nProcess = ReadSpeaker(prefix.substr(0, stamp->nBegin)).nProcess;
    return speaker;
}

/// Wrapped in JSON, a message may have its time behind it.
std::optional<Stamp> StampBehind(std::string_view rest) {
    const bool bWrapped = !rest.empty() && (rest.front() == '"' || rest.front() == '\\');
    return bWrapped ? FindStamp(rest.substr(0, kLongestPrefix)) : std::nullopt;
}

}  // namespace

Scanner::Scanner(Analysis& analysis)
    : analysis_(analysis),
      splitter_([this](const Piece& piece) { OnPiece(piece); }),
      dump_([this](Memory enMemory, const DumpedBlock& block) {
          analysis_.OnDumpedBlock(enMemory, block.nAddress, block.nSize);
      }) {}

void Scanner::Finish() {
    splitter_.Finish();
    analysis_.Finish();
}

void Scanner::OnPiece(const Piece& piece) {
    auto place = FindPlace(piece.text, 0);
    if (dump_.IsOpen() && (!place || !piece.bFirst)) {
        const std::string_view before = place ? piece.text.substr(0, place->nBegin) : piece.text;
        dump_.Feed(before, piece.bFirst, piece.bLast && !place);
    }
    std::size_t nBegin = 0;
    for (bool bGlued = false; place; bGlued = true) {
        const auto next = FindPlace(piece.text, place->nEnd);
        const std::size_t nEnd = next ? next->nBegin : piece.text.size();
        const std::string_view prefix = piece.text.substr(nBegin, place->nBegin - nBegin);
        OnMessage(piece, Tail(prefix, kLongestPrefix), bGlued || !piece.bFirst, *place,
                  piece.text.substr(place->nEnd, nEnd - place->nEnd));
        nBegin = place->nEnd;
        place = next;
    }
}

void Scanner::OnMessage(const Piece& piece, std::string_view prefix, bool bGlued, const Place& place,
                        std::string_view message) {
    LogLine line;
    switch (ReadLine(place, WithoutEnd(message), line)) {
        case Reading::kForeign:
            return;
        case Reading::kTorn:
            return analysis_.OnTorn();
        case Reading::kWhole:
            break;
    }
    const auto stamp = FindStamp(prefix);
    const Moment moment = timeline_.At(piece.nLine, stamp ? stamp : StampBehind(line.rest));
    OnWhole(piece, line, SpeakerIn(prefix, stamp, bGlued), moment);
}

void Scanner::OnWhole(const Piece& piece, const LogLine& line, const Speaker& speaker, const Moment& moment) {
    analysis_.OnLine(line, speaker, moment);
    if (line.What() == Meaning::kDumpDetail) {
        dump_.Begin(line.Kind());
        dump_.Feed(line.rest, true, piece.bLast);
    } else if (line.What() == Meaning::kDumpTotal) {
        const bool bWhole = dump_.End(line.Kind(), line.Number(0), line.Size());
        analysis_.OnDump(line, bWhole ? &dump_.Sizes() : nullptr, speaker, moment);
    }
}

}  // namespace ztkmem::log
