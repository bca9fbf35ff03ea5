// A log, read as the program does.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "log/analysis.h"
#include "log/findings.h"
#include "log/report.h"
#include "log/scanner.h"

namespace ztkmem::log::test {

constexpr std::uint64_t kMiB = 1024UL * 1024;

class Scanned {
  public:
    explicit Scanned(std::string_view text, std::size_t nStep = std::string_view::npos)
        : scanner_(analysis_) {
        while (!text.empty()) {
            scanner_.Feed(text.substr(0, nStep));
            text.remove_prefix(std::min(nStep, text.size()));
        }
        scanner_.Finish();
        findings_ = Judge(analysis_, scanner_.Times());
    }
    Scanned(const Scanned&) = delete;
    Scanned& operator=(const Scanned&) = delete;

    const Analysis& Facts() const { return analysis_; }
    const Timeline& Times() const { return scanner_.Times(); }
    log::Report Report(const std::string& name = "test.log") const {
        return {name, scanner_.Lines(), analysis_, scanner_.Times(), findings_};
    }

    /// The codes of what is wrong, in order, each once.
    std::vector<std::string> Problems() const { return Codes(Weight::kProblem); }
    std::vector<std::string> Remarks() const { return Codes(Weight::kRemark); }

  private:
    std::vector<std::string> Codes(Weight enWeight) const {
        std::vector<std::string> codes;
        for (const Finding& finding : findings_) {
            if (finding.enWeight == enWeight && (codes.empty() || codes.back() != finding.code))
                codes.push_back(finding.code);
        }
        return codes;
    }

    Analysis analysis_;
    Scanner scanner_;
    std::vector<Finding> findings_;
};

/// A file beside the tests.
std::string ReadData(const std::string& name);

}  // namespace ztkmem::log::test
