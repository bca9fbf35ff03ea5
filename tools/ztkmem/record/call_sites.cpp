#include "record/call_sites.h"

#include <cxxabi.h>
#include <fmt/format.h>

#include <charconv>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>

#include "text.h"

namespace ztkmem::record {
namespace {

constexpr std::size_t kMostFrames = 64;

/// The text up to @p chEnd, which is taken off the front; no value if there is none.
std::optional<std::string_view> TakeField(std::string_view& text, char chEnd) {
    const std::size_t nEnd = text.find(chEnd);
    if (nEnd == std::string_view::npos) return std::nullopt;
    const std::string_view field = text.substr(0, nEnd);
    text.remove_prefix(nEnd + 1);
    return field;
}

template <class Number>
std::optional<Number> Parse(std::optional<std::string_view> text, int nBase) {
    Number nValue{};
    if (!text) return std::nullopt;
    const auto [pEnd, error] = std::from_chars(text->data(), text->data() + text->size(), nValue, nBase);
    if (error != std::errc() || pEnd != text->data() + text->size()) return std::nullopt;
    return nValue;
}

std::string Demangled(const std::string& symbol) {
    int nStatus = 0;
    const std::unique_ptr<char, void (*)(void*)> plain(
        abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &nStatus), std::free);
    return nStatus == 0 && plain ? plain.get() : symbol;
}

std::string LastPart(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

/// "function\n/folder/file:line (discriminator 2)" as "function file:line"; "function " without a line,
/// nothing without a function.
std::string Shortened(const std::string& answer) {
    const std::size_t nBreak = answer.find('\n');
    if (nBreak == std::string::npos) return {};
    std::string function = answer.substr(0, nBreak);
    constexpr std::string_view kNoNamespace = "(anonymous namespace)::";
    for (std::size_t nAt = 0; (nAt = function.find(kNoNamespace)) != std::string::npos;)
        function.erase(nAt, kNoNamespace.size());
    std::string place = LastPart(answer.substr(nBreak + 1));
    place = place.substr(0, place.find(" ("));
    if (function == "??") return {};
    return fmt::format("{} {}", function, place.rfind("??", 0) == 0 ? "" : place);
}

}  // namespace

CallSites::CallSites(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        if (line.rfind("M\t", 0) == 0) TakeModule(line.substr(2));
        if (line.rfind("S\t", 0) == 0) TakeSite(line.substr(2));
    }
}

void CallSites::TakeModule(const std::string& line) {
    std::string_view rest = line;
    const auto nModule = Parse<std::uint32_t>(TakeField(rest, '\t'), 10);
    if (nModule) modules_[*nModule] = rest;
}

void CallSites::TakeSite(const std::string& line) {
    std::string_view rest = line;
    const auto nSite = Parse<std::uint32_t>(TakeField(rest, '\t'), 10);
    if (!nSite) return;
    std::vector<Frame>& frames = sites_[*nSite];
    frames.clear();
    while (frames.size() < kMostFrames) {
        auto text = TakeField(rest, ' ');
        if (!text) break;
        const auto nModule = Parse<std::uint32_t>(TakeField(*text, ':'), 10);
        const auto nAddress = Parse<std::uint64_t>(TakeField(*text, ':'), 16);
        if (nModule && nAddress) frames.push_back({*nModule, *nAddress, std::string(*text)});
    }
}

void CallSites::Resolve(const std::set<std::uint32_t>& sites) {
    std::map<std::uint32_t, std::set<std::uint64_t>> wanted;
    for (const std::uint32_t nSite : sites) {
        const auto it = sites_.find(nSite);
        if (it == sites_.end()) continue;
        for (const Frame& frame : it->second)
            wanted[frame.nModule].insert(frame.nAddress);
    }
    for (const auto& [nModule, addresses] : wanted) {
        const auto it = modules_.find(nModule);
        if (it == modules_.end()) continue;
        // The call is before the instruction it returns to.
        std::vector<std::uint64_t> calls;
        for (const std::uint64_t nAddress : addresses)
            calls.push_back(nAddress - 1);
        const auto answers = AskAddr2Line(it->second, calls);
        for (std::size_t i = 0; i < calls.size() && i < answers.size(); ++i)
            names_[{nModule, calls[i] + 1}] = Shortened(answers[i]);
    }
}

void CallSites::ResolveAll() {
    std::set<std::uint32_t> all;
    for (const auto& [nSite, frames] : sites_)
        all.insert(nSite);
    Resolve(all);
}

std::string CallSites::NameOf(const Frame& frame) const {
    const auto name = names_.find({frame.nModule, frame.nAddress});
    const auto module = modules_.find(frame.nModule);
    const std::string file = module == modules_.end() ? "?" : LastPart(module->second);
    if (name != names_.end() && !name->second.empty())
        return Escape(name->second.back() == ' ' ? fmt::format("{}in {}", name->second, file) : name->second);
    if (frame.symbol.empty()) return Escape(fmt::format("{}+{:#x}", file, frame.nAddress));
    return Escape(fmt::format("{} in {}", Demangled(frame.symbol), file));
}

std::vector<std::string> CallSites::NamesOf(std::uint32_t nSite) const {
    std::vector<std::string> names;
    const auto it = sites_.find(nSite);
    if (it != sites_.end()) {
        for (const Frame& frame : it->second) {
            names.push_back(NameOf(frame));
            if (names.back().rfind("main ", 0) == 0) break;  // who calls that is no news
        }
    }
    if (names.empty()) names.emplace_back("?");
    return names;
}

std::string CallSites::NameOf(std::uint32_t nSite) const {
    return NamesOf(nSite).front();
}

}  // namespace ztkmem::record
