#include "platform/portable_helpers.h"

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

#include "fakes/fake_log.h"
#include "support/system_calls.h"
#include "support/virtual_time.h"

namespace ztk {
namespace {

using test::FakeLog;
using test::SystemCalls;
using test::VirtualTime;
using testing::ElementsAre;
using testing::IsEmpty;

// ---- text ------------------------------------------------------------------------------------------

using CopyFunction = char* (*)(char*, std::size_t, const char*);

class StringCopy : public testing::TestWithParam<CopyFunction> {};

TEST_P(StringCopy, CopiesTheTextAndReturnsTheDestination) {
    std::array<char, 16> dest{};
    EXPECT_EQ(dest.data(), GetParam()(dest.data(), dest.size(), "text"));
    EXPECT_STREQ("text", dest.data());
    EXPECT_EQ(dest.data(), GetParam()(dest.data(), dest.size(), ""));
    EXPECT_STREQ("", dest.data());
}

TEST_P(StringCopy, IgnoresTheSize) {
    std::array<char, 16> dest{};
    for (const std::size_t nSize : {0U, 1U, 3U}) {
        GetParam()(dest.data(), nSize, "longer text");
        EXPECT_STREQ("longer text", dest.data());
    }
}

INSTANTIATE_TEST_SUITE_P(Both, StringCopy, testing::Values(portable_strcpy, portable_lstrcpy));

TEST(CaseInsensitiveCompare, OrdersAsLowerCase) {
    EXPECT_EQ(0, portable_stricmp("", ""));
    EXPECT_EQ(0, portable_stricmp("MemAvailable", "mEMaVAILABLE"));
    EXPECT_LT(portable_stricmp("a", "B"), 0);
    EXPECT_GT(portable_stricmp("b", "A"), 0);
    EXPECT_LT(portable_stricmp("ab", "ABC"), 0);
    EXPECT_GT(portable_stricmp("z", "_"), 0);  // '_' lies between the cases
}

// ---- memory ----------------------------------------------------------------------------------------

TEST(MemoryCopy, CopiesAndReturns0WhereTheDestinationIsLargeEnough) {
    for (const std::size_t nSize : {4U, 5U, 100U}) {
        std::string dest = "......";
        EXPECT_EQ(0, portable_memcpy(dest.data(), nSize, "text", 4));
        EXPECT_EQ("text..", dest);
    }
}

TEST(MemoryCopy, CopiesAllTheSameAndReturnsMinus1WhereItIsNot) {
    for (const std::size_t nSize : {0U, 1U, 3U}) {
        std::string dest = "......";
        EXPECT_EQ(-1, portable_memcpy(dest.data(), nSize, "text", 4));
        EXPECT_EQ("text..", dest);
    }
}

TEST(MemoryCopy, OfNothingJudgesTheSourceAlone) {
    char cDest = '.';
    EXPECT_EQ(0, portable_memcpy(&cDest, 0, "t", 0));
    EXPECT_EQ(-1, portable_memcpy(&cDest, 1, nullptr, 0));
    EXPECT_EQ('.', cDest);
}

TEST(PageBase, ClearsTheLow12Bits) {
    const auto pageOf = [](std::uintptr_t nAddress) {
        return reinterpret_cast<std::uintptr_t>(portable_pagebase(reinterpret_cast<void*>(nAddress)));
    };
    EXPECT_EQ(0x7000U, pageOf(0x7000));
    EXPECT_EQ(0x7000U, pageOf(0x7001));
    EXPECT_EQ(0x7000U, pageOf(0x7FFF));
    EXPECT_EQ(0x8000U, pageOf(0x8000));
    EXPECT_EQ(0x7F0012345000U, pageOf(0x7F0012345678));
}

// ---- time ------------------------------------------------------------------------------------------

TEST(MillisecondsNow, HaveMicrosecondsAsTheirFraction) {
    VirtualTime time(1'700'000'000);
    EXPECT_DOUBLE_EQ(1'700'000'000'000.0, portable_milliseconds());
    time.Step(std::chrono::microseconds(123'456));
    EXPECT_DOUBLE_EQ(1'700'000'000'123.456, portable_milliseconds());
}

// ---- libraries -------------------------------------------------------------------------------------

TEST(LoadLibrary, BindsAllSymbolsAtOnceAndFindsThem) {
    SystemCalls::Record({"dlopen", "dlsym"});
    void* hLibrary = portable_loadlibrary("libm.so.6");
    ASSERT_NE(nullptr, hLibrary);
    EXPECT_NE(nullptr, portable_findsymbol(hLibrary, "cos"));
    EXPECT_EQ(nullptr, portable_findsymbol(hLibrary, "no_such_symbol"));
    EXPECT_THAT(SystemCalls::Recorded(), ElementsAre("dlopen libm.so.6 " + std::to_string(RTLD_NOW),
                                                     "dlsym cos", "dlsym no_such_symbol"));
    dlclose(hLibrary);
}

TEST(LoadLibrary, GivesNullForALibraryThatIsNotThere) {
    EXPECT_EQ(nullptr, portable_loadlibrary("/no/such/library.so"));
    EXPECT_THAT(FakeLog::Lines(), IsEmpty());
}

}  // namespace
}  // namespace ztk
