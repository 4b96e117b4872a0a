// The library's start: where the agent is installed, and whether its broker is the right one.

#include "input.h"
#include "install_path.h"
#include "qx_plix.h"
#include "qxpath.h"
#include "world.h"

#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

using qx::fuzz::check;

constexpr const char* kLink = "/etc/norvane-plix";

void stop_if_started(int result) {
    check(result == 0 || result == -1, "the result is 0 or -1");
    if (result == 0) {
        qx_plix_uninit();
    }
}

} // namespace

/// A link's target and a passwd file, each up to a zero byte, and a version file.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string version_file = [] {
        const auto file = qx::test::kVersionFile;
        std::filesystem::create_directories(file.parent_path());
        return file.string();
    }();
    const qx::fuzz::DescriptorCheck descriptors;
    qx::fuzz::Input input(data, size);
    const std::string target = input.until('\0');
    ::unlink(kLink);
    check(target.empty() || target.size() > 4095 || ::symlink(target.c_str(), kLink) == 0,
          "the link can be made");
    qx::fuzz::replace_file("/etc/passwd", input.until('\0'));
    const std::string version = input.rest();
    qx::fuzz::replace_file(version_file.c_str(), version);

    const qx::fuzz::CapturedStreams streams;
    qxplix::qxpath_set_install_path(nullptr);
    const char* const found = qxpath_default_install_path();
    check(found != nullptr && ::strnlen(found, qxplix::kPathSize) < qxplix::kPathSize,
          "there is an install path, if only the fallback, and it ends");
    stop_if_started(qx_plix_init());

    const int result = qx_plix_init2(qx::test::kInstallDir.c_str());
    stop_if_started(result);
    check((result == 0) == (std::strcmp(version.substr(0, 32).c_str(), "1.3") == 0),
          "the version 1.3, and no other, is right");
    check(streams.out().empty(), "nothing is printed on standard output");
    return 0;
}
