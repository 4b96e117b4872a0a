#include "agent_features.h"

#include "exit_status.h"
#include "printers.h"
#include "qx/log.h"
#include "qx_plix.h"
#include "request.h"

namespace qx::manage {
namespace {

int finish(int result, const qx::text_ptr& answer, Message failure) {
    if (result == -1) {
        return print_failure({failure});
    }
    print_output(answer.get());
    return kSuccess;
}

int list_features() {
    qx::text_ptr answer;
    const int result = qx_plix_get_features_list(answer.out());
    return finish(result, answer, message::features_are_not_listed);
}

} // namespace

int run_get_feature(const std::vector<std::string>& names) {
    const qx::json_ptr query = text_array("--get", names);
    if (!query) {
        return kFailure;
    }
    const qx::text_ptr text = serialise(query);
    if (!text) {
        QX_LOG(qx::log::level::error, "qx::json::dumps() failed");
        return note_failure({message::memory_is_short});
    }
    qx::text_ptr answer;
    const int result = qx_plix_get_feature(text.get(), answer.out());
    return finish(result, answer, message::features_are_not_read);
}

int run_set_feature(const std::vector<std::string>& pairs) {
    const qx::json_ptr change(::json_object());
    if (!change) {
        return note_failure({message::memory_is_short});
    }
    for (const std::string& element : pairs) {
        const auto pair = split_pair(element, "=");
        if (!pair) {
            return note_failure({message::feature_is_no_pair, element});
        }
        if (!set_text(change, *pair)) {
            QX_LOG(qx::log::level::error, "qx::json::object_set() failed");
            return note_failure({message::value_is_not_utf8, "--set"});
        }
    }
    const qx::text_ptr text = serialise(change);
    if (!text) {
        QX_LOG(qx::log::level::error, "qx::json::dumps() failed");
        return note_failure({message::memory_is_short});
    }
    qx::text_ptr answer;
    const int result = qx_plix_set_feature(text.get(), answer.out());
    return finish(result, answer, message::features_are_not_set);
}

int run_feature(const FeatureOptions& options) {
    if (!options.get.empty()) {
        return run_get_feature(options.get);
    }
    if (!options.set.empty()) {
        return run_set_feature(options.set);
    }
    return options.list.value() ? list_features() : note_failure({message::feature_has_no_option});
}

} // namespace qx::manage
