#include "qx/settings.h"

#include "base/descriptor.h"
#include "base/json.h"
#include "install_directory.h"
#include "qx/json_memory.h"
#include "qx/last_error.h"
#include "qx/log.h"
#include "qxpath.h"
#include "store_file.h"

#include <cerrno>
#include <charconv>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace qx {
namespace {

struct Store {
    json_ptr values; // last values read or written; null while the store is closed
    bool has_warned = false;
};

Store& store_state() {
    static Store the_store;
    return the_store;
}

json_ptr& values() {
    return store_state().values;
}

store::place find_place() {
    const std::string directory = to_string(common_path::configuration);
    const std::string file = directory + "/settings.json";
    return {directory, file, file + ".lock"};
}

// The lock and the mark of a deployment switch (see switch_mark) are files beside the store.
store::place find_switch_mark() {
    store::place where = find_place();
    where.lock_file = where.file + ".switch";
    where.file += ".switching";
    return where;
}

// Keys of the JSON object in the mark's file.
constexpr char kWasProtected[] = "was_protected";
constexpr char kEntrypoint[] = "entrypoint";

// The lock that the settings_lock object holds, or an empty descriptor.
io::descriptor& held_lock() {
    static io::descriptor lock;
    return lock;
}

// The state of the settings_reserve object.
struct Reserve {
    store::place where;
    std::string key;
    std::string value;
    io::descriptor file;
};

Reserve& held_reserve() {
    static Reserve reserve;
    return reserve;
}

json_ptr damaged(const std::string& file, const std::string& reason) {
    set_qxerrno(error_number::damaged_store, "damaged settings store", file + ": " + reason);
    return nullptr;
}

// Reports only the position: jansson's message quotes the text, which may contain a secret.
json_ptr not_parsed(const std::string& file, const json_error_t& error) {
    return damaged(file, "is not JSON (line " + std::to_string(error.line) + ", column " +
                             std::to_string(error.column) + ")");
}

// Escapes the key as JSON, so that the message stays one line.
std::string key_in_json(const char* key) {
    const json_ptr name(::json_string(key));
    const text_ptr text(::json_dumps(name.get(), JSON_ENCODE_ANY | JSON_ENSURE_ASCII));
    return text ? text.get() : "a key";
}

// Parses a JSON object of strings. Sets the last error and returns null if `bytes` is anything
// else.
json_ptr parse(const std::string& file, const std::string& bytes) {
    if (bytes.empty()) {
        return damaged(file, "is empty");
    }
    json_error_t error;
    json_ptr object(::json_loadb(bytes.data(), bytes.size(), JSON_ALLOW_NUL, &error));
    require_json_memory();
    if (!object) {
        return not_parsed(file, error);
    }
    if (!json_is_object(object.get())) {
        return damaged(file, "is not an object");
    }
    for (void* item = ::json_object_iter(object.get()); item != nullptr;
         item = ::json_object_iter_next(object.get(), item)) {
        if (!json_is_string(::json_object_iter_value(item))) {
            return damaged(file, "the value of " + key_in_json(::json_object_iter_key(item)) +
                                     " is not a string");
        }
    }
    return object;
}

// Returns the values in `content`. Sets the last error and returns null if they cannot be parsed.
json_ptr load(const std::string& file, const store::snapshot& content) {
    if (content.exists) {
        return parse(file, content.bytes);
    }
    json_ptr none(::json_object());
    require_json_memory();
    return none;
}

// Warns once after each init: a warning for each write would push other lines out of the log.
void warn_of_others(const store::place& where, const store::snapshot& old) {
    struct stat status {};
    if (std::exchange(store_state().has_warned, true)) {
        return;
    }
    if (::stat(where.directory.c_str(), &status) == 0 && (status.st_mode & S_IWOTH) != 0) {
        QX_LOG(log::level::warning, "Others can write to the settings directory '{:s}'",
               where.directory);
    }
    if (old.exists && qxpath_is_trusted_user(old.owner) == 0) {
        QX_LOG(log::level::warning, "The settings '{:s}' belong to another user ({:d})", where.file,
               old.owner);
    }
}

int refuse(std::int32_t number, const char* what, const std::string& reason) {
    set_qxerrno(number, what, reason);
    return -1;
}

int refuse(string_view reason) {
    set_io_error(reason);
    return -1;
}

// Turns std::bad_alloc into an ordinary failure. The reason is so short that the last error stores
// it without an allocation.
template <typename Work>
int attempt(const Work& work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return refuse("out of memory");
    }
}

// jansson's keys are NUL-terminated, so no key of the store contains NUL.
bool is_key(const std::string& key) {
    return key.find('\0') == std::string::npos;
}

json_t* find(const std::string& key) {
    return is_key(key) ? ::json_object_get(values().get(), key.c_str()) : nullptr;
}

bool set(json_t* object, const std::string& key, const std::string& value) {
    return is_key(key) && ::json_object_set_new(object, key.c_str(),
                                                ::json_stringn(value.data(), value.size())) == 0;
}

bool remove(json_t* object, const std::string& key) {
    return is_key(key) && ::json_object_del(object, key.c_str()) == 0;
}

std::string to_text(const json_t* object) {
    const text_ptr text(::json_dumps(object, 0));
    require_json_memory();
    if (!text) {
        throw std::bad_alloc();
    }
    return std::string(text.get()) + "\n";
}

// Takes the store's lock unless a settings_lock holds it. Returns false, with errno, on failure.
bool lock_store(const store::place& where, bool make_directory, io::descriptor& lock) {
    if (held_lock()) {
        return true;
    }
    lock = store::lock(where, make_directory);
    return static_cast<bool>(lock);
}

// Applies one change to `old`; a null value deletes the key. Sets the last error and returns null
// if the change is invalid.
json_ptr changed_store(const store::place& where, const store::snapshot& old,
                       const std::string& key, const std::string* value) {
    json_ptr changed = load(where.file, old);
    if (!changed) {
        return nullptr;
    }
    if (value == nullptr && !remove(changed.get(), key)) {
        refuse(error_number::no_such_key, "no such key", key);
        return nullptr;
    }
    const bool is_set = value != nullptr && set(changed.get(), key, *value);
    require_json_memory();
    if (value != nullptr && !is_set) {
        refuse(key + ": key or value is not UTF-8 text");
        return nullptr;
    }
    return changed;
}

// Applies one change to the store's current content on disk; a null value deletes the key.
int change(const std::string& key, const std::string* value) {
    const store::place where = find_place();
    if (!values()) {
        return refuse("the settings are not open");
    }
    io::descriptor lock;
    const bool is_locked = lock_store(where, value != nullptr, lock);
    if (!is_locked && (errno != ENOENT || value != nullptr)) {
        store::fail(where.lock_file, "cannot be locked");
        return -1;
    }
    store::snapshot old;
    if (is_locked && !store::read(where, old)) {
        return -1;
    }
    if (!old.exists && value == nullptr) {
        return refuse(error_number::no_store, "no settings store", where.file);
    }
    json_ptr changed = changed_store(where, old, key, value);
    if (!changed) {
        return -1;
    }
    warn_of_others(where, old);
    Reserve& reserve = held_reserve();
    const bool is_reserved = value != nullptr && key == reserve.key && *value == reserve.value;
    if (!store::replace(where, old, to_text(changed.get()),
                        is_reserved ? &reserve.file : nullptr)) {
        return -1;
    }
    values() = std::move(changed);
    return 0;
}

int make_reserve(const std::string& key, const std::string& value) {
    Reserve& self = held_reserve();
    self.where = find_place();
    self.key = key;
    self.value = value;
    io::descriptor lock;
    store::snapshot old;
    if (!lock_store(self.where, true, lock)) {
        store::fail(self.where.lock_file, "cannot be locked");
        return -1;
    }
    if (!store::read(self.where, old)) {
        return -1;
    }
    const json_ptr changed = changed_store(self.where, old, key, &value);
    if (!changed) {
        return -1;
    }
    constexpr std::size_t room_for_others = 4096;
    self.file = store::reserve(self.where, old.exists ? old.owner : ::geteuid(),
                               to_text(changed.get()).size() + room_for_others);
    return self.file ? 0 : -1;
}

switch_mark parse_mark(const std::string& bytes) {
    const json_ptr object(::json_loadb(bytes.data(), bytes.size(), 0, nullptr));
    require_json_memory();
    const char* const entrypoint =
        ::json_string_value(::json_object_get(object.get(), kEntrypoint));
    return {!json_is_false(::json_object_get(object.get(), kWasProtected)),
            entrypoint == nullptr ? "" : entrypoint};
}

int open_store() {
    store_state() = Store();
    const store::place where = find_place();
    store::snapshot content;
    if (!store::read(where, content)) {
        return -1;
    }
    values() = load(where.file, content);
    return values() ? 0 : -1;
}

// If memory runs out, the log line is lost, but the last error still has the reason.
void report_failure() try {
    QX_LOG(log::level::error, "Cannot read the settings: {:s}", last_error().reason);
} catch (const std::bad_alloc&) {
}

} // namespace

int setMgmt::init() {
    manage_json_memory();
    if (attempt(open_store) == 0) {
        return 0;
    }
    report_failure();
    return -1;
}

void setMgmt::uninit() {
    values().reset();
}

std::string setMgmt::getKeyValue(const std::string& key, const std::string& default_value) {
    const json_t* const value = find(key);
    return value == nullptr ? default_value
                            : std::string(::json_string_value(value), ::json_string_length(value));
}

int setMgmt::getKeyValue(const std::string& key, int default_value) {
    const std::string text = getKeyValue(key, std::string());
    const char* begin = text.data();
    const char* const end = begin + text.size();
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
        ++begin; // from_chars accepts no "+"
    }
    int number = 0;
    const auto [stop, error] = std::from_chars(begin, end, number);
    return error == std::errc() && stop == end ? number : default_value;
}

int setMgmt::setKey(const std::string& key, const std::string& value) {
    return attempt([&] { return change(key, &value); });
}

int setMgmt::deleteKey(const std::string& key) {
    return attempt([&] { return change(key, nullptr); });
}

settings_lock::settings_lock() {
    held_lock() = store::lock(find_place(), false);
}

settings_lock::~settings_lock() {
    held_lock().reset();
}

settings_reserve::settings_reserve(const std::string& key, const std::string& value) {
    attempt([&] { return make_reserve(key, value); });
}

settings_reserve::~settings_reserve() {
    try {
        Reserve& self = held_reserve();
        store::release(self.where, self.file);
    } catch (const std::bad_alloc&) {
        held_reserve().file.reset();
    }
}

settings_reserve::operator bool() const {
    return static_cast<bool>(held_reserve().file);
}

io::descriptor lock_switch() {
    const store::place where = find_switch_mark();
    io::descriptor lock = store::lock(where, true);
    if (!lock) {
        store::fail(where.lock_file, "cannot be locked");
    }
    return lock;
}

io::descriptor try_lock_switch() {
    return store::try_lock(find_switch_mark());
}

int write_switch_mark(const switch_mark& mark) {
    return attempt([&] {
        const json_ptr object(::json_pack("{s:b, s:s}", kWasProtected, mark.was_protected ? 1 : 0,
                                          kEntrypoint, mark.entrypoint.c_str()));
        require_json_memory();
        return store::replace(find_switch_mark(), {}, to_text(object.get())) ? 0 : -1;
    });
}

int read_switch_mark(std::optional<switch_mark>& mark) {
    return attempt([&] {
        store::snapshot content;
        mark.reset();
        if (!store::read(find_switch_mark(), content)) {
            return -1;
        }
        if (content.exists) {
            mark = parse_mark(content.bytes);
        }
        return 0;
    });
}

int remove_switch_mark() {
    return attempt([] { return store::remove(find_switch_mark()) ? 0 : -1; });
}

} // namespace qx
