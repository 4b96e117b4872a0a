#include "request.h"

#include "text.h"

namespace qx::sim {

Request parse_request(std::string_view line) {
    Request request;
    json_error_t error;
    request.document.reset(json_loadb(line.data(), line.size(), 0, &error));
    json_t* const document = request.document.get();
    if (document == nullptr) {
        request.fault = concat({"the request is not JSON: ", error.text});
        return request;
    }
    if (!json_is_object(document)) {
        request.fault = "the request is not an object";
        return request;
    }
    const std::string_view type = text_of(json_object_get(document, "type"));
    request.name = text_of(json_object_get(document, "name"));
    request.data = json_object_get(document, "data");
    request.type = type == "subscribe" ? Request::Type::subscribe : Request::Type::command;
    if (type != "subscribe" && type != "command") {
        request.fault = "'type' must be \"command\" or \"subscribe\"";
    } else if (request.name.empty()) {
        request.fault = "'name' must be a non-empty string";
    }
    return request;
}

} // namespace qx::sim
