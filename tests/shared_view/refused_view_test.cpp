// What is not opened, and why.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "common/ztk_shared_view.h"
#include "tests/shared_view/opening.h"
#include "tests/shared_view/shared_object.h"

namespace {

using ztk_test::Header;
using ztk_test::IsClosed;
using ztk_test::kHeader;
using ztk_test::SharedObject;
using ztk_test::StatusOf;

constexpr std::size_t kData = 5000;

TEST(ViewName, OneLeadingSlashIsAccepted) {
    const SharedObject object(kData);
    EXPECT_EQ(StatusOf(("/" + object.Name()).c_str()), ZTK_VIEW_OK);
    EXPECT_EQ(StatusOf(("//" + object.Name()).c_str()), ZTK_VIEW_BAD_NAME);
}

TEST(ViewName, WhatIsNoNameIsRefused) {
    for (const std::string& szName :
         {std::string(), std::string("/"), std::string("a/b"), std::string("a/"),
          std::string("../etc/passwd"), std::string(256, 'n'), std::string(257, 'n')}) {
        EXPECT_EQ(StatusOf(szName.c_str()), ZTK_VIEW_BAD_NAME) << szName;
    }
    EXPECT_EQ(StatusOf(static_cast<const char*>(nullptr)), ZTK_VIEW_BAD_NAME);
    EXPECT_EQ(StatusOf(std::string(255, 'n').c_str()), ZTK_VIEW_VANISHED);
    EXPECT_EQ(StatusOf("."), ZTK_VIEW_NOT_AN_OBJECT);
    EXPECT_EQ(StatusOf(".."), ZTK_VIEW_NOT_AN_OBJECT);
}

TEST(ViewName, WithoutAPlaceForTheViewNothingHappens) {
    const SharedObject object(kData);
    EXPECT_EQ(ZtkOpenSharedView(object.Name().c_str(), nullptr), ZTK_VIEW_BAD_ARGUMENT);
    EXPECT_EQ(ZtkOpenSharedViewWritable(object.Name().c_str(), nullptr), ZTK_VIEW_BAD_ARGUMENT);
}

TEST(ViewObject, OneThatIsNotThereHasVanished) {
    const SharedObject object;
    EXPECT_EQ(StatusOf(object), ZTK_VIEW_VANISHED);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(std::filesystem::exists(object.Path()));
}

TEST(ViewObject, OtherThingsUnderTheNameAreRefused) {
    const SharedObject directory;
    std::filesystem::create_directory(directory.Path());
    EXPECT_EQ(StatusOf(directory), ZTK_VIEW_NOT_AN_OBJECT);

    const SharedObject fifo;
    ASSERT_EQ(mkfifo(fifo.Path().c_str(), 0600), 0);
    EXPECT_EQ(StatusOf(fifo), ZTK_VIEW_NOT_AN_OBJECT);

    const SharedObject target(kData);
    const SharedObject link;
    std::filesystem::create_symlink(target.Path(), link.Path());
    EXPECT_EQ(StatusOf(link), ZTK_VIEW_NOT_AN_OBJECT);
}

TEST(ViewObject, ASocketUnderTheNameIsRefused) {
    const SharedObject object;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    object.Path().copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int nSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(StatusOf(object), ZTK_VIEW_NOT_AN_OBJECT);
    close(nSocket);
}

// Root may open everything, so the child becomes somebody else.
/// From here on permissions count for root, too; in a namespace it may be the only user.
bool GiveUpPrivileges() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    return syscall(SYS_capset, &header, none) == 0;
}

TEST(ViewObject, AnotherUsersIsNotPermitted) {
    const SharedObject object(kData);
    ASSERT_EQ(chmod(object.Path().c_str(), 0), 0);
    const pid_t nChild = fork();
    if (nChild == 0) {
        if (!GiveUpPrivileges()) _exit(2);
        ZtkSharedView view;
        const ZtkViewStatus enStatus = ZtkOpenSharedView(object.Name().c_str(), &view);
        _exit(enStatus == ZTK_VIEW_NOT_PERMITTED && errno == EACCES ? 0 : 1);
    }
    int nStatus = 0;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    EXPECT_EQ(nStatus, 0);
    ASSERT_EQ(chmod(object.Path().c_str(), 0600), 0);
}

TEST(ViewObject, WithoutDescriptorsTheSystemsErrorIsReported) {
    const SharedObject object(kData);
    const int nNext = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(nNext);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    rlimit none = limit;
    none.rlim_cur = static_cast<rlim_t>(nNext);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    ZtkSharedView view;
    const ZtkViewStatus enStatus = ZtkOpenSharedView(object.Name().c_str(), &view);
    const int nError = errno;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(enStatus, ZTK_VIEW_SYSTEM_ERROR);
    EXPECT_EQ(nError, EMFILE);
    EXPECT_TRUE(IsClosed(view));
}

// The object is sparse: it takes no memory, but is larger than any address space.
TEST(ViewObject, OneThatCannotBeMappedIsASystemError) {
    constexpr std::uint64_t kHuge = std::uint64_t{1} << 60U;
    const SharedObject object;
    object.Write(0, Header(object.Name(), kHuge - kHeader));
    object.Resize(kHuge);
    EXPECT_EQ(StatusOf(object), ZTK_VIEW_SYSTEM_ERROR);
    EXPECT_EQ(errno, ENOMEM);
}

TEST(ViewSize, ShorterThanTheHeaderIsTooShort) {
    for (const std::uint64_t nSize : {0U, 1U, 127U}) {
        const SharedObject object(kData);
        object.Resize(nSize);
        EXPECT_EQ(StatusOf(object), ZTK_VIEW_TOO_SHORT) << nSize;
    }
}

TEST(ViewSize, TheDataLengthMustBeExactlyWhatTheObjectHolds) {
    const struct {
        std::uint64_t nObject;
        std::uint64_t nDataLen;
        ZtkViewStatus enStatus;
    } cases[] = {{128, 0, ZTK_VIEW_OK},
                 {128, 1, ZTK_VIEW_WRONG_LENGTH},
                 {129, 1, ZTK_VIEW_OK},
                 {129, 0, ZTK_VIEW_WRONG_LENGTH},
                 {129, 2, ZTK_VIEW_WRONG_LENGTH},
                 {4096, 3968, ZTK_VIEW_OK},
                 {4096, 3967, ZTK_VIEW_WRONG_LENGTH},
                 {4096, 3969, ZTK_VIEW_WRONG_LENGTH},
                 {4096, 4096, ZTK_VIEW_WRONG_LENGTH},
                 {4096, UINT64_MAX, ZTK_VIEW_WRONG_LENGTH},
                 {4096, UINT64_MAX - 127, ZTK_VIEW_WRONG_LENGTH},
                 {4096, 3968 + (std::uint64_t{1} << 32U), ZTK_VIEW_WRONG_LENGTH}};
    for (const auto& c : cases) {
        const SharedObject object;
        object.Write(0, Header(object.Name(), c.nDataLen));
        object.Resize(c.nObject);
        EXPECT_EQ(StatusOf(object), c.enStatus) << c.nObject << " " << c.nDataLen;
    }
}

TEST(ViewSize, AnObjectResizedByOthersIsRefused) {
    const SharedObject object(kData);
    object.Resize(kHeader + kData - 1);
    EXPECT_EQ(StatusOf(object), ZTK_VIEW_WRONG_LENGTH);
    object.Resize(kHeader + kData + 1);
    EXPECT_EQ(StatusOf(object), ZTK_VIEW_WRONG_LENGTH);
    object.Resize(kHeader + kData);
    EXPECT_EQ(StatusOf(object), ZTK_VIEW_OK);
}

/// The status of a block of which the bytes at @p nOffset were changed.
ZtkViewStatus StatusWith(std::size_t nOffset, const std::vector<unsigned char>& bytes) {
    const SharedObject object(kData);
    object.Write(nOffset, bytes);
    return StatusOf(object);
}

TEST(ViewHeader, TheHeaderLengthMustBe128) {
    EXPECT_EQ(StatusWith(14, {0, 0}), ZTK_VIEW_BAD_HEADER);
    EXPECT_EQ(StatusWith(14, {127, 0}), ZTK_VIEW_BAD_HEADER);
    EXPECT_EQ(StatusWith(14, {129, 0}), ZTK_VIEW_BAD_HEADER);
    EXPECT_EQ(StatusWith(14, {128, 1}), ZTK_VIEW_BAD_HEADER);
    EXPECT_EQ(StatusWith(14, {0, 128}), ZTK_VIEW_BAD_HEADER);
}

TEST(ViewHeader, AHeaderThatIsNotStampedYetOrOverwrittenIsBad) {
    EXPECT_EQ(StatusWith(0, std::vector<unsigned char>(kHeader, 0)), ZTK_VIEW_BAD_HEADER);
    EXPECT_EQ(StatusWith(0, std::vector<unsigned char>(kHeader, 0xff)), ZTK_VIEW_BAD_HEADER);
    EXPECT_EQ(StatusWith(0, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}), ZTK_VIEW_WRONG_LENGTH);
}

TEST(ViewHeader, ADescribedMmzBlockIsRefused) {
    EXPECT_EQ(StatusWith(9, {1}), ZTK_VIEW_MMZ_DESCRIBED);
    EXPECT_EQ(StatusWith(9, {0x80}), ZTK_VIEW_MMZ_DESCRIBED);
    const SharedObject object(kData);
    object.Write(9, {1});
    object.Write(96, {'M', 'M', 'Z', '_', '4', '0', '9', '6', '_', '0', 'x', '1'});
    EXPECT_EQ(StatusOf(object), ZTK_VIEW_MMZ_DESCRIBED);
}

TEST(ViewHeader, TheNameMustBeTheOneThatWasOpened) {
    EXPECT_EQ(StatusWith(16, {'x'}), ZTK_VIEW_NAME_MISMATCH);
    EXPECT_EQ(StatusWith(16, std::vector<unsigned char>(80, 0)), ZTK_VIEW_NAME_MISMATCH);
    EXPECT_EQ(StatusWith(95, {'x'}), ZTK_VIEW_NAME_MISMATCH);
    const SharedObject object(kData);
    object.Write(16 + object.Name().size() - 1, {0});
    EXPECT_EQ(StatusOf(object), ZTK_VIEW_NAME_MISMATCH);
    object.Write(16 + object.Name().size() - 1, {static_cast<unsigned char>(object.Name().back()), 'x'});
    EXPECT_EQ(StatusOf(object), ZTK_VIEW_NAME_MISMATCH);
}

TEST(ViewHeader, ReservedBytesAndAnUnusedDescriptorAreNotLookedAt) {
    for (const std::size_t nOffset : {8U, 10U, 11U, 12U, 13U, 96U, 127U}) {
        EXPECT_EQ(StatusWith(nOffset, {0xff}), ZTK_VIEW_OK) << nOffset;
    }
}

/// Makes a good block under a name of a given length, which SharedObject does not choose.
ZtkViewStatus StatusOfNameOf(std::size_t nLength) {
    std::string szName = ztk_test::UniqueName() + "-";
    szName.resize(nLength, 'n');
    std::vector<unsigned char> header = Header(szName.substr(0, 80), 0);
    const std::string szPath = "/dev/shm/" + szName;
    std::ofstream(szPath, std::ios::binary)
        .write(reinterpret_cast<const char*>(header.data()), static_cast<std::streamsize>(header.size()));
    const ZtkViewStatus enStatus = StatusOf(szName.c_str());
    std::filesystem::remove(szPath);
    return enStatus;
}

TEST(ViewHeader, ANameMayFillItsFieldButNotExceedIt) {
    EXPECT_EQ(StatusOfNameOf(79), ZTK_VIEW_OK);
    EXPECT_EQ(StatusOfNameOf(80), ZTK_VIEW_OK);
    EXPECT_EQ(StatusOfNameOf(81), ZTK_VIEW_NAME_MISMATCH);
}

}  // namespace
