#include "registration.h"

#include "exit_status.h"
#include "printers.h"
#include "qx/format.h"
#include "qx/log.h"
#include "qx/println.h"
#include "qx_plix.h"
#include "registration_params.h"
#include "request.h"

#include <cstdio>

namespace qx::manage {

int run_register(const std::vector<std::string>& params) {
    const RegistrationParams given(params);
    const qx::json_ptr record(::json_object());
    if (!given.complete() || !record) {
        return kFailure;
    }
    for (const auto& pair : given.pairs()) {
        if (!pair) {
            return kFailure;
        }
        if (pair->first.empty()) {
            QX_LOG(qx::log::level::error, "[BUG] Empty key");
            return kFailure;
        }
        if (pair->second.empty()) {
            QX_LOG(qx::log::level::error, "Empty value not allowed for '{:s}'", pair->first);
            qx::println(stderr, "Empty value not allowed for '{:s}'", pair->first);
            return kFailure;
        }
        if (pair->first == "router_id" && pair->second == "manual") {
            QX_LOG(qx::log::level::error,
                   "Invalid router_id: \"manual\" is a mode, not a router_id");
            qx::println(stderr, "Invalid router_id: \"manual\" is a mode, not a router_id");
            return kFailure;
        }
        if (!set_text(record, *pair)) {
            QX_LOG(qx::log::level::error, "qx::json::object_set() failed");
            return kFailure;
        }
    }
    const qx::text_ptr text = serialise(record);
    if (!text) {
        QX_LOG(qx::log::level::error, "qx::json::dumps() failed");
        return kFailure;
    }
    qx_plix_error_t err{};
    if (qx_plix_register(text.get(), &err) == -1) {
        print_error(err);
        return kFailure;
    }
    return kSuccess;
}

int run_register_to_cloud(const std::vector<std::string>& params) {
    const RegistrationParams given(params);
    if (!given.complete()) {
        return kFailure;
    }
    std::string token;
    std::string mac;
    std::string redeem;
    for (const auto& pair : given.pairs()) {
        if (!pair) {
            return kFailure;
        }
        if (pair->first == "token") {
            token.assign(pair->second.data(), pair->second.size());
        } else if (pair->first == "mac") {
            mac.assign(pair->second.data(), pair->second.size());
        } else if (pair->first == "redeem") {
            redeem.assign(pair->second.data(), pair->second.size());
        } else {
            qx::println(stderr, "Unknown key: {:s}", pair->first);
        }
    }
    if (qx_plix_register_to_cloud(token.c_str(), mac.c_str(), redeem.c_str()) == -1) {
        std::fputs("failed to register to cloud\n", stderr);
        return kFailure;
    }
    return kSuccess;
}

} // namespace qx::manage
