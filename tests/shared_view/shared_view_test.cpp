// What an opened view is good for.
#include "common/ztk_shared_view.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <set>
#include <string>
#include <vector>

#include "tests/shared_view/consumers.h"
#include "tests/shared_view/opening.h"
#include "tests/shared_view/shared_object.h"

namespace {

using ztk_test::IsClosed;
using ztk_test::kHeader;
using ztk_test::OpenDescriptors;
using ztk_test::PatternAt;
using ztk_test::SharedObject;
using ztk_test::StatusOf;

constexpr std::size_t kData = 5000;

bool HasPattern(const ZtkSharedView& view) {
    for (std::size_t i = 0; i < view.nDataLen; ++i) {
        if (view.pData[i] != PatternAt(i)) return false;
    }
    return true;
}

class Opening : public testing::TestWithParam<bool> {
  protected:
    static ZtkViewStatus Open(const SharedObject& object, ZtkSharedView* pView) {
        return GetParam() ? ZtkOpenSharedViewWritable(object.Name().c_str(), pView)
                          : ZtkOpenSharedView(object.Name().c_str(), pView);
    }
};
INSTANTIATE_TEST_SUITE_P(View, Opening, testing::Bool(),
                         [](const auto& kind) { return kind.param ? "Writable" : "ReadOnly"; });

TEST_P(Opening, AGoodBlockShowsItsDataAndKeepsIt) {
    const SharedObject object(kData);
    const std::vector<unsigned char> before = object.Content();
    ZtkSharedView view;
    ASSERT_EQ(Open(object, &view), ZTK_VIEW_OK);
    EXPECT_EQ(view.nDataLen, kData);
    EXPECT_EQ(view.pData, static_cast<unsigned char*>(view.pMapping) + kHeader);
    EXPECT_EQ(view.nMappingLen, kHeader + kData);
    EXPECT_TRUE(HasPattern(view));
    EXPECT_EQ(object.Content(), before) << "header or data were touched";
    ZtkCloseSharedView(&view);
    EXPECT_TRUE(IsClosed(view));
    EXPECT_EQ(object.Content(), before) << "closing removed or changed the object";
}

TEST_P(Opening, KeepsNoDescriptor) {
    const SharedObject object(kData);
    const std::ptrdiff_t nBefore = OpenDescriptors();
    ZtkSharedView view;
    ASSERT_EQ(Open(object, &view), ZTK_VIEW_OK);
    EXPECT_EQ(OpenDescriptors(), nBefore);
    ZtkCloseSharedView(&view);
    EXPECT_EQ(OpenDescriptors(), nBefore);
}

TEST_P(Opening, AViewOutlivesItsObjectsName) {
    const SharedObject object(kData);
    ZtkSharedView view;
    ASSERT_EQ(Open(object, &view), ZTK_VIEW_OK);
    object.Unlink();
    EXPECT_TRUE(HasPattern(view));
    EXPECT_EQ(StatusOf(object), ZTK_VIEW_VANISHED);
    ZtkCloseSharedView(&view);
}

TEST_P(Opening, AViewShowsWhatTheOwnerWritesLater) {
    const SharedObject object(kData);
    ZtkSharedView view;
    ASSERT_EQ(Open(object, &view), ZTK_VIEW_OK);
    object.Write(kHeader + 10, {0xab});
    EXPECT_EQ(view.pData[10], 0xab);
    ZtkCloseSharedView(&view);
}

TEST_P(Opening, ABlockThatIsAllHeaderHasNoData) {
    const SharedObject object(std::size_t{0});
    ZtkSharedView view;
    ASSERT_EQ(Open(object, &view), ZTK_VIEW_OK);
    EXPECT_NE(view.pData, nullptr);
    EXPECT_EQ(view.nDataLen, 0U);
    ZtkCloseSharedView(&view);
}

TEST(View, AReadOnlyOneCannotBeWrittenNorMadeWritable) {
    const SharedObject object(kData);
    ZtkSharedView view;
    ASSERT_EQ(ZtkOpenSharedView(object.Name().c_str(), &view), ZTK_VIEW_OK);
    EXPECT_EQ(ZtkSharedViewData(&view), nullptr);
    EXPECT_EQ(mprotect(view.pMapping, view.nMappingLen, PROT_READ | PROT_WRITE), -1);
    EXPECT_EQ(errno, EACCES);
    const pid_t nChild = fork();
    if (nChild == 0) {
        (void)std::signal(SIGSEGV, SIG_DFL);
        *(static_cast<volatile unsigned char*>(view.pMapping) + kHeader) = 1;
        _exit(0);
    }
    int nStatus = 0;
    ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    EXPECT_TRUE(WIFSIGNALED(nStatus) && WTERMSIG(nStatus) == SIGSEGV) << nStatus;
    EXPECT_TRUE(HasPattern(view));
    ZtkCloseSharedView(&view);
}

TEST(View, AWritableOneReachesTheObject) {
    const SharedObject object(kData);
    ZtkSharedView view;
    ASSERT_EQ(ZtkOpenSharedViewWritable(object.Name().c_str(), &view), ZTK_VIEW_OK);
    ASSERT_EQ(ZtkSharedViewData(&view), view.pData);
    ZtkSharedViewData(&view)[kData - 1] = 0xcd;
    EXPECT_EQ(object.Content().back(), 0xcd);
    ZtkCloseSharedView(&view);
    EXPECT_EQ(ZtkSharedViewData(&view), nullptr);
}

TEST(View, ClosingTwiceOrNothingIsHarmlessAndKeepsErrno) {
    const SharedObject object(kData);
    ZtkSharedView view;
    ASSERT_EQ(ZtkOpenSharedView(object.Name().c_str(), &view), ZTK_VIEW_OK);
    errno = EBUSY;
    ZtkCloseSharedView(&view);
    ZtkCloseSharedView(&view);
    ZtkCloseSharedView(nullptr);
    EXPECT_EQ(ZtkSharedViewData(nullptr), nullptr);
    EXPECT_EQ(errno, EBUSY);
}

TEST(ViewStatusText, EveryStatusHasItsOwn) {
    std::set<std::string> texts;
    for (int i = ZTK_VIEW_OK; i <= ZTK_VIEW_NAME_MISMATCH; ++i) {
        texts.insert(ZtkViewStatusText(static_cast<ZtkViewStatus>(i)));
    }
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(ZTK_VIEW_NAME_MISMATCH) + 1);
    EXPECT_EQ(texts.count("unknown status"), 0U);
}

TEST(ViewLanguages, C99AndCxx11ReadEachOthersViews) {
    const SharedObject object(kData);
    EXPECT_EQ(C99SizeOfView(), Cxx11SizeOfView());
    for (const int bWritable : {0, 1}) {
        ZtkSharedView c99;
        ZtkSharedView cxx11;
        ASSERT_EQ(C99Open(object.Name().c_str(), bWritable, &c99), ZTK_VIEW_OK);
        ASSERT_EQ(Cxx11Open(object.Name().c_str(), bWritable, &cxx11), ZTK_VIEW_OK);
        EXPECT_EQ(C99SumOf(&cxx11), Cxx11SumOf(&c99));
        EXPECT_NE(C99SumOf(&cxx11), 0U);
        Cxx11Close(&c99);
        C99Close(&cxx11);
        EXPECT_TRUE(IsClosed(c99) && IsClosed(cxx11));
    }
    ZtkSharedView view;
    EXPECT_EQ(C99Open("a/b", 0, &view), ZTK_VIEW_BAD_NAME);
    EXPECT_EQ(Cxx11Open("a/b", 0, &view), ZTK_VIEW_BAD_NAME);
}

}  // namespace
