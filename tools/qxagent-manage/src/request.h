// Helpers that build request documents. Main thread only.
#pragma once

#include "base/json.h"
#include "options.h"
#include "pair.h"

#include <string>
#include <vector>

namespace qx::manage {

/// Builds a request document, a JSON object, member by member. add() ignores an empty Text and an
/// Integer or Boolean that is not given.
class Request {
public:
    void add(const char* key, const Text& text);
    void add(const char* key, const Integer& number);
    void add(const char* key, const Boolean& truth);
    /// Adds `value`. If `value` is null because it could not be built, take() and send() fail.
    void add(const char* key, qx::json_ptr value);

    /// Transfers ownership of the object to the caller. Returns null if a member could not be
    /// added.
    [[nodiscard]] qx::json_ptr take();

    /// Passes the document to `call` and returns the result of `call`. Returns 1 without the call
    /// if a member could not be added.
    [[nodiscard]] int send(int (*call)(const char* request)) const;

private:
    qx::json_ptr object_{::json_object()};
    bool is_whole_ = object_ != nullptr;
};

/// Returns a text, which may be empty, as JSON, or null if it is not UTF-8.
qx::json_ptr text_value(qx::string_view text);

/// Returns an array of the texts that are UTF-8, in order, or null if memory is short. Prints a
/// notice that names `option` if it leaves out a text.
qx::json_ptr array_of_valid(const char* option, const std::vector<std::string>& texts);

/// Returns an array of the texts, in order. If one of them is not UTF-8, records a failure that
/// names `option` and returns null.
qx::json_ptr text_array(const char* option, const std::vector<std::string>& texts);

/// Sets the member `pair.first` of `object` to the text `pair.second`. Returns false if one of the
/// two is not UTF-8.
bool set_text(const qx::json_ptr& object, const Pair& pair);

/// Returns the request as one line of JSON for the client library, or null if memory is short.
qx::text_ptr serialise(const qx::json_ptr& request);

} // namespace qx::manage
