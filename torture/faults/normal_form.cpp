#include "torture/faults/normal_form.h"

#include <unistd.h>

#include <regex>
#include <vector>

namespace ztk::torture {
namespace {

struct Rule {
    std::regex pattern;
    const char* szReplacement;
};

std::vector<Rule> MakeRules() {
    std::vector<Rule> rules;
    const auto add = [&rules](const std::string& pattern, const char* szReplacement) {
        rules.push_back({std::regex(pattern, std::regex::optimize), szReplacement});
    };
    add("ZTKTool-99999999-", "ZTKTool-<stale>-");
    add("ZTKTool-" + std::to_string(getpid()) + "-", "ZTKTool-<live>-");
    add("ZTKTool-[0-9]+-(?=[0-9a-f]{32})", "ZTKTool-<own>-");
    add("-0{32}", "-0");
    add("-[0-9a-f]{32}", "-*");
    add("tid=[0-9]+", "tid=*");
    add(R"((addr=|pView\[|pOSMemoryHead\[)0x[0-9a-f]+)", "$1*");
    add(R"((hOsMapping\[|hMapping\[)0x[0-9a-f]{1,4}\])", "$1*]");
    add(R"(\[0x[0-9a-f]+:)", "[*:");
    add("\r", R"(\r)");
    add("\n", R"(\n)");
    return rules;
}

}  // namespace

std::string NormalForm(const std::string& line) {
    static const auto* pRules = new std::vector<Rule>(MakeRules());
    std::string text = line;
    for (const Rule& rule : *pRules)
        text = std::regex_replace(text, rule.pattern, rule.szReplacement);
    return text;
}

}  // namespace ztk::torture
