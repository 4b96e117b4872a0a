// Who can read and write what the tool leaves on the router, and what it never writes there.

#include "broker_client.h"
#include "operations.h"

#include <sys/stat.h>

namespace {

using namespace qx::test;
using ::testing::HasSubstr;
using ::testing::Not;

const fs::path kLock = kSettingsFile.string() + ".lock";
const fs::path kTemporary = kSettingsFile.string() + ".tmp";
const fs::path kOldLog = kLogFile.string() + ".1";

class Permissions : public ::testing::Test {
protected:
    Permissions() { ::umask(0); }

    Simulator simulator_;
};

TEST_F(Permissions, OthersHaveNoneWhateverTheUmaskAndTheFilesThatWereThere) {
    fs::create_directories(kSettingsFile.parent_path());
    for (const bool were_there : {false, true}) {
        for (const fs::path& file : {kSettingsFile, kLock, kTemporary, kLogFile, kOldLog}) {
            fs::remove(file);
            if (were_there) {
                write_file(file, file == kSettingsFile ? "{}" : "");
                fs::permissions(file, fs::perms(0666));
            }
        }
        EXPECT_EQ(run_tool({"is_enabled"}).status, 0);
        EXPECT_TRUE(!were_there || mode(kSettingsFile) == fs::perms(0666)) << "changed by a read";
        fs::permissions(kSettingsFile.parent_path(), fs::perms::all);
        EXPECT_EQ(run_tool({"set_quillet_location", "staging"}).status, 0);
        for (const fs::path& file : {kSettingsFile, kLock}) {
            EXPECT_EQ(mode(file), fs::perms(0600));
        }
        EXPECT_FALSE(fs::exists(kTemporary));
        EXPECT_EQ(mode(kLogFile), fs::perms(0640));
        EXPECT_TRUE(!were_there || mode(kOldLog) == fs::perms(0640));
        EXPECT_THAT(read_file(kLogFile),
                    HasSubstr("Others can write to the settings directory '/opt/norvane/etc'"));
    }
}

TEST_F(Permissions, PlantedLinksLeadNobodyOut) {
    const fs::path outside = "/opt/outside";
    for (const fs::path& planted : {kTemporary, kLock, kSettingsFile, kLogFile, kOldLog}) {
        for (const bool symbolic : {true, false}) {
            SCOPED_TRACE(planted.string() + (symbolic ? ", symbolic" : ", hard"));
            fs::remove_all(kInstallDir / "etc");
            fs::remove_all(kInstallDir / "var/log");
            write_file(outside, "{\"outside\": \"1\"}");
            fs::permissions(outside, fs::perms(0644));
            fs::create_directories(planted.parent_path());
            // Full, so that the next line rotates it.
            if (planted == kOldLog) {
                write_file(kLogFile, std::string(std::size_t{256} * 1024, 'x'));
            }
            symbolic ? fs::create_symlink(outside, planted)
                     : fs::create_hard_link(outside, planted);
            write_file(kInstallDir / "etc/unrelated", "");
            fs::permissions(kInstallDir / "etc", fs::perms::all);
            const Outcome outcome = run_tool({"set_quillet_location", "staging"});
            EXPECT_EQ(outcome.status == 0, !symbolic || planted == kTemporary || planted == kOldLog)
                << outcome.err;
            EXPECT_EQ(read_file(outside), "{\"outside\": \"1\"}");
            EXPECT_EQ(fs::is_symlink(kSettingsFile), symbolic && planted == kSettingsFile);
            EXPECT_EQ(mode(outside), fs::perms(0644));
        }
    }
}

TEST_F(Permissions, SecretsNeverReachTheLog) {
    const std::string secret = "correct-horse-battery";
    const std::vector<std::string> calls[] = {
        {"register", "--params=router_id=" + secret + ",token=" + secret},
        {"register", "--params=token=" + secret + "=" + secret},
        {"register", "--params=token=" + secret + "\xff"},
        {"register_to_cloud", "--params=token=" + secret + ",mac=" + secret + ",redeem=" + secret},
        {"register_to_cloud", "--params=token=" + secret + "\xff"},
        {"set_registration_cloud", "--cloud=staging"},
        {"set_quillet_location", "staging"},
    };
    const std::string settings = "{\"/cirrel/registration/token\": \"" + secret + "\"}";
    const std::string damaged =
        "{\"/cirrel/registration/token\": \"" + secret + "\" \"" + secret + "\"}";
    Outcome last;
    for (const std::string& text : {settings, damaged}) {
        for (const std::vector<std::string>& words : calls) {
            write_file(kSettingsFile, text);
            fs::permissions(kInstallDir / "etc", fs::perms::all);
            last = run_tool(words, {{"QXLOG_LEVEL", "debug"}});
        }
    }
    const std::string line = "Cannot read the settings: /opt/norvane/etc/settings.json: is not "
                             "JSON (line 1, column 78)\n";
    EXPECT_EQ(last.err, line);
    EXPECT_THAT(read_file(kLogFile), HasSubstr(line));
    EXPECT_THAT(read_file(kLogFile), Not(HasSubstr(secret)));
}

} // namespace
