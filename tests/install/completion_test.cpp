// Completions, typed into real shells. The command is a function there that shows the words which
// it is given in the end, each sign "=" as a border between words: shells differ in which one they
// leave behind a completed option.

#include "installed.h"

namespace {

using namespace qx::test;

struct Typed {
    const char* keys;
    const char* words;
};

constexpr Typed kTyped[] = {
    {"va_set_s\t", "<va_set_schedule>"},
    {"set_registration_cloud --cl\tdev\t", "<set_registration_cloud><--cloud><development>"},
    {"set_registration_cloud --cloud sta\t", "<set_registration_cloud><--cloud><staging>"},
    {"va_set_schedule --at 03:30 --every_unit=w\t",
     "<va_set_schedule><--at><03:30><--every_unit><week>"},
    {"va_set_schedule --at=03:30 --on_p\tfo\t",
     "<va_set_schedule><--at><03:30><--on_prefix><fourth>"},
    {"set_device_online_status --is_online f\t", "<set_device_online_status><--is_online><false>"},
    {"set_quillet_location st\t", "<set_quillet_location><staging>"},
    {"listen --events=QX_PLIX_VA_S\t", "<listen><--events><QX_PLIX_VA_STATUS_CHANGED>"},
    {"listen --events QX_PLIX_Q\t,QX_PLIX_DEVICE_D\t",
     "<listen><--events><QX_PLIX_QXAGENT_STARTED,QX_PLIX_DEVICE_DISCOVERY>"},
    {"feature --l\t", "<feature><--list>"},
    // Another operation's option, and a value that is free.
    {"feature --cl\t", "<feature><--cl>"},
    {"get_devices --ids va_s\t", "<get_devices><--ids><va_s>"},
};

class Completion : public Installed {
protected:
    /// Starts a shell on a terminal and types everything.
    void type_into(const std::string& shell) {
        environment["TERM"] = "dumb";
        Process terminal({"script", "-qfec", shell, "/dev/null"}, environment);
        terminal.wait_for_output("ready> ");
        for (const Typed& typed : kTyped) {
            terminal.write(std::string("qxagent-manage ") + typed.keys + "\n");
            EXPECT_TRUE(terminal.wait_for_output(typed.words + std::string(".\r\n"))) << typed.keys;
        }
        terminal.write("exit\n");
        EXPECT_EQ(terminal.finish().status, 0);
    }

    const fs::path completions = prefix / "share";
    const std::string show_words =
        "PS1='ready> '\nqxagent-manage() { printf '<%s>' \"${@//=/><}\"; echo .; }\n";
};

TEST_F(Completion, CompletesInBash) {
    const std::string file = directory.path() / "bashrc";
    write_file(file, show_words + "bind 'set enable-bracketed-paste off'\n. " +
                         (completions / "bash-completion/completions/qxagent-manage\n").string());
    type_into("bash --noprofile --rcfile " + file);
}

TEST_F(Completion, CompletesInZsh) {
    write_file(directory.path() / ".zshrc", show_words + "fpath=(" +
                                                (completions / "zsh/site-functions").string() +
                                                " $fpath)\nautoload -U compinit\ncompinit -u -D\n");
    environment["ZDOTDIR"] = directory.path();
    type_into("zsh -d");
}

TEST_F(Completion, CompletesInFish) {
    environment["HOME"] = directory.path();
    environment["FISH_SCRIPT"] = completions / "fish/vendor_completions.d/qxagent-manage.fish";
    const auto offered = [&](const std::string& typed) {
        return run({"fish", "--no-config", "-c",
                    "source $FISH_SCRIPT; complete -C 'qxagent-manage " + typed +
                        "' | string replace -r '\\t.*' ''"},
                   environment)
            .out;
    };
    EXPECT_EQ(offered("va_set_"), "va_set_exclusions\nva_set_schedule\n");
    EXPECT_EQ(offered("feature --"), "--get\n--list\n--set\n");
    EXPECT_EQ(offered("set_registration_cloud --cloud=s"), "--cloud=staging\n");
    EXPECT_EQ(offered("set_quillet_location "), "production\nstaging\n");
    EXPECT_EQ(offered("listen --events QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_Q"),
              "QX_PLIX_VA_STATUS_CHANGED,QX_PLIX_QXAGENT_STARTED\n");
    EXPECT_EQ(offered("set_device_online_status --is_online f"), "false\n");
    EXPECT_EQ(offered("get_devices --ids "), "");
}

} // namespace
