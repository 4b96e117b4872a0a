#include "scenario.h"

#include "commands.h"
#include "failure.h"
#include "text.h"

#include <set>
#include <string_view>

namespace qx::sim {
namespace {

constexpr json_int_t kLongest = 86400000;  // one day in milliseconds
constexpr json_int_t kLargest = 256 << 20; // bytes

[[noreturn]] void refuse(const std::string& place, const std::string& reason) {
    throw Failure(concat({place, place.empty() ? "" : ": ", reason}));
}

[[noreturn]] void refuse_type(const std::string& place, const char* wanted, const json_t* value) {
    refuse(place, concat({wanted, " is needed, not ", type_name(value)}));
}

/// One object of the file. Remembers the members that were asked for; finish() refuses all others.
class Object {
public:
    Object(json_t* object, std::string place)
        : object_(object)
        , place_(std::move(place)) {
        if (!json_is_object(object)) {
            refuse_type(place_, "an object", object);
        }
    }

    [[nodiscard]] std::string at(std::string_view key) const {
        return concat({place_, place_.empty() ? "" : ".", key});
    }

    json_t* get(const char* key) {
        known_.insert(key);
        return json_object_get(object_, key);
    }

    std::optional<json_int_t> integer(const char* key, json_int_t least, json_int_t most) {
        const json_t* const value = get(key);
        if (value == nullptr) {
            return std::nullopt;
        }
        const json_int_t number = json_integer_value(value);
        if (!json_is_integer(value) || number < least || number > most) {
            refuse(at(key), concat({"an integer from ", std::to_string(least), " to ",
                                    std::to_string(most), " is needed"}));
        }
        return number;
    }

    void milliseconds(const char* key, Milliseconds& target) {
        target = Milliseconds(integer(key, 0, kLongest).value_or(target.count()));
    }

    void size(const char* key, std::size_t& target) {
        if (const auto value = integer(key, 0, kLargest)) {
            target = static_cast<std::size_t>(*value);
        }
    }

    std::optional<std::string> text(const char* key) {
        const json_t* const value = get(key);
        if (value != nullptr && !json_is_string(value)) {
            refuse_type(at(key), "a string", value);
        }
        return value == nullptr ? std::nullopt : std::make_optional(std::string(text_of(value)));
    }

    void boolean(const char* key, bool& target) {
        const json_t* const value = get(key);
        if (value != nullptr && !json_is_boolean(value)) {
            refuse_type(at(key), "a boolean", value);
        }
        target = value == nullptr ? target : json_is_true(value);
    }

    /// Reads a member whose text must be one of `words`, and stores the word's value in `target`.
    /// Leaves `target` unchanged if the member is absent.
    template <typename Value>
    void word(const char* key, std::initializer_list<std::pair<std::string_view, Value>> words,
              Value& target) {
        const auto given = text(key);
        if (!given) {
            return;
        }
        std::string choices;
        for (const auto& [word, value] : words) {
            if (word == *given) {
                target = value;
                return;
            }
            choices += concat({choices.empty() ? "" : ", ", word});
        }
        refuse(at(key), concat({"'", *given, "' is none of ", choices}));
    }

    void finish() const {
        const char* key = nullptr;
        json_t* value = nullptr;
        json_object_foreach(object_, key, value) {
            if (known_.count(key) == 0) {
                refuse(at(key), "unknown member");
            }
        }
    }

private:
    json_t* object_;
    std::string place_;
    std::set<std::string, std::less<>> known_;
};

/// Calls `use(element, place)` for each element of the array `list`. Does nothing if `list` is
/// null.
template <typename Use>
void for_each(json_t* list, const std::string& place, const Use& use) {
    if (list != nullptr && !json_is_array(list)) {
        refuse_type(place, "an array", list);
    }
    std::size_t index = 0;
    json_t* element = nullptr;
    json_array_foreach(list, index, element) {
        use(element, concat({place, "[", std::to_string(index), "]"}));
    }
}

Delivery read_delivery(Object& object) {
    Delivery delivery;
    object.milliseconds("delay_ms", delivery.delay);
    object.size("send", delivery.send);
    object.size("chunk", delivery.chunk);
    object.milliseconds("pause_ms", delivery.pause);
    object.milliseconds("down_ms", delivery.down);
    if (const auto length = object.integer("length", INT32_MIN, INT32_MAX)) {
        delivery.length = static_cast<std::int32_t>(*length);
    }
    object.word<Then>("then",
                      {{"keep", Then::keep},
                       {"close", Then::close},
                       {"restart", Then::restart},
                       {"exit", Then::exit}},
                      delivery.then);
    return delivery;
}

[[noreturn]] void refuse_second_content(const Object& object, std::string_view key) {
    refuse(object.at(key), "another member gives the content already");
}

/// Reads the content from "body", "raw" or "raw_hex". Returns nullopt if all are absent.
std::optional<Content> read_given_content(Object& object) {
    std::optional<Content> content;
    for (const char* const key : {"body", "raw", "raw_hex"}) {
        const auto given = object.text(key);
        if (!given) {
            continue;
        }
        if (content) {
            refuse_second_content(object, key);
        }
        const std::string_view name = key;
        const auto bytes = name == "raw_hex" ? bytes_of_hex(*given) : given;
        if (!bytes) {
            refuse(object.at(key), "pairs of hexadecimal digits are needed");
        }
        content = {name == "body" ? Content::Kind::text : Content::Kind::raw, *bytes};
    }
    return content;
}

/// Reads the members that rules and events share: the given content and its delivery.
Rule read_common(Object& object) {
    Rule rule{read_given_content(object), read_delivery(object)};
    if (rule.content && rule.content->kind == Content::Kind::raw && rule.delivery.length) {
        refuse(object.at("length"), "raw bytes have no length prefix");
    }
    return rule;
}

/// Returns the member "data", or a string of "data_size" bytes, or null if neither is given.
/// Refuses the members if `has_content` is set or both are given.
Json read_data(Object& object, bool has_content) {
    json_t* const data = object.get("data");
    std::size_t size = 0;
    object.size("data_size", size);
    if (data != nullptr && has_content) {
        refuse_second_content(object, "data");
    }
    if (size != 0 && (data != nullptr || has_content)) {
        refuse_second_content(object, "data_size");
    }
    return size != 0 ? json_text(std::string(size, 'x')) : share(data);
}

Rule read_rule(Object& object) {
    Rule rule = read_common(object);
    json_t* const status = object.get("status");
    if (status != nullptr && rule.content) {
        refuse_second_content(object, "status");
    }
    const Json data = read_data(object, rule.content.has_value());
    if (status == nullptr && !data) {
        return rule;
    }
    const Json answer(json_object());
    json_object_set_new(answer.get(), "status",
                        status != nullptr ? json_incref(status) : json_integer(0));
    if (data) {
        json_object_set(answer.get(), "data", data.get());
    }
    rule.content = Content{Content::Kind::text, dump(answer.get())};
    return rule;
}

std::uint64_t read_times(Object& object) {
    return static_cast<std::uint64_t>(object.integer("times", 0, INT32_MAX).value_or(1));
}

void read_rules(json_t* list, const std::string& place, Script<Rule>& script) {
    for_each(list, place, [&script](json_t* element, const std::string& where) {
        Object object(element, where);
        Rule rule = read_rule(object);
        script.add(std::move(rule), read_times(object));
        object.finish();
    });
}

/// Calls `use(key, value, place)` for each member of the object `map`. Does nothing if `map` is
/// null.
template <typename Use>
void for_each_member(json_t* map, const std::string& place, const Use& use) {
    if (map != nullptr && !json_is_object(map)) {
        refuse_type(place, "an object", map);
    }
    const char* key = nullptr;
    json_t* value = nullptr;
    json_object_foreach(map, key, value) {
        use(key, value, concat({place, ".", key}));
    }
}

EventType read_event_type(std::string_view name, const std::string& place) {
    const auto type = event_type(name);
    if (!type) {
        refuse(place, concat({"unknown event '", name, "'"}));
    }
    return *type;
}

TimedEvent read_event(json_t* element, const std::string& place) {
    Object object(element, place);
    TimedEvent event;
    const auto name = object.text("event");
    if (!name) {
        refuse(place, "the member 'event' is needed");
    }
    event.type = read_event_type(*name, object.at("event"));
    object.word("when", {{std::string_view("start"), false}, {std::string_view("subscribe"), true}},
                event.on_subscribe);
    object.milliseconds("after_ms", event.after);
    object.milliseconds("every_ms", event.every);
    event.times = read_times(object);
    event.rule = read_common(object);
    const Json data = read_data(object, event.rule.content.has_value());
    if (!event.rule.content) {
        event.rule.content = Content{Content::Kind::text, data ? dump(data.get()) : "{}"};
    }
    if (event.times == 0 && event.every.count() == 0) {
        refuse(object.at("every_ms"), "an event that repeats forever needs an interval above 0");
    }
    object.finish();
    return event;
}

void read_connection(json_t* element, const std::string& place, Script<Accept>& script) {
    Object object(element, place);
    Accept accept = Accept::serve;
    object.word<Accept>(
        "accept", {{"serve", Accept::serve}, {"silent", Accept::silent}, {"close", Accept::close}},
        accept);
    script.add(accept, read_times(object));
    object.finish();
}

Scenario read_scenario(json_t* document) {
    Scenario scenario;
    Object object(document, "");
    scenario.version = object.text("version").value_or(scenario.version);
    object.boolean("lock", scenario.lock);
    scenario.state = share(object.get("state"));
    if (scenario.state && !json_is_object(scenario.state.get())) {
        refuse_type("state", "an object", scenario.state.get());
    }
    for_each(object.get("connections"), "connections",
             [&](json_t* element, const std::string& place) {
                 read_connection(element, place, scenario.connections);
             });
    for_each_member(object.get("commands"), "commands",
                    [&](const std::string& name, json_t* rules, const std::string& place) {
                        if (name != "*" && !is_command(name)) {
                            refuse(place, "unknown command");
                        }
                        read_rules(rules, place, scenario.commands[name]);
                    });
    for_each_member(object.get("subscriptions"), "subscriptions",
                    [&](const std::string& name, json_t* rules, const std::string& place) {
                        const auto type = static_cast<std::size_t>(read_event_type(name, place));
                        read_rules(rules, place, scenario.subscriptions[type]);
                    });
    for_each(object.get("events"), "events", [&](json_t* element, const std::string& place) {
        scenario.events.push_back(read_event(element, place));
    });
    object.finish();
    return scenario;
}

} // namespace

Scenario load_scenario(const std::string& file) {
    json_error_t error;
    const Json document(json_load_file(file.c_str(), JSON_REJECT_DUPLICATES, &error));
    if (!document) {
        const std::string place =
            error.line > 0
                ? concat({":", std::to_string(error.line), ":", std::to_string(error.column)})
                : "";
        throw Failure(concat({file, place, ": ", error.text}));
    }
    try {
        return read_scenario(document.get());
    } catch (const Failure& failure) {
        throw Failure(concat({file, ": ", failure.what()}));
    }
}

std::optional<std::string> bytes_of_hex(std::string_view hex) {
    std::string bytes;
    while (!hex.empty()) {
        if (hex.front() == ' ') {
            hex.remove_prefix(1);
            continue;
        }
        const auto high = hex_value(hex.front());
        const auto low = hex.size() > 1 ? hex_value(hex[1]) : std::nullopt;
        if (!high || !low) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(*high << 4 | *low));
        hex.remove_prefix(2);
    }
    return bytes;
}

std::string numbered(std::string_view text, std::uint64_t number) {
    std::string result;
    for (std::size_t from = 0;;) {
        const std::size_t mark = text.find("%n", from);
        result.append(text.substr(from, mark - from));
        if (mark == std::string_view::npos) {
            return result;
        }
        result.append(std::to_string(number));
        from = mark + 2;
    }
}

} // namespace qx::sim
