// A recording in the trace-event format that Chrome and Perfetto read, written as a stream.
#pragma once

#include <cstdio>
#include <map>
#include <set>
#include <string>

#include "record/books.h"
#include "record/call_sites.h"

namespace ztkmem::record {

class TraceWriter {
  public:
    /// @p sites must be resolved already.
    TraceWriter(std::FILE* pFile, const Facts& facts, const CallSites& sites);

    /// After each event that the books took.
    void Write(const Event& event, Verdict enVerdict, const Books& books);
    void Finish();

  private:
    void Add(const std::string& event);
    void NameThread(const Event& event);
    void WriteCall(const Event& event, Verdict enVerdict);
    void WriteMark(const Event& event, const char* szWhat);
    void WriteCounters(const Event& event, const Books& books);
    const std::string& SiteOf(std::uint32_t nSite);

    std::FILE* const pFile_;
    const Facts& facts_;
    const CallSites& callSites_;
    std::map<std::uint32_t, std::string> sites_;  ///< as JSON
    std::set<std::uint32_t> threads_;
    std::map<Kind, std::pair<std::uint64_t, std::uint64_t>> shown_;  ///< busy and idle bytes
    bool bFirst_ = true;
};

}  // namespace ztkmem::record
