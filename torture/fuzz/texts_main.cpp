// Millions of headers with texts of every kind through both readers of headers (fed_view.h), built to run
// under the address and undefined-behaviour sanitizers.
#include <algorithm>
#include <array>

#include "torture/fuzz/fed_view.h"
#include "torture/fuzz/text_maker.h"
#include "torture/run.h"

namespace ztk::torture {
namespace {

constexpr char kPart[] = "texts";
constexpr std::uint64_t kObjectLen = 200;

/// Most headers are good but for the flag and the text; in some a byte is another.
HeaderBytes NextHeader(TextMaker& texts, const std::string& name) {
    HeaderBytes header = GoodHeader(name, kObjectLen);
    const std::string& text = texts.Next();
    std::copy(text.begin(), text.end(), header.begin() + kAtText);
    if (texts.Pick(8) != 0) header.at(kAtByMmz) = static_cast<unsigned char>(texts.Pick(256));
    if (texts.Pick(8) == 0)
        header.at(texts.Pick(header.size())) = static_cast<unsigned char>(texts.Pick(256));
    return header;
}

std::string NextName(TextMaker& texts) {
    static constexpr std::array<std::size_t, 8> kLengths = {1, 48, 48, 48, 79, 80, 81, 255};
    std::string name;
    name.append(kLengths.at(texts.Pick(kLengths.size())), static_cast<char>('a' + texts.Pick(26)));
    return name;
}

void Tell(Run& run, const std::string& difference) {
    if (!difference.empty()) run.Differs("%s", difference.c_str());
}

int Main(int nCount, char** ppArguments) {
    constexpr std::uint64_t kBatch = 10'000;
    Run run(kPart, nCount, ppArguments, 10'000'000);
    TextMaker texts(run.Seed());
    while (run.GoesOn()) {
        for (std::uint64_t i = 0; i < kBatch; ++i) {
            const std::string name = NextName(texts);
            const HeaderBytes header = NextHeader(texts, name.substr(0, kNameField));
            Tell(run, CheckOwnView(header));
            Tell(run,
                 CheckConsumersView(header, name, texts.Pick(16) == 0 ? texts.Pick(400) + 128 : kObjectLen));
        }
        run.CountRun(kBatch);
    }
    return run.Finish();
}

}  // namespace
}  // namespace ztk::torture

int main(int nCount, char** ppArguments) {
    return ztk::torture::Main(nCount, ppArguments);
}
