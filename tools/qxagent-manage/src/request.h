// What the builders of request documents share.
#pragma once

#include "base/json.h"
#include "options.h"
#include "pair.h"

#include <string>
#include <vector>

namespace qx::manage {

/// A request document under construction: an object to which members are added one by one. An
/// option that was not given, or an empty text, adds nothing.
class Request {
public:
    void add(const char* key, const Text& text);
    void add(const char* key, const Integer& number);
    void add(const char* key, const Boolean& truth);
    /// A null value, which could not be built, makes send() fail.
    void add(const char* key, qx::json_ptr value);

    /// Gives the object away; null when a member could not be added.
    [[nodiscard]] qx::json_ptr take();

    /// Hands the document to a library call and returns its result; 1, without the call, when a
    /// member could not be added.
    [[nodiscard]] int send(int (*call)(const char* request)) const;

private:
    qx::json_ptr object_{::json_object()};
    bool is_whole_ = object_ != nullptr;
};

/// A text as JSON, also an empty one; null when it is not UTF-8.
qx::json_ptr text_value(qx::string_view text);

/// An array of the texts that are UTF-8, in order; a notice that names the option tells of others.
qx::json_ptr array_of_valid(const char* option, const std::vector<std::string>& texts);

/// An array of the texts, in order; null, with the failure noted for the option, when one of them
/// is not UTF-8.
qx::json_ptr text_array(const char* option, const std::vector<std::string>& texts);

/// Sets the member that the pair names to its value, a text; false when one of them is not UTF-8.
bool set_text(const qx::json_ptr& object, const Pair& pair);

/// The one-line form in which a request is handed to the client library; null when memory is short.
qx::text_ptr serialise(const qx::json_ptr& request);

} // namespace qx::manage
