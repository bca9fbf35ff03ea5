#include "sweep_fixture.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "pool/segment_sweep.h"
#include "support/private_shm.h"

namespace ztk::test {

EndedProcess::EndedProcess(bool bReap) : nProcess_(fork()), bReaped_(bReap) {
    if (nProcess_ == 0) _exit(0);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(nProcess_), &info, WEXITED | (bReap ? 0 : WNOWAIT));
}

EndedProcess::~EndedProcess() {
    if (!bReaped_) waitpid(nProcess_, nullptr, 0);
}

LiveProcess::LiveProcess() : nProcess_((static_cast<void>(pipe(pipe_)), fork())) {
    if (nProcess_ != 0) return;
    close(pipe_[1]);
    char c;
    static_cast<void>(!read(pipe_[0], &c, 1));  // until the parent closes its end, or ends
    _exit(0);
}

LiveProcess::~LiveProcess() {
    close(pipe_[1]);
    close(pipe_[0]);
    waitpid(nProcess_, nullptr, 0);
}

SegmentSweepTest::SegmentSweepTest() {
    EXPECT_THAT(ShmEntries(), ::testing::IsEmpty());
}

SegmentSweepTest::~SegmentSweepTest() {
    SystemCalls::Reset();
    SystemCalls::CloseLeftStreams();
    for (const std::string& name : ShmEntries())
        std::filesystem::remove_all(Path(name));
}

std::string SegmentSweepTest::OwnId() {
    return std::to_string(getpid());
}

void SegmentSweepTest::Put(const std::string& name) {
    const int hFile = open(Path(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(hFile, 0) << name;
    close(hFile);
}

std::vector<std::string> SegmentSweepTest::InDirectoryOrder() {
    std::vector<std::string> names;
    DIR* pStream = opendir("/dev/shm");
    while (const dirent* pEntry = readdir(pStream))
        names.emplace_back(pEntry->d_name);
    closedir(pStream);
    return names;
}

int SegmentSweepTest::TypeOf(const std::string& name) {
    struct stat status {};
    lstat(Path(name).c_str(), &status);
    if (S_ISREG(status.st_mode)) return 1;
    return S_ISDIR(status.st_mode) ? 2 : 0;
}

void SegmentSweepTest::Sweep(const std::map<std::string, std::string>& further) {
    Lines expected;
    for (const std::string& name : InDirectoryOrder()) {
        expected.push_back(Found(name, TypeOf(name)));
        if (further.count(name) != 0) expected.push_back(further.at(name));
    }
    ClearLog();
    ReleaseMemoryRes();
    EXPECT_EQ(TakeLog(), expected);
}

std::size_t SegmentSweepTest::OpenDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

}  // namespace ztk::test
