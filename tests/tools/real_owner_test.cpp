// The program and a real process of the library.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "tools/program_test.h"

namespace ztkmem::test {
namespace {

class Owner {
  public:
    Owner() {
        std::array<int, 2> toChild{};
        std::array<int, 2> fromChild{};
        if (pipe(toChild.data()) != 0 || pipe(fromChild.data()) != 0) return;
        nProcess_ = fork();
        if (nProcess_ == 0) {
            dup2(toChild[0], STDIN_FILENO);
            dup2(fromChild[1], STDOUT_FILENO);
            close(toChild[1]);
            execl(ZTKMEM_OWNER, ZTKMEM_OWNER, nullptr);
            _exit(127);
        }
        close(toChild[0]);
        close(fromChild[1]);
        hInput_ = toChild[1];
        ReadNames(fromChild[0]);
    }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    ~Owner() {
        if (nProcess_ > 0) Kill();
        close(hInput_);
    }

    pid_t Id() const { return nProcess_; }
    const std::vector<std::string>& Names() const { return names_; }

    void Kill() {
        kill(nProcess_, SIGKILL);
        waitpid(nProcess_, nullptr, 0);
        nProcess_ = -1;
    }
    /// The library unloads and takes its objects along.
    void EndWell() {
        close(hInput_);
        hInput_ = -1;
        waitpid(nProcess_, nullptr, 0);
        nProcess_ = -1;
    }

  private:
    void ReadNames(int hOutput) {
        std::FILE* pLines = fdopen(hOutput, "r");
        std::array<char, 256> line{};
        while (std::fgets(line.data(), line.size(), pLines) != nullptr) {
            std::string text = line.data();
            text.pop_back();
            if (text == "ready") break;
            names_.push_back(text);
        }
        std::fclose(pLines);
    }

    pid_t nProcess_ = -1;
    int hInput_ = -1;
    std::vector<std::string> names_;
};

class RealOwner : public ProgramTest {};

TEST_F(RealOwner, IsSeenAliveWithItsBlocks) {
    const Owner owner;
    ASSERT_EQ(owner.Names().size(), 2U);
    const auto document = Listed();
    EXPECT_EQ(document["segments"].size(), 2U);
    const auto good = SegmentNamed(document, owner.Names()[0]);
    EXPECT_EQ(good["owner"]["pid"], owner.Id());
    EXPECT_EQ(good["owner"]["command"], "segment_owner");
    EXPECT_EQ(good["owner"]["state"], "alive");
    EXPECT_EQ(good["header"]["state"], "good");
    EXPECT_EQ(good["data_length"], 100'000);
    EXPECT_TRUE(good["mapped_by"].empty()) << "the owner itself is not another";
    EXPECT_EQ(SegmentNamed(document, owner.Names()[1])["header"]["state"], "overwritten");
}

TEST_F(RealOwner, ShowsItsDataAsAPicture) {
    const Owner owner;
    ASSERT_EQ(owner.Names().size(), 2U);
    const std::string picture = Folder() + "/out.png";
    EXPECT_EQ(ZtkMem({"show", owner.Names()[0], "--as", "gray8:1000x100", "-o", picture}).nStatus, 0);
    EXPECT_TRUE(std::filesystem::exists(picture));
}

TEST_F(RealOwner, LeavesNothingWhenItEndsWell) {
    Owner owner;
    ASSERT_EQ(owner.Names().size(), 2U);
    EXPECT_EQ(ZtkMem({"reap", "--yes", "--this-pid-namespace"}).nStatus, 0);
    EXPECT_TRUE(Exists(owner.Names()[0]) && Exists(owner.Names()[1])) << "not while it lives";
    owner.EndWell();
    EXPECT_TRUE(Listed()["segments"].empty());
}

TEST_F(RealOwner, ThatWasKilledIsReaped) {
    Owner owner;
    ASSERT_EQ(owner.Names().size(), 2U);
    owner.Kill();
    EXPECT_EQ(ZtkMem({"ls", "--this-pid-namespace"}).nStatus, 1);
    EXPECT_EQ(ZtkMem({"reap", "--yes", "--this-pid-namespace"}).nStatus, 0);
    EXPECT_FALSE(Exists(owner.Names()[0]) || Exists(owner.Names()[1]));
    EXPECT_EQ(ZtkMem({"ls", "--this-pid-namespace"}).nStatus, 0);
}

}  // namespace
}  // namespace ztkmem::test
