#include "tests/library/private_place.h"

#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/library/test_board.h"

namespace ztk::test {
namespace {

constexpr char kMemInfo[] = "/proc/meminfo";
constexpr char kText[] = "/dev/shm/meminfo";
constexpr char kSocket[] = "/dev/shm/socket";

bool g_bPrivateShm = false;

/// Files that are mounted from vanish from the directory at once: only the mount keeps them.
bool MountOver(const char* szFile) {
    const bool bMounted = mount(szFile, kMemInfo, nullptr, MS_BIND, nullptr) == 0;
    if (!bMounted) std::perror(kMemInfo);
    unlink(szFile);
    return bMounted;
}

}  // namespace

bool HasPrivateShm() {
    return g_bPrivateShm;
}

std::vector<std::string> ObjectsOf(int nProcess) {
    const std::string prefix = "ZTKTool-" + std::to_string(nProcess) + "-";
    std::vector<std::string> names;
    for (const std::string& name : ShmEntries()) {
        if (name.compare(0, prefix.size(), prefix) == 0) names.push_back(name);
    }
    return names;
}

MemInfoCover::MemInfoCover(const char* szFile) : bThere_(MountOver(szFile)) {}

MemInfoCover MemInfoCover::Saying(unsigned long nKilobytes) {
    std::ofstream(kText) << "MemTotal:       99999999 kB\nMemAvailable:   " << nKilobytes << " kB\n";
    return MemInfoCover(kText);
}

MemInfoCover MemInfoCover::Unopenable() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, kSocket, sizeof(address.sun_path) - 1);
    const int hSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(hSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) std::perror("bind");
    close(hSocket);
    return MemInfoCover(kSocket);
}

MemInfoCover::~MemInfoCover() {
    if (bThere_ && umount2(kMemInfo, MNT_DETACH) != 0) std::perror("umount");
}

}  // namespace ztk::test

namespace {

/// Tests of one program find nothing of each other.
class Alone : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override { TestLogForget(); }

    void OnTestEnd(const testing::TestInfo& /*test*/) override {
        if (!ztk::test::HasPrivateShm()) return;
        for (const std::string& name : ztk::test::ShmEntries())
            std::filesystem::remove_all("/dev/shm/" + name);
    }
};

}  // namespace

int main(int nCount, char** ppArguments) {
    testing::InitGoogleTest(&nCount, ppArguments);
    ztk::test::g_bPrivateShm = ztk::test::EnterPrivateShm(ZTK_SHM_BYTES);
    testing::UnitTest::GetInstance()->listeners().Append(new Alone);
    return RUN_ALL_TESTS();
}
