// Declarative command lines. A program declares each option as an object, calls parse() once, and
// reads the values from the objects. Main thread only.
//
// Texts given to options and modifiers are not copied; they must live as long as the program.
// Constructors and parse() throw std::bad_alloc if memory runs out.
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

/// Returns the parser of the process. Every option registers with it and shares its ownership.
std::shared_ptr<command_line_parser> parser();

namespace detail {

class option_base;

// The kind of an option, set by its class. The bits below are type flags.
inline constexpr std::uint32_t kSingle = 0x10000;
inline constexpr std::uint32_t kMultiple = 0x20000;
inline constexpr std::uint32_t kSwitch = 0x40000;
inline constexpr std::uint32_t kSubCommand = 0x80000;

/// Type flag: split the value at the list separator. The default separator is ",".
inline constexpr std::uint32_t kCutAtSeparator = 8;

/// The maximum of an option that may occur any number of times.
inline constexpr int kNoMaximum = std::numeric_limits<int>::max();

/// Base of the value parsers. There is one for each type of value, option_parser below; it converts
/// the word of an option to the value.
class option_parser_base : public contract::parser_members {
public:
    option_parser_base() = default;
    option_parser_base(const option_parser_base&) = delete;
    option_parser_base& operator=(const option_parser_base&) = delete;

    virtual ~option_parser_base() = default;
    /// Returns whether an occurrence of the named `option` consumes a value.
    virtual bool needs_param(option_base& option);
    /// Returns every word that `option` accepts, or nothing if it accepts any text or number.
    [[nodiscard]] virtual std::vector<string_view> accepted_words(const option_base& option) const;
    /// Returns the kind of value for error messages, such as "an integer", or an empty text if the
    /// option's value description names it.
    [[nodiscard]] virtual string_view expected_kind(const option_base& option) const;
};

/// One word that an option accepts: the value, the word itself in `name`, and its help text.
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
    /// Returns the views in order. Valid until the next add.
    [[nodiscard]] std::span<const string_view> all() const;

private:
    string_view first_;
    std::size_t count_ = 0;
    std::vector<string_view> several_;
};

/// The number of times that an option must and may occur.
struct count_limits {
    int minimum = 0;
    int maximum = kNoMaximum;
};

/// Base of every option: its attributes and the number of its occurrences. Registered options must
/// not move, because the parser holds pointers to them.
class option_base : public contract::option_members {
public:
    option_base(const option_base&) = delete;
    option_base& operator=(const option_base&) = delete;

    /// Removes the option from the parser.
    virtual ~option_base();
    /// Converts and stores the value of one occurrence. A positional option receives its word in
    /// `name`. Returns false if the word cannot be converted.
    virtual bool handle(const string_view& name, const string_view& value) = 0;

    // The attributes that the constructor and the modifiers have set.

    /// Returns the name without dashes, or nothing for a positional option.
    [[nodiscard]] std::span<const string_view> names() const { return {&name_, is_named_}; }
    /// Return the texts of desc() and valuedesc(), or empty texts.
    [[nodiscard]] string_view description() const { return description_; }
    [[nodiscard]] string_view value_description() const { return value_description_; }
    /// Returns the kind and the type flags.
    [[nodiscard]] std::uint32_t flags() const { return flags_; }
    /// Returns the accepted words and their values; empty if there is no such list.
    [[nodiscard]] std::span<const value_entry> value_list() const {
        return own_values_.empty() ? value_table_ : own_values_;
    }
    /// Returns the sub-commands that have this option; empty for all sub-commands.
    [[nodiscard]] std::span<const string_view> sub_command_names() const {
        return sub_commands_.all();
    }
    /// Returns how often the option must and may occur.
    [[nodiscard]] count_limits limits() const { return limits_; }
    /// Return whether the option has no name, must occur, or has the given name.
    [[nodiscard]] bool is_positional() const { return is_named_ == 0; }
    [[nodiscard]] bool is_required() const { return limits_.minimum > 0; }
    [[nodiscard]] bool has_name(string_view name) const;
    /// Returns whether `sub_command` has this option. An option without sub-commands belongs to
    /// all.
    [[nodiscard]] bool belongs_to(string_view sub_command) const;
    /// Returns the text that separates the elements of a value, or an empty text if values are not
    /// split.
    [[nodiscard]] string_view list_separator() const;
    /// Returns whether an occurrence of a named option consumes a value.
    [[nodiscard]] bool needs_param() { return value_parser_->needs_param(*this); }
    /// Returns the first entry of the value list with exactly this name, or null.
    [[nodiscard]] const value_entry* named_value(string_view name) const;
    /// Return the results of the value parser for this option.
    [[nodiscard]] std::vector<string_view> accepted_words() const {
        return value_parser_->accepted_words(*this);
    }
    [[nodiscard]] string_view expected_kind() const { return value_parser_->expected_kind(*this); }

    // The occurrences on the command line.

    /// Returns whether the option occurred.
    [[nodiscard]] bool given() const { return occurrences_ != 0; }
    /// Returns how often the option occurred.
    [[nodiscard]] std::uint32_t occurrences() const { return occurrences_; }
    /// Adds one occurrence.
    void count_occurrence() { ++occurrences_; }

    // Setters, which the modifiers call.

    /// Makes the option a named one. `name` has no dashes.
    void set_name(string_view name);
    /// Add to the attributes.
    void add_type_flags(std::uint32_t bits) { flags_ |= bits; }
    void add_sub_command(string_view name) { sub_commands_.add(name); }
    /// Replace the texts.
    void set_description(string_view text) { description_ = text; }
    void set_value_description(string_view text) { value_description_ = text; }
    /// Sets the accepted words from a list that the option owns.
    void set_value_list(std::vector<value_entry> entries) { own_values_ = std::move(entries); }
    /// Sets the accepted words from a table that must live as long as the program.
    void set_value_table(std::span<const value_entry> entries) { value_table_ = entries; }
    /// Replaces the limits.
    void set_count_limits(count_limits limits) { limits_ = limits; }
    /// Replaces the separator; null means none.
    void set_list_separator(const char* separator) { list_separator_ = string_view(separator); }

    /// Adds the option to `parser`, until the option is destroyed.
    void register_self(std::shared_ptr<command_line_parser> parser);

protected:
    /// Makes an option of one kind. `parser` is a member of the derived class, which is not
    /// constructed yet.
    option_base(option_parser_base& parser, std::uint32_t kind);
    /// Copies the attributes of `other` for an option with its own value parser. Does not register
    /// the copy.
    option_base(const option_base& other, option_parser_base& parser);

    /// Returns the word to convert: `name` for a positional option, else `value`.
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

/// Applies modifiers to an option in their order.
template <class... Modifiers>
void apply_modifiers(option_base& option, const Modifiers&... modifiers) {
    (modifiers.apply(option), ...);
}

/// A type whose objects can be applied to an option.
template <class T>
concept modifier = requires(const T& candidate, option_base& option) {
    candidate.apply(option);
};

/// Completes the construction of an option: applies its modifiers and registers it.
template <class... Modifiers>
void complete(option_base& option, const Modifiers&... modifiers) {
    apply_modifiers(option, modifiers...);
    option.register_self(parser());
}

} // namespace detail

// Modifiers set the attributes of an option. They follow the name in the option's constructor. Use
// the functions below; the structures are their results.

/// Adds type flags.
struct type_flags {
    std::uint32_t bits;
    void apply(detail::option_base& option) const { option.add_type_flags(bits); }
};

/// Makes the option split its value at the list separator.
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

/// One word of values(): the value, the word in `name`, and its help text.
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

    /// Append one or more words, each with its value and its help text.
    void add_entry(T value, string_view name, string_view help) {
        entries.push_back({static_cast<std::int64_t>(value), name, help});
    }
    template <class... More>
    void add_entry(T value, string_view name, string_view help, const More&... more) {
        add_entry(value, name, help);
        add_entry(more...);
    }
    void apply(detail::option_base& option) const { option.set_value_list(entries); }
};

/// Sets the accepted words, like values(), but from a table that must live as long as the program.
struct value_table {
    std::span<const detail::value_entry> entries;
    void apply(detail::option_base& option) const { option.set_value_table(entries); }
};

/// Makes the option split its value at `text`.
inline listseparator_struct listseparator(const char* text) {
    return {text};
}
/// Sets the placeholder of the value in the usage.
inline valuedesc_struct valuedesc(string_view text) {
    return {text};
}
/// Sets the help text of the option.
inline desc_struct desc(string_view text) {
    return {text};
}
/// Adds a sub-command that has this option.
inline subcommandname_struct subcommandname(string_view name) {
    return {name};
}
/// Sets how often the option must and may occur. Without this modifier it is optional and
/// unlimited.
inline countlimits_struct countlimits(int minimum, int maximum) {
    return {minimum, maximum};
}
/// Sets the words that the option accepts, with the value of each.
template <class T>
valuelist_struct<T> values(std::initializer_list<value_word<T>> words) {
    valuelist_struct<T> list;
    list.entries.reserve(words.size());
    for (const value_word<T>& word : words) {
        list.add_entry(word.value, word.name, word.help);
    }
    return list;
}

/// Converts words to values of type T. A specialisation for another type makes opt, list and set of
/// that type work; `IsNumber` is true for arithmetic types except bool. This primary template
/// converts to enumerations.
template <class T, bool IsNumber>
class option_parser : public detail::option_parser_base {
public:
    static_assert(std::is_enum_v<T>);
    /// Stores the value of `word` from the option's value list in `out`. Returns false, with `out`
    /// unchanged, if the list lacks the word.
    static bool parse(const detail::option_base& option, string_view word, T& out) {
        const detail::value_entry* const entry = option.named_value(word);
        if (entry == nullptr) {
            return false;
        }
        out = static_cast<T>(entry->value);
        return true;
    }
};

/// Converts words to texts.
template <>
class option_parser<std::string, false> : public detail::option_parser_base {
public:
    bool needs_param(detail::option_base& option) override;
    /// Copies `word` to `out` and returns true.
    static bool parse(const detail::option_base& option, string_view word, std::string& out);
};

/// Converts words to integers.
template <>
class option_parser<int, true> : public detail::option_parser_base {
public:
    bool needs_param(detail::option_base& option) override;
    [[nodiscard]] string_view expected_kind(const detail::option_base& option) const override;
    /// Stores the value of `word` in `out`. If the option has a value list, the word must be in the
    /// list; else it must be a number for strtoll with base 0, which is truncated to 32 bits.
    /// Returns false for any other word.
    static bool parse(const detail::option_base& option, string_view word, int& out);
};

/// Converts words to booleans.
template <>
class option_parser<bool, false> : public detail::option_parser_base {
public:
    /// Inverts `out` if the option is a switch. Else stores the value of `word` in `out`: from the
    /// option's value list if it has one, else like parse_bool. Returns false for any other word.
    static bool parse(const detail::option_base& option, string_view word, bool& out);
    /// Stores true in `out` for "", "true", "yes" and "1", and false for "false", "no" and "0".
    /// Returns false, with `out` unchanged, for any other text.
    static bool parse_bool(const string_view& text, bool& out);
    /// Returns the words of the value list, or without such a list those of parse_bool except the
    /// empty one.
    [[nodiscard]] std::vector<string_view>
    accepted_words(const detail::option_base& option) const override;
};

/// Storage of a single value: a member, which is zero until the option occurs. If T is a class, the
/// specialisation below makes the option itself a T.
template <class T, bool IsClass, bool Owned>
class opt_storage {
public:
    virtual ~opt_storage() = default;

    /// Returns the value.
    [[nodiscard]] const T& value() const { return value_; }
    /// Converts the option to its value.
    operator const T&() const { return value_; }

protected:
    opt_storage() = default;
    opt_storage(const opt_storage&) = default;
    opt_storage& operator=(const opt_storage&) = default;

    /// Returns the value for writing.
    T& stored() { return value_; }

    T value_{};
};

/// Storage of a single value of class type, as a base of the option.
template <class T>
class opt_storage<T, true, true> : public T {
public:
    virtual ~opt_storage() = default;

protected:
    opt_storage() = default;
    opt_storage(const opt_storage&) = default;
    opt_storage& operator=(const opt_storage&) = default;

    /// Returns the value for writing.
    T& stored() { return *this; }
};

/// Storage of a list: all values in the order of the command line.
template <class T, bool Owned>
class opt_list_storage : public std::vector<T> {
public:
    virtual ~opt_list_storage() = default;

protected:
    opt_list_storage() = default;
    opt_list_storage(const opt_list_storage&) = default;
    opt_list_storage& operator=(const opt_list_storage&) = default;
};

/// Storage of a set: the distinct values in ascending order.
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

/// Selects the option_parser for T.
template <class T>
inline constexpr bool is_number = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;

} // namespace detail

/// An option with one value; a later occurrence replaces the value. The object is its value if T is
/// a class such as std::string, and else converts to the value.
template <class T, bool External = contract::external_storage,
          class Parser = option_parser<T, detail::is_number<T>>,
          class Storage = opt_storage<T, std::is_class_v<T>, !External>>
class opt : public detail::option_base, public Storage {
public:
    static_assert(External == contract::external_storage);

    /// Declares and registers an option `--name`.
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

    bool handle(const string_view& name, const string_view& value) override {
        return Parser::parse(*this, examined(name, value), this->stored());
    }

private:
    Parser parser_;
};

/// An option that keeps all its values, in their order. The object is a std::vector of them.
template <class T, bool External = contract::external_storage,
          class Parser = option_parser<T, detail::is_number<T>>,
          class Storage = opt_list_storage<T, !External>>
class list : public detail::option_base, public Storage {
public:
    static_assert(External == contract::external_storage);

    /// Declares and registers an option `--name`.
    template <std::size_t N, detail::modifier... Modifiers>
    explicit list(const char (&name)[N], const Modifiers&... modifiers)
        : option_base(parser_, detail::kMultiple) {
        set_name(name);
        detail::complete(*this, modifiers...);
    }
    /// Copies the attributes and the values. The copy is not registered.
    list(const list& other)
        : option_base(other, parser_)
        , Storage(other) {}
    list& operator=(const list&) = delete;

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

/// An option that keeps its distinct values. The object is a std::set of them.
template <class T, bool External = contract::external_storage,
          class Parser = option_parser<T, detail::is_number<T>>,
          class Storage = opt_set_storage<T, !External>>
class set : public detail::option_base, public Storage {
public:
    static_assert(External == contract::external_storage);

    /// Declares and registers an option `--name`.
    template <std::size_t N, detail::modifier... Modifiers>
    explicit set(const char (&name)[N], const Modifiers&... modifiers)
        : option_base(parser_, detail::kMultiple) {
        set_name(name);
        detail::complete(*this, modifiers...);
    }

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
/// must be in its value list.
template <class T, class Parser = option_parser<T, false>,
          class Storage = opt_storage<T, false, true>, class = std::enable_if_t<std::is_enum_v<T>>>
class sub_commands : public detail::option_base, public Storage {
public:
    /// Declares and registers the selector.
    template <detail::modifier... Modifiers>
    explicit sub_commands(const Modifiers&... modifiers)
        : option_base(parser_, detail::kSubCommand) {
        set_count_limits({1, 1});
        detail::complete(*this, modifiers...);
    }

    /// Returns the value of the chosen sub-command.
    int int_val() const override { return static_cast<int>(this->value_); }
    bool handle(const string_view& name, const string_view& value) override {
        return Parser::parse(*this, examined(name, value), this->value_);
    }

private:
    Parser parser_;
};

/// A switch: the value is false until the option occurs.
class flag : public detail::option_base, public opt_storage<bool, false, true> {
public:
    /// Declares and registers an option `--name` without a value.
    template <std::size_t N, detail::modifier... Modifiers>
    explicit flag(const char (&name)[N], const Modifiers&... modifiers)
        : option_base(parser_, detail::kSwitch) {
        set_name(name);
        detail::complete(*this, modifiers...);
    }

    bool handle(const string_view& name, const string_view& value) override;

private:
    option_parser<bool, false> parser_;
};

/// The registry of options. The process has one, which parser() returns.
class command_line_parser {
public:
    /// Add an option, or remove it if it is registered. The registry does not own options.
    void add(detail::option_base& option);
    void remove(const detail::option_base& option);

    /// Returns the registered options in the order of their construction. Valid until an option is
    /// added or removed.
    [[nodiscard]] std::span<detail::option_base* const> options() const { return options_; }
    /// Returns the selector of the sub-command, or null if none is registered.
    [[nodiscard]] detail::option_base* selector() const;
    /// Returns the base name of argv[0], or an empty text before `parse`.
    [[nodiscard]] string_view program_name() const { return program_name_; }

    /// Implement cl::parse and cl::print_help.
    bool parse(int argc, char** argv);
    void print_help(std::FILE* stream) const;

private:
    std::vector<detail::option_base*> options_;
    std::string program_name_;
};

/// Parses the command line of main() into the registered options. Call it once per process. Returns
/// false if the command line is rejected; the last error then has number 1, the kind of the fault
/// and the reason. A selector that was recognised keeps its value even then.
bool parse(int argc, char** argv);

/// Writes the usage of all registered options to `stream`, in 80 columns. Headings are bold if the
/// stream is a terminal, TERM is set and not "dumb", and NO_COLOR is unset or empty. Write errors
/// remain in the stream.
void print_help(std::FILE* stream);

} // namespace qx::cl
