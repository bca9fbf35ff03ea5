#include "owner.h"

#include <gtest/gtest.h>

namespace ztkmem {
namespace {

constexpr std::int64_t kMade = 1'700'000'000;

OwnerFacts Facts(Signalled enSignalled) {
    OwnerFacts facts;
    facts.enSignalled = enSignalled;
    facts.bEveryProcessSeen = true;
    facts.nObjectMadeAt = kMade;
    return facts;
}

OwnerFacts ProcessIn(char chState, std::int64_t nThreads, std::int64_t nStartedAt) {
    OwnerFacts facts = Facts(Signalled::kReached);
    facts.process = OwnerProcess{chState, nThreads, nStartedAt};
    return facts;
}

TEST(Owner, ThatCannotBeSignalledIsAlive) {
    EXPECT_EQ(JudgeOwner(Facts(Signalled::kReached)), OwnerState::kAlive);
    EXPECT_EQ(JudgeOwner(Facts(Signalled::kNotPermitted)), OwnerState::kAlive);
    EXPECT_EQ(JudgeOwner(Facts(Signalled::kUnclear)), OwnerState::kNotVisible);
}

TEST(Owner, IsDeadOnlyWhenNobodyCanBeOverlooked) {
    OwnerFacts facts = Facts(Signalled::kNoSuchProcess);
    EXPECT_EQ(JudgeOwner(facts), OwnerState::kDead);
    facts.bIdInInnerNamespace = true;
    EXPECT_EQ(JudgeOwner(facts), OwnerState::kNotVisible);
    facts.bIdInInnerNamespace = false;
    facts.bEveryProcessSeen = false;
    EXPECT_EQ(JudgeOwner(facts), OwnerState::kNotVisible);
}

TEST(Owner, ZombieIsAsDeadAsItsThreads) {
    EXPECT_EQ(JudgeOwner(ProcessIn('Z', 1, kMade - 10)), OwnerState::kZombie);
    EXPECT_EQ(JudgeOwner(ProcessIn('Z', 0, kMade - 10)), OwnerState::kZombie);
    EXPECT_EQ(JudgeOwner(ProcessIn('X', 0, kMade - 10)), OwnerState::kZombie);
    EXPECT_EQ(JudgeOwner(ProcessIn('Z', 2, kMade - 10)), OwnerState::kAlive);
    OwnerFacts facts = ProcessIn('Z', 1, kMade - 10);
    facts.bIdInInnerNamespace = true;
    EXPECT_EQ(JudgeOwner(facts), OwnerState::kNotVisible);
}

TEST(Owner, ThatStartedAfterTheObjectWasMadeMayBeAStranger) {
    EXPECT_EQ(JudgeOwner(ProcessIn('S', 1, kMade + 3)), OwnerState::kReused);
    EXPECT_EQ(JudgeOwner(ProcessIn('S', 1, kMade + 2)), OwnerState::kAlive);
    EXPECT_EQ(JudgeOwner(ProcessIn('S', 1, kMade - 3)), OwnerState::kAlive);
    EXPECT_EQ(JudgeOwner(ProcessIn('Z', 1, kMade + 3)), OwnerState::kZombie);
}

TEST(Owner, OnlyDeadAndZombieMayBeReaped) {
    EXPECT_TRUE(IsProvenDead(OwnerState::kDead));
    EXPECT_TRUE(IsProvenDead(OwnerState::kZombie));
    for (const OwnerState enState :
         {OwnerState::kNone, OwnerState::kAlive, OwnerState::kReused, OwnerState::kNotVisible}) {
        EXPECT_FALSE(IsProvenDead(enState)) << OwnerStateText(enState);
    }
}

TEST(Visibility, NeedsTheFirstNamespaceOrTheUsersWord) {
    Visibility visibility{true, true, true, false};
    EXPECT_TRUE(SeesEveryProcess(visibility));
    visibility.bInitialNamespace = false;
    EXPECT_FALSE(SeesEveryProcess(visibility));
    visibility.bVouchedFor = true;
    EXPECT_TRUE(SeesEveryProcess(visibility));
    visibility.bNothingHidden = false;
    EXPECT_FALSE(SeesEveryProcess(visibility)) << "the user's word does not bring hidden processes to light";
    visibility.bNothingHidden = true;
    visibility.bProcIsOurs = false;
    EXPECT_FALSE(SeesEveryProcess(visibility));
}

}  // namespace
}  // namespace ztkmem
