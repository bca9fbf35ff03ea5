// Many callers at once, with the reclaimer at work between them.
#include <cstring>

#include "pool_fixture.h"

namespace ztk::test {
namespace {

template <class Kind>
class PoolThreadsTest : public PoolTest<Kind> {
  protected:
    static constexpr int kCallers = 4;
    static constexpr int kRounds = 60;

    /// Takes blocks, marks them as its own, and finds its mark again before it gives them back.
    void CallManyTimes(int nCaller) {
        for (int nRound = 0; nRound < kRounds; ++nRound) {
            const auto nSize = static_cast<std::uint64_t>(1024 * (1 + nRound % 3));
            const std::int32_t nAlign = nRound % 2 == 0 ? 0 : 64;
            Given given;
            ASSERT_EQ(Kind::Allocate(this->ThePool(), nSize, nAlign, given), ZTK_SUCCESS);
            auto* pMark = reinterpret_cast<unsigned char*>(given.nAddress) + 512;
            std::memset(pMark, nCaller, 256);
            std::this_thread::yield();
            for (int i = 0; i < 256; ++i)
                ASSERT_EQ(pMark[i], nCaller);
            ASSERT_EQ(Kind::Release(this->ThePool(), given.nAddress), ZTK_SUCCESS);
        }
    }
};

TYPED_TEST_SUITE(PoolThreadsTest, AllKinds, KindNames);

TYPED_TEST(PoolThreadsTest, NoBlockIsHeldByTwoAndTheIdleTotalComesOutRight) {
    FakeLog::SetLevel(0);
    std::vector<std::thread> callers;
    for (int nCaller = 1; nCaller <= this->kCallers; ++nCaller)
        callers.emplace_back([this, nCaller] { this->CallManyTimes(nCaller); });
    for (int nMinute = 0; nMinute < 5; ++nMinute)
        this->time_.Advance(std::chrono::minutes(1));
    for (std::thread& caller : callers)
        caller.join();
    const std::uint64_t nIdle = this->ThePool().RedundantSize();
    EXPECT_GT(nIdle, 0U);
    FreeUnbusy(this->ThePool(), 0);
    EXPECT_EQ(this->ThePool().RedundantSize(), 0U);
    EXPECT_EQ(TypeParam::TimesAsked(), TypeParam::TimesGivenBack());
}

TYPED_TEST(PoolThreadsTest, IdleBlocksAreReclaimedWhileOthersAreHandedOut) {
    const Given raised = this->RaiseIdleTotal(1000);
    std::vector<std::thread> callers;
    for (int nCaller = 1; nCaller <= this->kCallers; ++nCaller)
        callers.emplace_back([this, nCaller] { this->CallManyTimes(nCaller); });
    for (int nMinute = 0; nMinute < 20; ++nMinute)
        this->time_.Advance(std::chrono::minutes(1));
    for (std::thread& caller : callers)
        caller.join();
    this->pool_.reset();
    EXPECT_EQ(TypeParam::TimesAsked(), TypeParam::TimesGivenBack());
    EXPECT_NE(raised.nAddress, 0U);
}

}  // namespace
}  // namespace ztk::test
