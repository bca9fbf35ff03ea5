// The stand-in libZTKSDKLogC.so, line by line. write(), poll() and malloc() are replaced at link, so a test
// sees what goes out call by call, can let it fail and need not wait.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "external/ztk_log.h"
#include "standins/sdklog/log_line.h"
#include "standins/sdklog/whole_write.h"
#include "standins/sdklog/ztk_sdklog_standin.h"

namespace {

// What the kernel makes of the next write(): takes this many bytes, or fails.
struct Answer {
    std::size_t nTaken;
    int nError;
};

struct FakeSystem {
    bool bRecording = false;
    std::vector<std::string> writes;  // the bytes of each call
    std::deque<Answer> answers;       // none: everything is taken
    std::vector<int> descriptors;
    bool bNoMemory = false;
    std::deque<short> polls;  // what becomes of a descriptor that is waited for; 0: it never gets ready
};
FakeSystem g_system;

}  // namespace

extern "C" ssize_t __real_write(int nFd, const void* pBytes, std::size_t nBytes);
extern "C" ssize_t __wrap_write(int nFd, const void* pBytes, std::size_t nBytes) {
    if (!g_system.bRecording) return __real_write(nFd, pBytes, nBytes);
    g_system.writes.emplace_back(static_cast<const char*>(pBytes), nBytes);
    g_system.descriptors.push_back(nFd);
    if (g_system.answers.empty()) return static_cast<ssize_t>(nBytes);
    const Answer answer = g_system.answers.front();
    g_system.answers.pop_front();
    errno = answer.nError;
    return answer.nError != 0 ? -1 : static_cast<ssize_t>(answer.nTaken);
}

extern "C" int __wrap_poll(pollfd* pFds, nfds_t /*nFds*/, int /*nTimeoutMs*/) {
    if (g_system.polls.empty()) {
        errno = EINTR;
        g_system.polls.push_back(0);
        return -1;
    }
    pFds->revents = g_system.polls.front();
    g_system.polls.pop_front();
    return pFds->revents == 0 ? 0 : 1;
}

extern "C" void* __real_malloc(std::size_t nBytes);
extern "C" void* __wrap_malloc(std::size_t nBytes) {
    void* pMemory = g_system.bNoMemory ? nullptr : __real_malloc(nBytes);
    if (g_system.bRecording) errno = ENOMEM;  // as it may when it succeeds, too
    return pMemory;
}

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

constexpr int kTrace = 0;
constexpr int kWarning = 3;
constexpr int kError = 4;

class SdkLog : public testing::Test {
  protected:
    void SetUp() override {
        ZTK_LOG_SetLogLevel(kWarning);
        g_system = FakeSystem{};
        g_system.bRecording = true;
    }
    void TearDown() override { g_system = FakeSystem{}; }

    /// The message of the only line so far, without what stands before it.
    static std::string Message() {
        if (g_system.writes.size() != 1) return "<" + std::to_string(g_system.writes.size()) + " writes>";
        const std::string& szLine = g_system.writes.front();
        const std::string szThread = " " + std::to_string(gettid()) + " ";
        return szLine.substr(szLine.find(szThread) + szThread.size());
    }
};

std::string Prefix(std::int64_t nSeconds, long nNanoseconds, int nLevel) {
    std::array<char, 128> text{};
    timespec when{};
    when.tv_sec = nSeconds;
    when.tv_nsec = nNanoseconds;
    const std::size_t nLength = ztk_standin::FormatLinePrefix(text.data(), text.size(), when, nLevel, 42);
    return {text.data(), nLength};
}

TEST(SdkLogPrefix, TimeIsUtcWithMilliseconds) {
    EXPECT_EQ(Prefix(0, 0, kTrace), "1970-01-01T00:00:00.000Z trace   42 ");
    EXPECT_EQ(Prefix(951782399, 999999999, kTrace), "2000-02-28T23:59:59.999Z trace   42 ");
    EXPECT_EQ(Prefix(951782400, 1000000, kTrace), "2000-02-29T00:00:00.001Z trace   42 ");
    EXPECT_EQ(Prefix(951868800, 999999, kTrace), "2000-03-01T00:00:00.000Z trace   42 ");
    EXPECT_EQ(Prefix(4107542400, 0, kTrace), "2100-03-01T00:00:00.000Z trace   42 ");
    EXPECT_EQ(Prefix(-1, 0, kTrace), "1969-12-31T23:59:59.000Z trace   42 ");
}

TEST(SdkLogPrefix, EveryDayAgreesWithTheCLibrary) {
    constexpr std::int64_t kDays = 80000;  // to the year 2189
    for (std::int64_t nDay = 0; nDay < kDays; ++nDay) {
        const std::time_t nSeconds = nDay * 86400 + nDay % 86400;
        std::tm fields{};
        ASSERT_NE(gmtime_r(&nSeconds, &fields), nullptr);
        std::array<char, 64> szExpected{};
        ASSERT_GT(std::strftime(szExpected.data(), szExpected.size(), "%Y-%m-%dT%H:%M:%S.000Z error   42 ",
                                &fields),
                  0U);
        ASSERT_EQ(Prefix(nSeconds, 0, kError), szExpected.data());
    }
}

TEST(SdkLogPrefix, EveryLevelHasItsWord) {
    const char* const words[] = {"trace", "info", "notice", "warning", "error"};
    for (int nLevel = 0; nLevel <= 4; ++nLevel)
        EXPECT_THAT(Prefix(0, 0, nLevel), HasSubstr(words[nLevel]));
    EXPECT_THAT(Prefix(0, 0, 5), HasSubstr("unknown"));
    EXPECT_THAT(Prefix(0, 0, -1), HasSubstr("unknown"));
}

TEST_F(SdkLog, ALineIsTimeLevelThreadMessageInOneWriteToStderr) {
    ZTK_LOG_WriteLog(kError, "[%s@%d]size=%lu", "Malloc_OS", 112, 7UL);
    ASSERT_THAT(g_system.writes, SizeIs(1));
    EXPECT_THAT(g_system.writes[0], MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}\\.[0-9]{3}Z error   " +
                                                 std::to_string(gettid()) + " \\[Malloc_OS@112\\]size=7\n"));
    EXPECT_THAT(g_system.descriptors, ElementsAre(STDERR_FILENO));
}

TEST_F(SdkLog, TheTimeIsNow) {
    const std::time_t nBefore = std::time(nullptr);
    ZTK_LOG_WriteLog(kError, "now");
    const std::time_t nAfter = std::time(nullptr);
    std::tm fields{};
    ASSERT_NE(strptime(g_system.writes.at(0).c_str(), "%Y-%m-%dT%H:%M:%S", &fields), nullptr);
    EXPECT_GE(timegm(&fields), nBefore);
    EXPECT_LE(timegm(&fields), nAfter);
}

TEST_F(SdkLog, LineEndsAreStrippedAtTheEndAndKeptInside) {
    const struct {
        const char* szMessage;
        const char* szWritten;
    } cases[] = {{"plain", "plain\n"},
                 {"cr lf\r\n", "cr lf\n"},
                 {"many\n\r\n\n", "many\n"},
                 {"one\ntwo\r\nthree\n", "one\ntwo\r\nthree\n"},
                 {"blank \r\n", "blank \n"},
                 {"", "\n"},
                 {"\r\n", "\n"}};
    for (const auto& c : cases) {
        g_system.writes.clear();
        ZTK_LOG_WriteLog(kError, "%s", c.szMessage);
        EXPECT_EQ(Message(), c.szWritten);
    }
}

TEST_F(SdkLog, LevelsBelowTheSetOneAreNotWritten) {
    EXPECT_EQ(ZTK_LOG_GetLogLevel(), kWarning);
    ZTK_LOG_WriteLog(2, "notice");
    EXPECT_THAT(g_system.writes, IsEmpty());
    ZTK_LOG_WriteLog(3, "warning");
    EXPECT_THAT(g_system.writes, SizeIs(1));
    ZTK_LOG_SetLogLevel(kTrace);
    EXPECT_EQ(ZTK_LOG_GetLogLevel(), kTrace);
    ZTK_LOG_WriteLog(0, "trace");
    EXPECT_THAT(g_system.writes, SizeIs(2));
    ZTK_LOG_SetLogLevel(5);
    ZTK_LOG_WriteLog(4, "error");
    EXPECT_THAT(g_system.writes, SizeIs(2));
}

TEST_F(SdkLog, AFilteredLineIsNotFormatted) {
    void* pForbidden = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(pForbidden, MAP_FAILED);
    ZTK_LOG_WriteLog(kTrace, "%s", static_cast<const char*>(pForbidden));
    EXPECT_THAT(g_system.writes, IsEmpty());
    munmap(pForbidden, 4096);
}

TEST_F(SdkLog, ErrnoIsKeptAndMayBePrinted) {
    // Through a pointer: the compiler's format check knows %m as an extension only.
    void (*const pWriteLog)(int, const char*, ...) = ZTK_LOG_WriteLog;
    errno = ENOENT;
    pWriteLog(kError, "%m");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(Message(), "No such file or directory\n");

    g_system.writes.clear();
    g_system.answers = {{0, EIO}};
    errno = ENOSPC;
    pWriteLog(kError, "%s%m", std::string(2000, 'x').c_str());
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_THAT(Message(), EndsWith("xxNo space left on device\n"));
}

// Around the length at which a line leaves its first buffer, every length must come out whole.
TEST_F(SdkLog, MessagesOfEveryLengthComeOutWhole) {
    for (const std::size_t nAround : {std::size_t{0}, ztk_standin::kShortLine - 60}) {
        for (std::size_t nLength = nAround; nLength < nAround + 120; ++nLength) {
            g_system.writes.clear();
            const std::string szMessage(nLength, 'm');
            ZTK_LOG_WriteLog(kError, "%s", szMessage.c_str());
            ASSERT_EQ(Message(), szMessage + "\n");
        }
    }
}

TEST_F(SdkLog, ADumpOfHalfAMegabyteIsOneWrite) {
    std::string szDump;
    while (szDump.size() < 500000)
        szDump += "0x7f0000000000(4096) " + std::to_string(szDump.size()) + "\n";
    ZTK_LOG_WriteLog(kError, "%s\r\n", szDump.c_str());
    ASSERT_THAT(g_system.writes, SizeIs(1));
    EXPECT_EQ(Message(), szDump);
}

TEST_F(SdkLog, WithoutMemoryALongMessageIsCutAndSaysSo) {
    g_system.bNoMemory = true;
    errno = ENOENT;
    ZTK_LOG_WriteLog(kError, "start%s", std::string(5000, 'x').c_str());
    g_system.bNoMemory = false;
    EXPECT_EQ(errno, ENOENT);
    EXPECT_THAT(Message(), StartsWith("startxxx"));
    EXPECT_THAT(Message(), EndsWith("xxx...[cut: out of memory]\n"));
    EXPECT_EQ(g_system.writes.at(0).size(), ztk_standin::kShortLine);
}

TEST_F(SdkLog, AMessageThatCannotBeFormattedShowsItsFormat) {
    const wchar_t szNotACharacter[] = {static_cast<wchar_t>(0x7fffffff), 0};
    ZTK_LOG_WriteLog(kError, "name %ls", szNotACharacter);
    EXPECT_EQ(Message(), "[not formatted] name %ls\n");
}

class WholeWrite : public SdkLog {};

std::string SentInAll(const std::vector<std::size_t>& taken) {
    std::string szAll;
    for (std::size_t i = 0; i < taken.size(); ++i)
        szAll += g_system.writes.at(i).substr(0, taken[i]);
    return szAll;
}

TEST_F(WholeWrite, APartialWriteIsContinued) {
    g_system.answers = {{3, 0}, {2, 0}};
    ztk_standin::WriteWhole(7, "12345678", 8);
    EXPECT_THAT(g_system.writes, ElementsAre("12345678", "45678", "678"));
    EXPECT_THAT(g_system.descriptors, ElementsAre(7, 7, 7));
    EXPECT_EQ(SentInAll({3, 2, 3}), "12345678");
}

TEST_F(WholeWrite, AnInterruptedWriteIsRepeated) {
    g_system.answers = {{0, EINTR}, {4, 0}, {0, EINTR}};
    ztk_standin::WriteWhole(7, "12345678", 8);
    EXPECT_THAT(g_system.writes, ElementsAre("12345678", "12345678", "5678", "5678"));
}

TEST_F(WholeWrite, AnErrorOrAWriteOfNothingEndsIt) {
    g_system.answers = {{3, 0}, {0, EIO}};
    ztk_standin::WriteWhole(7, "12345678", 8);
    EXPECT_THAT(g_system.writes, ElementsAre("12345678", "45678"));
    g_system.writes.clear();
    g_system.answers = {{0, 0}};
    ztk_standin::WriteWhole(7, "12345678", 8);
    EXPECT_THAT(g_system.writes, ElementsAre("12345678"));
}

TEST_F(WholeWrite, AFullNonBlockingDescriptorIsWaitedFor) {
    g_system.answers = {{2, 0}, {0, EAGAIN}};
    g_system.polls = {POLLOUT};
    ztk_standin::WriteWhole(7, "12345678", 8);
    EXPECT_THAT(g_system.writes, ElementsAre("12345678", "345678", "345678"));
}

TEST_F(WholeWrite, AReaderThatIsGoneOrNeverReadsEndsIt) {
    g_system.answers = {{0, EAGAIN}, {0, EAGAIN}};
    g_system.polls = {POLLERR};
    ztk_standin::WriteWhole(7, "12345678", 8);
    EXPECT_THAT(g_system.writes, SizeIs(1));
    ztk_standin::WriteWhole(7, "12345678", 8);  // the wait is interrupted, then runs out
    EXPECT_THAT(g_system.writes, SizeIs(2));
    EXPECT_THAT(g_system.polls, IsEmpty());
}

}  // namespace
