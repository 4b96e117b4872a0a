// Which users the library trusts to run the broker.

#include "agent_fixture.h"

namespace {

using namespace qx::test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr unsigned kStranger = 1234;
constexpr unsigned kNobody = 65534;

class Trust : public Agent {
protected:
    void SetUp() override { qx_plix_set_warning_cb(Inbox::note, &warnings); }
    void TearDown() override { qx_plix_set_warning_cb(nullptr, nullptr); }

    // Restarts the broker as the user `uid` and returns true. If the test cannot switch to that
    // user, restarts the broker as the test's own user and returns false.
    bool restart_as(unsigned uid) {
        broker.stop();
        const OtherUser user(uid);
        broker.start();
        return static_cast<bool>(user);
    }

    // Returns whether the library sends the broker a command. Checks that init succeeds exactly in
    // this case.
    bool is_accepted() {
        broker.forget_requests();
        const bool accepted = qx_plix_enable() == 0;
        EXPECT_EQ(qx_plix_init() == 0, accepted);
        qx_plix_uninit();
        EXPECT_EQ(broker.requests().size(), accepted ? 1U : 0U);
        return accepted;
    }

    Inbox warnings;
};

void give(const fs::path& file, unsigned uid) {
    require(::lchown(file.c_str(), uid, uid) == 0, "lchown");
}

TEST_F(Trust, AcceptsOwnersOfTheAgentAndRefusesStrangers) {
    if (!restart_as(kStranger)) {
        GTEST_SKIP() << "only root can act as another user";
    }
    EXPECT_FALSE(is_accepted());
    for (const fs::path& file : {kVersionFile, kInstallDir}) {
        give(file, kStranger);
        EXPECT_TRUE(is_accepted()) << file;
        give(file, 0);
    }
    const std::string root = read_file("/etc/passwd");
    write_file("/etc/passwd", "norvane-plix:x:1234:7::" + kInstallDir.string() + ":/bin/false\n");
    EXPECT_TRUE(is_accepted()) << "the user norvane-plix";
    write_file("/etc/passwd", root);
    give(kVersionFile, kStranger);
    const fs::path moved = kInstallDir / "moved";
    fs::rename(kVersionFile, moved);
    fs::create_symlink(moved, kVersionFile);
    give(kVersionFile, kStranger);
    EXPECT_FALSE(is_accepted()) << "a symbolic link as version file confers no trust";
}

TEST_F(Trust, AcceptsTheOwnerOfADirectoryGivenToInitUntilUninit) {
    if (!restart_as(kStranger)) {
        GTEST_SKIP() << "only root can act as another user";
    }
    const fs::path elsewhere = "/opt/elsewhere";
    const LockedVersionFile its_version(elsewhere);
    give(elsewhere, kStranger);
    EXPECT_EQ(qx_plix_init2(elsewhere.c_str()), 0);
    EXPECT_EQ(qx_plix_enable(), 0);
    qx_plix_uninit();
    EXPECT_FALSE(is_accepted());
}

TEST_F(Trust, RefusesAnUnmappedUserUnlessItIsTheCaller) {
    if (!restart_as(kNobody)) {
        GTEST_SKIP() << "only root can act as another user";
    }
    give(kInstallDir, kNobody);
    give(kVersionFile, kNobody);
    EXPECT_FALSE(is_accepted());
    const OtherUser self(kNobody);
    EXPECT_TRUE(is_accepted());
}

TEST_F(Trust, CanBeLimitedToOneUserOrExtendedToAll) {
    const unsigned uid = restart_as(kStranger) ? kStranger : 0;
    const std::tuple<std::int64_t, int, bool> cases[] = {
        {QX_PLIX_BROKER_UID_ANY, 0, true},
        {uid, 0, true},
        {uid + 1, 0, false},
        {INT64_C(4294967294), 0, false},
        {INT64_C(4294967295), -1, false},
        {-3, -1, false},
        {QX_PLIX_BROKER_UID_DEFAULT, 0, uid == 0},
    };
    for (const auto& [required, result, accepted] : cases) {
        EXPECT_EQ(qx_plix_require_broker_uid(required), result) << required;
        EXPECT_EQ(is_accepted(), accepted) << required;
    }
}

TEST_F(Trust, WarnsOncePerRefusedUser) {
    Inbox events;
    ASSERT_EQ(qx_plix_init(), 0);
    listen(kStarted, events);
    EXPECT_THAT(warnings.events(), IsEmpty());
    broker.forget_requests();
    qx_plix_require_broker_uid(kStranger);
    broker.drop_subscribers(kStartedName);
    warnings.wait_for(1);
    // The library connects but sends no request.
    EXPECT_EQ(qx_plix_enable(), -1);
    EXPECT_THAT(broker.requests(), IsEmpty());
    EXPECT_THAT(warnings.events(), ElementsAre(HasSubstr("with the user id 0, which is not 1234")));
    qx_plix_require_broker_uid(QX_PLIX_BROKER_UID_DEFAULT);
    broker.wait_for_subscribers(1);
    if (restart_as(kStranger)) {
        warnings.wait_for(2);
        EXPECT_THAT(warnings.events().back(), HasSubstr("with the user id 1234, which is neither"));
        restart_as(0);
        broker.wait_for_subscribers(1);
    }
    qx_plix_uninit();
}

} // namespace
