// Compiled programs contain the layout of the library's structs and the numbers of its events. A
// difference from tests/frozen/records.txt is a mistake or a new version of the interface.

#include "world.h"

#include "qx_plix.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <sstream>

namespace {

TEST(Records, KeepTheirLayout) {
    std::ostringstream text;
    const auto member = [&](const char* name, std::size_t offset, std::size_t size) {
        text << name << " " << offset << " " << size << "\n";
    };
    using Error = qx_plix_error_t;
    member("qx_plix_error_t", 0, sizeof(Error));
    member("code", offsetof(Error, code), sizeof(Error::code));
    member("message", offsetof(Error, message), sizeof(Error::message));
    member("description", offsetof(Error, description), sizeof(Error::description));
    for (int type = 0; type < QX_PLIX_EVENT_UNKNOWN; ++type) {
        text << qx_plix_event_type_to_str(static_cast<qx_plix_event_type>(type)) << " " << type
             << "\n";
    }
    text << "QX_PLIX_EVENT_UNKNOWN " << QX_PLIX_EVENT_UNKNOWN << "\n";
    using Failure = qx_plix_failure_t;
    member("qx_plix_failure_t", 0, sizeof(Failure));
    member("stage", offsetof(Failure, stage), sizeof(Failure::stage));
    member("system_error", offsetof(Failure, system_error), sizeof(Failure::system_error));
    member("has_code", offsetof(Failure, has_code), sizeof(Failure::has_code));
    member("code", offsetof(Failure, code), sizeof(Failure::code));
    member("description", offsetof(Failure, description), sizeof(Failure::description));
    member("message", offsetof(Failure, message), sizeof(Failure::message));
    text << "QX_PLIX_STAGE_LIMIT " << QX_PLIX_STAGE_LIMIT << "\n";
    EXPECT_EQ(text.str(), qx::test::read_file(QX_SOURCE_DIR "/tests/frozen/records.txt"));
}

} // namespace
