#include "survey.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <system_error>

#include "text.h"

namespace ztkmem {
namespace {

HeaderVerdict Unreadable(int nError) {
    return {HeaderState::kUnreadable,
            {nError == EWOULDBLOCK ? "its maker holds a lease" : std::strerror(nError)}};
}

HeaderVerdict JudgeStart(const ObjectFile& file, Segment& segment) {
    const std::vector<std::uint8_t> start = file.Read(0, kHeaderSize);
    if (start.size() < kHeaderSize) return JudgeTooShort(start.size());
    HeaderBytes bytes{};
    std::copy(start.begin(), start.end(), bytes.begin());
    segment.header = DecodeHeader(bytes);
    // not the length noted before: an object that is just being made has grown since
    const std::uint64_t nLength = std::max<std::uint64_t>(file.Length(), kHeaderSize);
    return JudgeHeader(*segment.header, segment.name, segment.enKind, nLength);
}

HeaderVerdict JudgeContent(const ShmDirectory& directory, Segment& segment) {
    if (!segment.facts.bRegular) return {HeaderState::kNoObject, {"a directory, link, pipe or socket"}};
    const ObjectFile file = directory.Open(segment.name);
    if (!file.IsOpen()) return Unreadable(errno);
    try {
        return JudgeStart(file, segment);
    } catch (const std::system_error& error) {
        return Unreadable(error.code().value());
    }
}

void JudgeItsOwner(const ProcessTable& processes, Segment& segment) {
    if (segment.nOwner <= 0) return;
    OwnerFacts facts;
    facts.enSignalled = AskFor(segment.nOwner);
    facts.bEveryProcessSeen = SeesEveryProcess(processes.visibility);
    facts.bIdInInnerNamespace = processes.HasInnerId(segment.nOwner);
    facts.nObjectMadeAt = segment.facts.nMadeAt;
    const Process* pOwner = processes.visibility.bProcIsOurs ? processes.Find(segment.nOwner) : nullptr;
    if (pOwner != nullptr) facts.process = pOwner->vitals;
    segment.enOwner = JudgeOwner(facts);
    if (pOwner != nullptr) segment.command = Escape(pOwner->command);
}

void JudgeAsTheSweep(Segment& segment) {
    const auto nOwner = SweepOwner(segment.name);
    if (!nOwner || !segment.facts.bRegular || *nOwner == 0) {
        segment.sweepRemoves = false;
    } else if (*nOwner > 0) {
        segment.sweepRemoves = AskFor(*nOwner) != Signalled::kReached;
    }
}

void FindUsers(const ProcessTable& processes, Segment& segment) {
    for (const Process& process : processes.processes) {
        const auto& inodes = process.mappedInodes;
        if (process.nId != segment.nOwner &&
            std::binary_search(inodes.begin(), inodes.end(), segment.facts.id.nInode)) {
            segment.users.push_back({process.nId, Escape(process.command)});
        }
    }
}

}  // namespace

std::optional<Segment> LookAtSegment(const ShmDirectory& directory, const std::string& name,
                                     const ProcessTable& processes) {
    const auto facts = directory.Look(name);
    if (!facts) return std::nullopt;
    const SegmentName parsed = ParseSegmentName(name);
    Segment segment;
    segment.name = name;
    segment.enKind = parsed.enKind;
    segment.nOwner = parsed.nOwner;
    segment.facts = *facts;
    segment.nAge = static_cast<std::int64_t>(std::time(nullptr)) - facts->nMadeAt;
    segment.verdict = JudgeContent(directory, segment);
    if (segment.verdict.enState == HeaderState::kUnreadable && !directory.Look(name)) return std::nullopt;
    JudgeItsOwner(processes, segment);
    JudgeAsTheSweep(segment);
    FindUsers(processes, segment);
    return segment;
}

Survey TakeSurvey(const ShmDirectory& directory, Which enWhich, bool bVouchedFor) {
    const std::vector<std::string> names = directory.Names();
    Survey survey;
    survey.processes = ReadProcesses(Mappings::kRead, directory.Device());
    survey.processes.visibility.bVouchedFor = bVouchedFor;
    survey.bEveryProcessSeen = SeesEveryProcess(survey.processes.visibility);
    for (const std::string& name : names) {
        if (enWhich == Which::kPoolSegments && ParseSegmentName(name).enKind == NameKind::kForeign) continue;
        auto segment = LookAtSegment(directory, name, survey.processes);
        if (segment) survey.segments.push_back(std::move(*segment));
    }
    return survey;
}

}  // namespace ztkmem
