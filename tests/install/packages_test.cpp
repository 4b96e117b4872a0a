// The Debian packages: made, installed in a root of their own, run and removed.

#include "installed.h"

namespace {

using namespace qx::test;
using testing::ContainsRegex;

class Packages : public ::testing::Test {
protected:
    // What a program needs is looked up in the directories that this file names.
    Packages() { write_file("/etc/ld.so.conf", "/lib/x86_64-linux-gnu\n"); }

    void SetUp() override {
        if (kForRouters) {
            GTEST_SKIP() << "routers have no Debian packages";
        }
    }

    fs::path made_in(const char* name) const {
        fs::path folder = directory.path() / name;
        output_of({"cpack", "--config", fs::path(QX_BUILD_DIR) / "CPackConfig.cmake", "-B", folder},
                  {{"SOURCE_DATE_EPOCH", "1700000000"}});
        fs::remove_all(folder / "_CPack_Packages");
        return folder;
    }

    /// Runs dpkg on the private root. It wants to see an administrator's PATH.
    void dpkg(const std::string& words) const {
        output_of({"sh", "-c",
                   "PATH=$PATH:/usr/sbin:/sbin dpkg --force-depends --root='" + root.string() +
                       "' " + words});
    }

    static std::vector<std::string> files_in(const fs::path& folder) {
        std::vector<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            if (!entry.is_directory()) {
                files.push_back(fs::relative(entry.path(), folder));
            }
        }
        return files;
    }

    const TemporaryDirectory directory;
    const fs::path root = directory.path() / "root";
};

TEST_F(Packages, AreInstalledRunAndRemoved) {
    const fs::path packages = made_in("packages");
    fs::create_directories(root / "var/lib/dpkg/info");
    write_file(root / "var/lib/dpkg/status", "");
    dpkg("--install '" + packages.string() + "'/*.deb");
    std::vector<std::string> expected{
        "bin/qxbrokerd-sim",
        "include/qx_plix.h",
        "lib/cmake/qx_plix/qx_plix-config-version.cmake",
        "lib/cmake/qx_plix/qx_plix-config.cmake",
        "lib/libqx_plix.a",
        "lib/pkgconfig/qx_plix.pc",
        "sbin/qxagent-manage",
        "share/bash-completion/completions/qxagent-manage",
        "share/doc/qxagent-manage/scripting.md",
        "share/doc/qxbrokerd-sim/simulator.md",
        "share/fish/vendor_completions.d/qxagent-manage.fish",
        "share/man/man3/qx_plix.3.gz",
        "share/man/man8/qxagent-manage.8.gz",
        "share/man/man8/qxbrokerd-sim.8.gz",
        "share/zsh/vendor-completions/_qxagent-manage",
    };
    for (const std::string& file : files_in(fs::path(QX_SOURCE_DIR) / "docs/scenarios")) {
        expected.push_back("share/doc/qxbrokerd-sim/scenarios/" + file);
    }
    EXPECT_THAT(files_in(root / "usr"), testing::UnorderedElementsAreArray(expected));

    Process broker({root / "usr/bin/qxbrokerd-sim", "--install-dir", kInstallDir});
    broker.wait_for_output("listening");
    EXPECT_EQ(output_of({root / "usr/sbin/qxagent-manage", "is_enabled"}),
              "{\"services_status\": true}\n");

    dpkg("--purge qxagent-manage libqx-plix-dev qxbrokerd-sim");
    EXPECT_FALSE(fs::exists(root / "usr"));
}

// The loader is there before any library is; static parts of the C++ library name it.
TEST_F(Packages, HoldAToolThatLoadsTheCLibraryAlone) {
    std::vector<std::string> needed;
    for (const std::string& line : lines_of(output_of({"readelf", "-dW", QX_TOOL}))) {
        if (line.find("(NEEDED)") != std::string::npos) {
            const std::size_t name = line.find('[') + 1;
            needed.push_back(line.substr(name, line.find(']') - name));
        }
    }
    std::erase_if(needed, [](const auto& library) { return library.starts_with("ld-linux"); });
    EXPECT_EQ(needed, std::vector<std::string>{"libc.so.6"});
}

TEST_F(Packages, NameWhatTheyNeedAndTheirChecksums) {
    const fs::path packages = made_in("packages");
    const auto depends = [&](const std::string& package) {
        return run({"dpkg-deb", "-f", packages / (package + "_1.0.0_amd64.deb"), "Depends"}).out;
    };
    // libc alone: whatever else the tool uses is inside it.
    EXPECT_THAT(depends("qxagent-manage"), testing::MatchesRegex("libc6 \\(>= [0-9.]+\\)\n"));
    EXPECT_EQ(depends("libqx-plix-dev"), "libjansson-dev\n");
    EXPECT_THAT(depends("qxbrokerd-sim"), ContainsRegex("(^|, )libc6 \\("));
    output_of({"sh", "-c", "cd '" + packages.string() + "' && sha256sum --check --quiet *.sha256"});
}

// The second archive is made from sources without a repository and bears the time of their files.
TEST_F(Packages, RouterArchivesBearTheTimeOfTheSources) {
    const fs::path sources = directory.path() / "sources";
    fs::create_directories(sources);
    fs::copy(fs::path(QX_SOURCE_DIR) / "cmake", sources / "cmake");
    output_of({"touch", "-d", "@1700000000", sources / "CMakeLists.txt"});
    const auto archive = [&](const std::string& name, const std::string& cmake) {
        fs::path file = directory.path() / name;
        output_of({"sh", "-c",
                   "cd '" + directory.path().string() + "' && " + cmake + " -DTOOL='" + QX_TOOL +
                       "' -DARCHIVE=" + name + " -P sources/cmake/archive.cmake && " +
                       "sha256sum --check " + name + ".sha256"});
        return file;
    };
    const fs::path first = archive("first.tar.gz", "SOURCE_DATE_EPOCH=1700000000 cmake");
    EXPECT_EQ(read_file(first),
              read_file(archive("second.tar.gz", "env -u SOURCE_DATE_EPOCH cmake")));
    EXPECT_THAT(
        run({"tar", "-tvzf", first}).out,
        testing::MatchesRegex("-rwxr-xr-x 0/0 +[0-9]+ 2023-11-14 22:13 usr/sbin/qxagent-manage\n"));
}

} // namespace
