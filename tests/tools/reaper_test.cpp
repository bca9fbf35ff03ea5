#include "reaper.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tools/made_up_objects.h"

namespace ztkmem {
namespace {

Segment Stale(int nOwner = test::kNobody) {
    Segment segment;
    segment.name = test::PoolName(nOwner);
    segment.enKind = NameKind::kPool;
    segment.nOwner = nOwner;
    segment.enOwner = OwnerState::kDead;
    segment.facts.id = {1, 42};
    segment.facts.bRegular = true;
    segment.facts.nResident = 4096;
    segment.nAge = 100;
    segment.sweepRemoves = true;
    return segment;
}

Segment Owned(OwnerState enOwner) {
    Segment segment = Stale();
    segment.enOwner = enOwner;
    return segment;
}

class MadeUpTarget : public ReapTarget {
  public:
    std::optional<Segment> now = Stale();
    int nAnswer = 0;
    int nRemovals = 0;

    std::optional<Segment> LookAgain(const std::string& /*name*/) override { return now; }
    int Remove(const std::string& /*name*/) override {
        ++nRemovals;
        return nAnswer;
    }
};

TEST(RemoveIfStale, RemovesWhatIsStillTheSame) {
    MadeUpTarget target;
    EXPECT_EQ(RemoveIfStale(Stale(), target).enRemoval, Removal::kRemoved);
    EXPECT_EQ(target.nRemovals, 1);
}

TEST(RemoveIfStale, LeavesWhatHasChangedSinceItWasChosen) {
    MadeUpTarget target;
    target.now->facts.id.nInode = 43;
    EXPECT_EQ(RemoveIfStale(Stale(), target).enRemoval, Removal::kOther);
    for (const OwnerState enOwner : {OwnerState::kAlive, OwnerState::kReused, OwnerState::kNotVisible}) {
        target.now = Owned(enOwner);
        EXPECT_EQ(RemoveIfStale(Stale(), target).enRemoval, Removal::kNotProven);
    }
    target.now.reset();
    EXPECT_EQ(RemoveIfStale(Stale(), target).enRemoval, Removal::kGone);
    EXPECT_EQ(target.nRemovals, 0);
}

TEST(RemoveIfStale, TellsARefusalFromAVanishedObject) {
    MadeUpTarget target;
    target.nAnswer = ENOENT;
    EXPECT_EQ(RemoveIfStale(Stale(), target).enRemoval, Removal::kGone);
    target.nAnswer = EPERM;
    EXPECT_EQ(RemoveIfStale(Stale(), target).enRemoval, Removal::kRefused);
    EXPECT_EQ(RemoveIfStale(Stale(), target).nError, EPERM);
}

TEST(PlanReap, ChoosesOnlyWhatIsProvenStale) {
    Segment odd = Stale();
    odd.enKind = NameKind::kOdd;
    Segment folder = Stale();
    folder.facts.bRegular = false;
    const ReapPlan plan = PlanReap({Stale(), Owned(OwnerState::kZombie), Owned(OwnerState::kAlive),
                                    Owned(OwnerState::kReused), Owned(OwnerState::kNotVisible), odd, folder},
                                   0);
    EXPECT_EQ(plan.chosen.size(), 2U);
    EXPECT_EQ(plan.kept.size(), 5U);
    EXPECT_EQ(plan.nTooYoung, 0U);
}

TEST(PlanReap, LeavesWhatIsTooYoung) {
    EXPECT_EQ(PlanReap({Stale()}, 100).chosen.size(), 1U);
    EXPECT_EQ(PlanReap({Stale()}, 101).chosen.size(), 0U);
    EXPECT_EQ(PlanReap({Stale()}, 101).nTooYoung, 1U);
    Segment future = Stale();
    future.nAge = -5;
    EXPECT_EQ(PlanReap({future}, 0).chosen.size(), 1U);
    EXPECT_EQ(PlanReap({future}, 1).chosen.size(), 0U);
}

TEST(ReapText, TellsWhatIsFreedAndWhatIsKept) {
    Segment mapped = Stale(test::kNobody + 1);
    mapped.users = {{12, "viewer"}};
    const ReapPlan plan = PlanReap({Stale(), mapped, Owned(OwnerState::kNotVisible)}, 0);
    EXPECT_EQ(
        ReapText(plan, 0),
        "    PID  OWNER  AGE  RESIDENT  MAPPED BY   NAME\n"
        "5000001  dead    1m      4.0K  -           " +
            test::PoolName(5000001) +
            "\n"
            "5000002  dead    1m      4.0K  12(viewer)  " +
            test::PoolName(5000002) +
            "\n"
            "2 segments of dead owners; removing them frees 4.0K, and 4.0K when those who map them let go\n"
            "kept: 1 with an owner not visible\n"
            "the library's own sweep, at a load by this user, would remove 1 of those kept\n");
    EXPECT_NE(ReapText(plan, 3).find("frees up to 4.0K"), std::string::npos);
    EXPECT_EQ(ReapText({}, 0), "nothing to remove\n");
}

}  // namespace
}  // namespace ztkmem
