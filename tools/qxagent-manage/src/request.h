// What the builders of request documents share.
#pragma once

#include "pair.h"
#include "qx/json.h"

#include <string>
#include <vector>

namespace qx::manage {

/// Removes the member `key` of `request` when its option was not given, which an empty text means.
void remove_if_empty(const qx::json_ptr& request, const char* key, const std::string& value);

/// Appends each text to `array`, in order. A text that is not UTF-8 is passed over.
void append_texts(json_t* array, const std::vector<std::string>& texts);

/// An array of the texts, in order; null when one of them is not UTF-8 or memory is short.
qx::json_ptr text_array(const std::vector<std::string>& texts);

/// Sets the member that the pair names to its value, a text; false when one of them is not UTF-8.
bool set_text(const qx::json_ptr& object, const Pair& pair);

/// The one-line form in which a request is handed to the client library; null when memory is short.
qx::text_ptr serialise(const qx::json_ptr& request);

} // namespace qx::manage
