#include "trust.h"

#include "failure.h"
#include "install_path.h"
#include "mutex.h"
#include "notices.h"
#include "qx_plix.h"
#include "qxpath.h"

#include <cstdint>
#include <cstdio>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qxplix {
namespace {

constexpr std::int64_t kMostUid = INT64_C(0xfffffffe);
constexpr std::int64_t kNobody = -1;

struct trust {
    mutex guard;
    std::int64_t required QX_GUARDED_BY(guard) = QX_PLIX_BROKER_UID_DEFAULT;
    std::int64_t refused QX_GUARDED_BY(guard) = kNobody; ///< user that the last check refused
};

constinit trust trusted;

bool owns_version_file(uid_t uid) {
    char install_path[kPathSize];
    if (uid == kUnmappedUser || qxpath_copy_install_path(install_path) != 0) {
        return false;
    }
    char name[kPathSize];
    version_file_name(install_path, name);
    struct stat file {};
    return ::lstat(name, &file) == 0 && S_ISREG(file.st_mode) && file.st_uid == uid;
}

bool may_be_broker(uid_t uid, std::int64_t required) {
    if (required != QX_PLIX_BROKER_UID_DEFAULT) {
        return required == QX_PLIX_BROKER_UID_ANY || required == uid;
    }
    // Check the version file first: qxpath_is_trusted_user may search all of /etc/passwd.
    const bool needs_no_file = uid == 0 || uid == ::geteuid();
    return (!needs_no_file && owns_version_file(uid)) || qxpath_is_trusted_user(uid) != 0;
}

void warn_of(const ucred& peer, std::int64_t required) {
    char who[64] = "neither root, nor this program's user, nor the agent's";
    if (required != QX_PLIX_BROKER_UID_DEFAULT) {
        std::snprintf(who, sizeof who, "not %lld", static_cast<long long>(required));
    }
    char text[192];
    std::snprintf(text, sizeof text,
                  "untrusted broker: process %ld listens on the broker's socket with the user id "
                  "%lu, which is %s",
                  static_cast<long>(peer.pid), static_cast<unsigned long>(peer.uid), who);
    warn(text);
}

std::int64_t required_uid() {
    const mutex_guard lock(trusted.guard);
    return trusted.required;
}

bool is_news(std::int64_t refused) {
    const mutex_guard lock(trusted.guard);
    const bool changed = trusted.refused != refused;
    trusted.refused = refused;
    return changed;
}

} // namespace

bool is_trusted_broker(int conn) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(conn, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return false;
    }
    const std::int64_t required = required_uid();
    const bool accepted = may_be_broker(peer.uid, required);
    if (is_news(accepted ? kNobody : peer.uid) && !accepted) {
        warn_of(peer, required);
    }
    return accepted;
}

void trust_renew_lock() {
    trusted.guard.renew();
}

} // namespace qxplix

using namespace qxplix;

int qx_plix_require_broker_uid(int64_t uid) {
    clear_failure();
    if (uid < QX_PLIX_BROKER_UID_DEFAULT || uid > kMostUid) {
        return fail(QX_PLIX_STAGE_ARGUMENT, "the broker's user id is out of range");
    }
    const mutex_guard lock(trusted.guard);
    trusted.required = uid;
    trusted.refused = kNobody;
    return 0;
}
