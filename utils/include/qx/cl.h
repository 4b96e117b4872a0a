// Declarative command lines. A program declares each option as an object, calls parse() once, and
// reads the values from the objects. Main thread only: the registry of options is an unlocked
// global.
//
// Options and modifiers do not copy the strings given to them. Use string literals, or strings that
// live as long as the options. Functions that allocate, such as constructors and parse(), throw
// std::bad_alloc if memory runs out.
#pragma once

#include "qx/contract.h"
#include "qx/string_view.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <limits>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace qx::cl {

class command_line_parser;

/// Returns the only parser of the process. Every option registers with the parser and shares
/// ownership of it, so that the parser outlives options with static storage duration.
std::shared_ptr<command_line_parser> parser();

namespace detail {

class option_base;

// The kinds of options, in this order: opt; list and set; flag; sub_commands. An option stores its
// kind together with type flags, which are lower bits, in one integer.
inline constexpr std::uint32_t kSingle = 0x10000;
inline constexpr std::uint32_t kMultiple = 0x20000;
inline constexpr std::uint32_t kSwitch = 0x40000;
inline constexpr std::uint32_t kSubCommand = 0x80000;

/// Type flag: split the value at ",", unless listseparator() sets another separator.
inline constexpr std::uint32_t kCutAtSeparator = 8;

/// The count_limits::maximum of an option that may occur any number of times.
inline constexpr int kNoMaximum = std::numeric_limits<int>::max();

/// Base of the value parsers. A value parser converts words of the command line to values of one
/// type; see option_parser below.
class option_parser_base : public contract::parser_members {
public:
    option_parser_base() = default;
    /// Not copyable, because the option keeps a pointer to its value parser.
    option_parser_base(const option_parser_base&) = delete;
    option_parser_base& operator=(const option_parser_base&) = delete;

    virtual ~option_parser_base() = default;
    /// Returns whether an occurrence of the named `option` needs a value, as in `--name value`. The
    /// base returns false for a switch, and else true.
    virtual bool needs_param(option_base& option);
    /// Returns every word that `option` accepts, or nothing if there is no list of such words. The
    /// base returns the names of the value list.
    [[nodiscard]] virtual std::vector<string_view> accepted_words(const option_base& option) const;
    /// Returns the kind of value for error messages, such as "an integer". The base returns an
    /// empty string; then a message names the accepted words or, without these, the value
    /// description.
    [[nodiscard]] virtual string_view expected_kind(const option_base& option) const;
};

/// One word that an option accepts: `name` is the word, `value` the result of its conversion, and
/// `help` its text in the usage.
struct value_entry {
    std::int64_t value;
    string_view name;
    string_view help;
};

/// A list of views. Allocates memory only for a second element, because most lists have one.
class view_list {
public:
    /// Appends a view.
    void add(string_view view);
    /// Returns the views in the order of their addition. Valid until the next add.
    [[nodiscard]] std::span<const string_view> all() const;

private:
    string_view first_;
    std::size_t count_ = 0;
    // All views, including first_, if there are several; else empty.
    std::vector<string_view> several_;
};

/// How often an option must occur at least, and may occur at most.
struct count_limits {
    int minimum = 0;
    int maximum = kNoMaximum;
};

/// Base of every option: its attributes and the number of its occurrences. The parser holds
/// pointers to registered options, so they can be neither moved nor assigned.
class option_base : public contract::option_members {
public:
    option_base(const option_base&) = delete;
    option_base& operator=(const option_base&) = delete;

    /// Removes the option from the parser if it is registered.
    virtual ~option_base();
    /// Converts and stores the value of one occurrence, or one piece of it if the value is split. A
    /// named option receives its name without dashes and the value, which is empty for a switch. A
    /// positional option receives its word in `name`. Returns false if the word cannot be
    /// converted.
    virtual bool handle(const string_view& name, const string_view& value) = 0;

    // The attributes, which the constructor and the modifiers set. A returned view is valid until
    // its attribute changes or the option is destroyed.

    /// Returns the name without dashes as the only element, or nothing for a positional option.
    [[nodiscard]] std::span<const string_view> names() const { return {&name_, is_named_}; }
    /// Returns the string given to desc(), or an empty string without this modifier.
    [[nodiscard]] string_view description() const { return description_; }
    /// Returns the string given to valuedesc(), or an empty string without this modifier.
    [[nodiscard]] string_view value_description() const { return value_description_; }
    /// Returns the kind (kSingle and so on) and the type flags, combined by bitwise OR.
    [[nodiscard]] std::uint32_t flags() const { return flags_; }
    /// Returns the words of values() or value_table, or an empty span without these modifiers.
    [[nodiscard]] std::span<const value_entry> value_list() const {
        return own_values_.empty() ? value_table_ : own_values_;
    }
    /// Returns the sub-commands that have this option, or an empty span if all sub-commands have
    /// it.
    [[nodiscard]] std::span<const string_view> sub_command_names() const {
        return sub_commands_.all();
    }
    /// Returns how often the option must occur at least, and may occur at most.
    [[nodiscard]] count_limits limits() const { return limits_; }
    /// Returns whether the option has no name.
    [[nodiscard]] bool is_positional() const { return is_named_ == 0; }
    /// Returns whether the option must occur at least once.
    [[nodiscard]] bool is_required() const { return limits_.minimum > 0; }
    /// Returns whether `name`, without dashes, is the name of the option.
    [[nodiscard]] bool has_name(string_view name) const;
    /// Returns whether `sub_command` has this option. An option without sub_command_names() belongs
    /// to all.
    [[nodiscard]] bool belongs_to(string_view sub_command) const;
    /// Returns the separator at which a value is split into pieces, or an empty string if values
    /// are not split.
    [[nodiscard]] string_view list_separator() const;
    /// Returns whether an occurrence of this named option needs a value, as in `--name value`.
    [[nodiscard]] bool needs_param() { return value_parser_->needs_param(*this); }
    /// Returns the first entry of value_list() whose name equals `name`, or null. The entry stays
    /// owned by the option or the table.
    [[nodiscard]] const value_entry* named_value(string_view name) const;
    /// Returns every word that the option accepts; see option_parser_base::accepted_words.
    [[nodiscard]] std::vector<string_view> accepted_words() const {
        return value_parser_->accepted_words(*this);
    }
    /// Returns the kind of value for error messages; see option_parser_base::expected_kind.
    [[nodiscard]] string_view expected_kind() const { return value_parser_->expected_kind(*this); }

    // The occurrences on the command line so far. The parser counts them.

    /// Returns whether the option occurred at least once.
    [[nodiscard]] bool given() const { return occurrences_ != 0; }
    /// Returns how often the option occurred.
    [[nodiscard]] std::uint32_t occurrences() const { return occurrences_; }
    /// Counts one more occurrence. Does not check the limits.
    void count_occurrence() { ++occurrences_; }

    // Setters, which the modifiers call before the option is registered.

    /// Makes the option a named option, `--name`. `name` itself has no dashes.
    void set_name(string_view name);
    /// Adds type flags to those that are set already.
    void add_type_flags(std::uint32_t bits) { flags_ |= bits; }
    /// Adds one sub-command to those that have this option.
    void add_sub_command(string_view name) { sub_commands_.add(name); }
    /// Replaces the help text.
    void set_description(string_view text) { description_ = text; }
    /// Replaces the placeholder of the value in the usage.
    void set_value_description(string_view text) { value_description_ = text; }
    /// Replaces the accepted words by `entries`, which the option then owns. Unless empty, this
    /// list takes precedence over a table.
    void set_value_list(std::vector<value_entry> entries) { own_values_ = std::move(entries); }
    /// Replaces the accepted words by a table, which is not copied and must outlive the option.
    void set_value_table(std::span<const value_entry> entries) { value_table_ = entries; }
    /// Replaces the limits. Neither may be negative; this function does not check that.
    void set_count_limits(count_limits limits) { limits_ = limits; }
    /// Replaces the separator, which must outlive the option. Null restores the default: "," if
    /// kCutAtSeparator is set, else no separator.
    void set_list_separator(const char* separator) { list_separator_ = string_view(separator); }

    /// Adds the option to `parser`, not null, until the option is destroyed. Call this function
    /// once, at the end of the constructor.
    void register_self(std::shared_ptr<command_line_parser> parser);

protected:
    /// Makes an unregistered option of the given kind. `parser` is a member of the derived class
    /// and not constructed yet; this constructor only stores its address.
    option_base(option_parser_base& parser, std::uint32_t kind);
    /// Copies the attributes and the number of occurrences of `other`, but uses `parser` as the
    /// value parser, like the constructor above. Does not register the copy.
    option_base(const option_base& other, option_parser_base& parser);

    /// Returns the argument of handle() that has the word to convert: `name` for a positional
    /// option, else `value`.
    [[nodiscard]] const string_view& examined(const string_view& name,
                                              const string_view& value) const {
        return is_positional() ? name : value;
    }

private:
    std::shared_ptr<command_line_parser> registered_with_;
    string_view name_;
    std::size_t is_named_ = 0;
    string_view description_;
    string_view value_description_;
    std::uint32_t flags_;
    std::uint32_t occurrences_ = 0;
    std::vector<value_entry> own_values_;
    std::span<const value_entry> value_table_;
    option_parser_base* value_parser_;
    string_view list_separator_;
    view_list sub_commands_;
    count_limits limits_;
};

/// Applies `modifiers` to `option` from left to right.
template <class... Modifiers>
void apply_modifiers(option_base& option, const Modifiers&... modifiers) {
    (modifiers.apply(option), ...);
}

/// A type whose objects have a function apply(option_base&). The option constructors accept only
/// such arguments.
template <class T>
concept modifier = requires(const T& candidate, option_base& option) {
    candidate.apply(option);
};

/// Completes the construction of an option: applies its modifiers, then registers it with parser().
template <class... Modifiers>
void complete(option_base& option, const Modifiers&... modifiers) {
    apply_modifiers(option, modifiers...);
    option.register_self(parser());
}

} // namespace detail

// Modifiers set the attributes of an option. They follow the name in the option's constructor. Use
// the functions below; most of the structures are only the results of these functions.

/// Adds type flags; see cut_at_separator.
struct type_flags {
    std::uint32_t bits;
    void apply(detail::option_base& option) const { option.add_type_flags(bits); }
};

/// Makes the option split its value at ",", unless listseparator() sets another separator.
inline constexpr type_flags cut_at_separator{detail::kCutAtSeparator};

/// The result of listseparator().
struct listseparator_struct {
    const char* text;
    void apply(detail::option_base& option) const { option.set_list_separator(text); }
};

/// The result of valuedesc().
struct valuedesc_struct {
    string_view text;
    void apply(detail::option_base& option) const { option.set_value_description(text); }
};

/// The result of desc().
struct desc_struct {
    string_view text;
    void apply(detail::option_base& option) const { option.set_description(text); }
};

/// The result of subcommandname().
struct subcommandname_struct {
    string_view name;
    void apply(detail::option_base& option) const { option.add_sub_command(name); }
};

/// The result of countlimits().
struct countlimits_struct {
    int minimum;
    int maximum;
    void apply(detail::option_base& option) const { option.set_count_limits({minimum, maximum}); }
};

/// One word of values(): `name` is the word, `value` the result of its conversion, and `help` its
/// text in the usage.
template <class T>
struct value_word {
    T value;
    string_view name;
    string_view help;
};

/// The result of values().
template <class T>
struct valuelist_struct {
    std::vector<detail::value_entry> entries;

    /// Appends one word.
    void add_entry(T value, string_view name, string_view help) {
        entries.push_back({static_cast<std::int64_t>(value), name, help});
    }
    /// Appends several words, each as three arguments: value, name and help.
    template <class... More>
    void add_entry(T value, string_view name, string_view help, const More&... more) {
        add_entry(value, name, help);
        add_entry(more...);
    }
    void apply(detail::option_base& option) const { option.set_value_list(entries); }
};

/// Sets the accepted words, like values(), but from a table, which is not copied and must outlive
/// the option.
struct value_table {
    std::span<const detail::value_entry> entries;
    void apply(detail::option_base& option) const { option.set_value_table(entries); }
};

/// Makes the option split its value at each `text`. The option handles every piece as one value,
/// but counts one occurrence. An empty value has no pieces. `text` must outlive the option.
inline listseparator_struct listseparator(const char* text) {
    return {text};
}
/// Sets the placeholder of the value in the usage. The usage adds angle brackets if `text` contains
/// no "<". The default is "value".
inline valuedesc_struct valuedesc(string_view text) {
    return {text};
}
/// Sets the help text of the option. A line feed starts a new line in the usage.
inline desc_struct desc(string_view text) {
    return {text};
}
/// Adds a sub-command that has this option. Without this modifier all sub-commands have the option.
inline subcommandname_struct subcommandname(string_view name) {
    return {name};
}
/// Sets how often the option must occur at least, and may occur at most. Without this modifier the
/// option is optional, and may occur any number of times.
inline countlimits_struct countlimits(int minimum, int maximum) {
    return {minimum, maximum};
}
/// Sets the words that the option accepts, with the value of each. The option rejects other words,
/// except an option of strings, which accepts every word.
template <class T>
valuelist_struct<T> values(std::initializer_list<value_word<T>> words) {
    valuelist_struct<T> list;
    list.entries.reserve(words.size());
    for (const value_word<T>& word : words) {
        list.add_entry(word.value, word.name, word.help);
    }
    return list;
}

/// Converts words to values of type T. This primary template converts to enumerations, and the
/// specialisations below to strings, int and bool. A program that specialises the template for
/// another type can use opt, list and set with this type. `IsNumber` is true for arithmetic types
/// except bool.
template <class T, bool IsNumber>
class option_parser : public detail::option_parser_base {
public:
    static_assert(std::is_enum_v<T>);
    /// Stores in `out` the value that the value list of `option` has for `word`. Returns false,
    /// with `out` unchanged, if the list lacks the word.
    static bool parse(const detail::option_base& option, string_view word, T& out) {
        const detail::value_entry* const entry = option.named_value(word);
        if (entry == nullptr) {
            return false;
        }
        out = static_cast<T>(entry->value);
        return true;
    }
};

/// Converts words to strings. Every word is accepted; a value list is used only for the usage.
template <>
class option_parser<std::string, false> : public detail::option_parser_base {
public:
    /// Returns true.
    bool needs_param(detail::option_base& option) override;
    /// Copies `word` to `out` and returns true.
    static bool parse(const detail::option_base& option, string_view word, std::string& out);
};

/// Converts words to integers.
template <>
class option_parser<int, true> : public detail::option_parser_base {
public:
    /// Returns true.
    bool needs_param(detail::option_base& option) override;
    /// Returns "an integer", or an empty string if the option has a value list.
    [[nodiscard]] string_view expected_kind(const detail::option_base& option) const override;
    /// Stores the value of `word` in `out`. If `option` has a value list, the word must be in the
    /// list. Else the word must be empty, which means 0, or a number that strtoll accepts with
    /// base 0, except a binary one such as "0b1"; the number is truncated to 32 bits. Returns false
    /// for any other word; `out` may have changed then.
    static bool parse(const detail::option_base& option, string_view word, int& out);
};

/// Converts words to booleans.
template <>
class option_parser<bool, false> : public detail::option_parser_base {
public:
    /// Inverts `out` if `option` is a switch, and ignores `word`. Else stores the value of `word`
    /// in `out`: from the value list of `option` if there is one, else like parse_bool. Returns
    /// false, with `out` unchanged, for any other word.
    static bool parse(const detail::option_base& option, string_view word, bool& out);
    /// Stores true in `out` for "", "true", "yes" and "1", and false for "false", "no" and "0".
    /// Returns whether `text` is one of these words; if not, `out` remains unchanged.
    static bool parse_bool(const string_view& text, bool& out);
    /// Returns the words of the value list. Without a value list, returns the words of parse_bool
    /// except the empty one, or nothing for a switch.
    [[nodiscard]] std::vector<string_view>
    accepted_words(const detail::option_base& option) const override;
};

/// Storage of a single value as a member, which is value-initialised (0, false) until the option
/// occurs. Only the option's handle() writes the value. For a class T the specialisation below
/// makes the option itself a T. `Owned` is always true.
template <class T, bool IsClass, bool Owned>
class opt_storage {
public:
    virtual ~opt_storage() = default;

    /// Returns the value. The reference stays valid as long as the option.
    [[nodiscard]] const T& value() const { return value_; }
    /// Returns the same reference, so that an option can be used like its value.
    operator const T&() const { return value_; }

protected:
    opt_storage() = default;
    opt_storage(const opt_storage&) = default;
    opt_storage& operator=(const opt_storage&) = default;

    /// Returns the value for handle() to write.
    T& stored() { return value_; }

    T value_{};
};

/// Storage of a single value of class type as a base of the option. The value is
/// default-constructed until the option occurs.
template <class T>
class opt_storage<T, true, true> : public T {
public:
    virtual ~opt_storage() = default;

protected:
    opt_storage() = default;
    opt_storage(const opt_storage&) = default;
    opt_storage& operator=(const opt_storage&) = default;

    /// Returns the value for handle() to write.
    T& stored() { return *this; }
};

/// Storage of a list: all values in the order of the command line, as a vector that is a base of
/// the option.
template <class T, bool Owned>
class opt_list_storage : public std::vector<T> {
public:
    virtual ~opt_list_storage() = default;

protected:
    opt_list_storage() = default;
    opt_list_storage(const opt_list_storage&) = default;
    opt_list_storage& operator=(const opt_list_storage&) = default;
};

/// Storage of a set: the distinct values in ascending order, as a std::set that is a base of the
/// option.
template <class T, bool Owned>
class opt_set_storage : public std::set<T> {
public:
    virtual ~opt_set_storage() = default;

protected:
    opt_set_storage() = default;
    opt_set_storage(const opt_set_storage&) = default;
    opt_set_storage& operator=(const opt_set_storage&) = default;
};

namespace detail {

/// The parameter `IsNumber` of the option_parser for T.
template <class T>
inline constexpr bool is_number = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;

} // namespace detail

/// An option with one value; a later occurrence replaces the value. If T is a class such as
/// std::string, the object is a T. Else the object converts to T.
template <class T, bool External = contract::external_storage,
          class Parser = option_parser<T, detail::is_number<T>>,
          class Storage = opt_storage<T, std::is_class_v<T>, !External>>
class opt : public detail::option_base, public Storage {
public:
    static_assert(External == contract::external_storage);

    /// Declares and registers an option `--name`. `name` has no dashes.
    template <std::size_t N, detail::modifier... Modifiers>
    explicit opt(const char (&name)[N], const Modifiers&... modifiers)
        : option_base(parser_, detail::kSingle) {
        set_name(name);
        detail::complete(*this, modifiers...);
    }
    /// Declares and registers a positional option.
    template <detail::modifier... Modifiers>
    explicit opt(const Modifiers&... modifiers)
        : option_base(parser_, detail::kSingle) {
        detail::complete(*this, modifiers...);
    }

    /// Converts the word and replaces the value. Returns false if the word cannot be converted.
    bool handle(const string_view& name, const string_view& value) override {
        return Parser::parse(*this, examined(name, value), this->stored());
    }

private:
    Parser parser_;
};

/// An option that keeps all its values in the order of the command line. The object is a
/// std::vector<T> of the values.
template <class T, bool External = contract::external_storage,
          class Parser = option_parser<T, detail::is_number<T>>,
          class Storage = opt_list_storage<T, !External>>
class list : public detail::option_base, public Storage {
public:
    static_assert(External == contract::external_storage);

    /// Declares and registers an option `--name`. `name` has no dashes.
    template <std::size_t N, detail::modifier... Modifiers>
    explicit list(const char (&name)[N], const Modifiers&... modifiers)
        : option_base(parser_, detail::kMultiple) {
        set_name(name);
        detail::complete(*this, modifiers...);
    }
    /// Copies the attributes, the number of occurrences and the values of `other`. The copy is not
    /// registered.
    list(const list& other)
        : option_base(other, parser_)
        , Storage(other) {}
    list& operator=(const list&) = delete;

    /// Converts the word and appends the value. Returns false if the word cannot be converted.
    bool handle(const string_view& name, const string_view& value) override {
        T element{};
        if (!Parser::parse(*this, examined(name, value), element)) {
            return false;
        }
        this->push_back(std::move(element));
        return true;
    }

private:
    Parser parser_;
};

/// An option that keeps its distinct values in ascending order. The object is a std::set<T> of the
/// values.
template <class T, bool External = contract::external_storage,
          class Parser = option_parser<T, detail::is_number<T>>,
          class Storage = opt_set_storage<T, !External>>
class set : public detail::option_base, public Storage {
public:
    static_assert(External == contract::external_storage);

    /// Declares and registers an option `--name`. `name` has no dashes.
    template <std::size_t N, detail::modifier... Modifiers>
    explicit set(const char (&name)[N], const Modifiers&... modifiers)
        : option_base(parser_, detail::kMultiple) {
        set_name(name);
        detail::complete(*this, modifiers...);
    }

    /// Converts the word and inserts the value. Returns false if the word cannot be converted.
    bool handle(const string_view& name, const string_view& value) override {
        T element{};
        if (!Parser::parse(*this, examined(name, value), element)) {
            return false;
        }
        this->insert(std::move(element));
        return true;
    }

private:
    Parser parser_;
};

/// The selector of the sub-command. Its word is the first positional word of the command line and
/// must be in its value list. The object converts to T. A program declares at most one selector.
template <class T, class Parser = option_parser<T, false>,
          class Storage = opt_storage<T, false, true>, class = std::enable_if_t<std::is_enum_v<T>>>
class sub_commands : public detail::option_base, public Storage {
public:
    /// Declares and registers the selector, which must occur exactly once.
    template <detail::modifier... Modifiers>
    explicit sub_commands(const Modifiers&... modifiers)
        : option_base(parser_, detail::kSubCommand) {
        set_count_limits({1, 1});
        detail::complete(*this, modifiers...);
    }

    /// Returns the value of the chosen sub-command as an int, or 0 before `parse`.
    int int_val() const override { return static_cast<int>(this->value_); }
    /// Stores the sub-command. Returns false if its word is not in the value list.
    bool handle(const string_view& name, const string_view& value) override {
        return Parser::parse(*this, examined(name, value), this->value_);
    }

private:
    Parser parser_;
};

/// A switch: the value is false until the option occurs, and each occurrence inverts the value. The
/// object converts to bool.
class flag : public detail::option_base, public opt_storage<bool, false, true> {
public:
    /// Declares and registers an option `--name` without a value.
    template <std::size_t N, detail::modifier... Modifiers>
    explicit flag(const char (&name)[N], const Modifiers&... modifiers)
        : option_base(parser_, detail::kSwitch) {
        set_name(name);
        detail::complete(*this, modifiers...);
    }

    /// Inverts the value and returns true.
    bool handle(const string_view& name, const string_view& value) override;

private:
    option_parser<bool, false> parser_;
};

/// The registry of options. Use the one that parser() returns.
class command_line_parser {
public:
    /// Adds `option`, which the registry does not own.
    void add(detail::option_base& option);
    /// Removes `option`; does nothing if it is not registered.
    void remove(const detail::option_base& option);

    /// Returns the registered options in the order of their registration. Valid until an option is
    /// added or removed.
    [[nodiscard]] std::span<detail::option_base* const> options() const { return options_; }
    /// Returns the selector of the sub-command, which the registry does not own, or null if none is
    /// registered.
    [[nodiscard]] detail::option_base* selector() const;
    /// Returns the base name of argv[0], or an empty string before `parse`. Valid until the next
    /// `parse`.
    [[nodiscard]] string_view program_name() const { return program_name_; }

    /// Implements cl::parse.
    bool parse(int argc, char** argv);
    /// Implements cl::print_help.
    void print_help(std::FILE* stream) const;

private:
    std::vector<detail::option_base*> options_;
    std::string program_name_;
};

/// Parses the command line of main() into the registered options. `argv` has `argc` strings, which
/// need not outlive the call. Call this function once per process. Returns false if the command
/// line is rejected. Then the last error has number 1, the kind of the fault and the reason. The
/// selector, if it was recognised, and the options before the fault keep their values.
bool parse(int argc, char** argv);

/// Writes the usage of all registered options to `stream`, in 80 columns. Headings are bold if the
/// stream is a terminal, TERM is set and not "dumb", and NO_COLOR is unset or empty. A write error
/// only sets the error indicator of the stream.
void print_help(std::FILE* stream);

} // namespace qx::cl
