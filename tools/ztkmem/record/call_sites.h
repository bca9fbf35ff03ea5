// What the numbers of call sites stand for.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace ztkmem::record {

struct Frame {
    std::uint32_t nModule = 0;
    std::uint64_t nAddress = 0;  ///< in the module's file, of the instruction after the call
    std::string symbol;          ///< the nearest that the module exports
};

class CallSites {
  public:
    /// Of the recording's lines. Those that are none are passed over.
    explicit CallSites(const std::vector<std::string>& lines);

    /// Asks addr2line for functions and lines of these sites, if it is there and the programs still are.
    void Resolve(const std::set<std::uint32_t>& sites);
    void ResolveAll();

    /// The caller first, printable: "TakeFrame camera.cpp:31", or as much as is known.
    std::vector<std::string> NamesOf(std::uint32_t nSite) const;
    std::string NameOf(std::uint32_t nSite) const;

  private:
    using Place = std::pair<std::uint32_t, std::uint64_t>;  ///< module, address

    void TakeModule(const std::string& line);
    void TakeSite(const std::string& line);
    std::string NameOf(const Frame& frame) const;

    std::map<std::uint32_t, std::string> modules_;
    std::map<std::uint32_t, std::vector<Frame>> sites_;
    std::map<Place, std::string> names_;
};

/// "function\nfile:line" for each address, as addr2line has it; empty if it cannot tell.
std::vector<std::string> AskAddr2Line(const std::string& module, const std::vector<std::uint64_t>& addresses);

}  // namespace ztkmem::record
