#include "registration.h"

#include "exit_status.h"
#include "printers.h"
#include "qx/format.h"
#include "qx/log.h"
#include "qx_plix.h"
#include "registration_params.h"
#include "request.h"

namespace qx::manage {

int run_register(const std::vector<std::string>& params) {
    const RegistrationParams given(params);
    if (given.failure()) {
        return print_failure(*given.failure());
    }
    const qx::json_ptr record(::json_object());
    if (!record) {
        return note_failure({message::memory_is_short});
    }
    int number = 0;
    for (const auto& pair : given.pairs()) {
        const fmt::format_int position(++number);
        if (!pair) {
            return note_failure({message::parameter_is_no_pair, position.c_str()});
        }
        if (pair->first.empty()) {
            QX_LOG(qx::log::level::error, "[BUG] Empty key");
            return note_failure({message::parameter_has_no_key, position.c_str()});
        }
        if (pair->second.empty()) {
            const Failure failure{message::parameter_is_empty, pair->first};
            QX_LOG(qx::log::level::error, "{:s}", to_line(failure));
            return print_failure(failure);
        }
        if (pair->first == "router_id" && pair->second == "manual") {
            const Failure failure{message::router_id_is_a_mode};
            QX_LOG(qx::log::level::error, "{:s}", to_line(failure));
            return print_failure(failure);
        }
        if (!set_text(record, *pair)) {
            QX_LOG(qx::log::level::error, "qx::json::object_set() failed");
            return note_failure({message::value_is_not_utf8, "--params"});
        }
    }
    const qx::text_ptr text = serialise(record);
    if (!text) {
        QX_LOG(qx::log::level::error, "qx::json::dumps() failed");
        return note_failure({message::memory_is_short});
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
    if (given.failure()) {
        return print_failure(*given.failure());
    }
    std::string token;
    std::string mac;
    std::string redeem;
    int number = 0;
    for (const auto& pair : given.pairs()) {
        ++number;
        if (!pair) {
            return note_failure({message::parameter_is_no_pair, fmt::format_int(number).c_str()});
        }
        if (pair->first == "token") {
            token.assign(pair->second.data(), pair->second.size());
        } else if (pair->first == "mac") {
            mac.assign(pair->second.data(), pair->second.size());
        } else if (pair->first == "redeem") {
            redeem.assign(pair->second.data(), pair->second.size());
        } else {
            print_passed_over({message::parameter_is_unknown, pair->first});
        }
    }
    if (qx_plix_register_to_cloud(token.c_str(), mac.c_str(), redeem.c_str()) == -1) {
        return print_failure({message::cloud_refuses_registration});
    }
    return kSuccess;
}

} // namespace qx::manage
