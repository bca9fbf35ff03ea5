// Which calls the script lets fail.
#include "standins/board/failure_script.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using ztk_board::Call;
using ztk_board::ParseFailure;

/// The calls of the first twelve that fail: "3 6 9 12".
std::string Failing(const char* szText) {
    const auto failure = ParseFailure(szText);
    if (!failure) return "not a failure";
    std::string calls;
    for (std::uint64_t nCall = 1; nCall <= 12; ++nCall) {
        if (Hits(failure->rule, nCall)) calls += (calls.empty() ? "" : " ") + std::to_string(nCall);
    }
    return calls;
}

TEST(FailureScript, OneCallEachNthOrAllFromOne) {
    EXPECT_EQ(Failing("mmz:3"), "3");
    EXPECT_EQ(Failing("shm:every:5"), "5 10");
    EXPECT_EQ(Failing("mem:from:10"), "10 11 12");
    EXPECT_EQ(Failing("mmz:every:1"), "1 2 3 4 5 6 7 8 9 10 11 12");
}

TEST(FailureScript, NamesWhatItHits) {
    EXPECT_EQ(ParseFailure("mmz:3")->enCall, Call::kMmz);
    EXPECT_EQ(ParseFailure("shm:3")->enCall, Call::kShm);
    EXPECT_EQ(ParseFailure("mem:3")->enCall, Call::kMem);
}

TEST(FailureScript, AnythingElseIsNoFailure) {
    for (const char* szText :
         {"", "mmz", "mmz:", "mmz:0", "mmz:-1", "mmz:x", "mmz:3x", "mmz:each:3", "mmz:every:", "mmz:every:0",
          "mmz:every:3:4", "heap:3", ":3", "mmz:every", "mmz: 3"}) {
        EXPECT_FALSE(ParseFailure(szText)) << szText;
    }
}

TEST(FailureScript, WithoutARuleNothingFails) {
    EXPECT_FALSE(ztk_board::Hits({}, 1));
    EXPECT_FALSE(ztk_board::Hits({}, 0));
}

}  // namespace
