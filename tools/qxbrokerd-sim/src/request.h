// A client's request: one line of JSON.
#pragma once

#include "json.h"

#include <string>
#include <string_view>

namespace qx::sim {

struct Request {
    enum class Type { command, subscribe };

    std::string fault; ///< why the line is invalid; empty if it is valid
    Type type = Type::command;
    std::string_view name;  ///< lives as long as `document`
    json_t* data = nullptr; ///< borrowed from `document`; null if the request has none
    Json document;
};

/// Parses `line`, which has no line feed.
Request parse_request(std::string_view line);

} // namespace qx::sim
