// Initialises the library, which finds the install directory and checks the broker's version.

#include "fake_broker.h"
#include "input.h"
#include "install_path.h"
#include "qx_plix.h"
#include "qxpath.h"
#include "world.h"

#include <cstring>
#include <fcntl.h>
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

/// Locks the version file as a running broker does, until the process ends.
int lock_version_file() {
    qx::test::write_file(qx::test::kVersionFile, "");
    const int fd = ::open(qx::test::kVersionFile.c_str(), O_RDWR | O_CLOEXEC);
    struct flock whole {};
    whole.l_type = F_WRLCK;
    check(::fcntl(fd, F_OFD_SETLK, &whole) == 0, "the version file can be locked");
    return fd;
}

} // namespace

/// Input: the target of the link /etc/norvane-plix and the content of /etc/passwd, each up to a
/// zero byte, then the content of the version file.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int lock = lock_version_file();
    check(lock >= 0, "the version file is locked");
    const qx::fuzz::DescriptorCheck descriptors;
    const qx::fuzz::FakeBroker broker;
    qx::fuzz::Input input(data, size);
    const std::string target = input.until('\0');
    ::unlink(kLink);
    check(target.empty() || target.size() > 4095 || ::symlink(target.c_str(), kLink) == 0,
          "the link can be made");
    qx::test::write_file("/etc/passwd", input.until('\0'));
    const std::string version = input.rest();
    qx::test::write_file(qx::test::kVersionFile, version);

    const qx::fuzz::Capture out(stdout);
    const qx::fuzz::Capture err(stderr);
    qxplix::qxpath_set_install_path(nullptr);
    const char* const found = qxpath_default_install_path();
    check(found != nullptr && ::strnlen(found, qxplix::kPathSize) < qxplix::kPathSize,
          "the default install path is a terminated string");
    stop_if_started(qx_plix_init());

    const int result = qx_plix_init2(qx::test::kInstallDir.c_str());
    stop_if_started(result);
    check((result == 0) == (std::strcmp(version.substr(0, 32).c_str(), "1.3") == 0),
          "only the version 1.3 is accepted");
    check(out.text().empty(), "nothing is printed on standard output");
    return 0;
}
