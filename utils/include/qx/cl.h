// Declarative command lines: a program declares each option as an object, parses once, and reads
// the results out of the objects. Everything here belongs to one thread.
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

/// The one parser of the process.
std::shared_ptr<command_line_parser> parser();

namespace detail {

class option_base;

// Kind bits, set by each class of option; the bits below them are type flags.
inline constexpr std::uint32_t kSingle = 0x10000;
inline constexpr std::uint32_t kMultiple = 0x20000;
inline constexpr std::uint32_t kSwitch = 0x40000;
inline constexpr std::uint32_t kSubCommand = 0x80000;

/// Type flag: the value is cut at the list separator, which is "," unless the option has another.
inline constexpr std::uint32_t kCutAtSeparator = 8;

inline constexpr int kNoMaximum = std::numeric_limits<int>::max();

/// What turns the word of an option into its value, one class for each type of value.
class option_parser_base : public contract::parser_members {
public:
    option_parser_base() = default;
    option_parser_base(const option_parser_base&) = delete;
    option_parser_base& operator=(const option_parser_base&) = delete;

    virtual ~option_parser_base() = default;
    /// Whether an occurrence of `option` by name consumes a value.
    virtual bool needs_param(option_base& option);
    /// Every word that `option` accepts; empty when it takes free text or a number.
    [[nodiscard]] virtual std::vector<string_view> accepted_words(const option_base& option) const;
    /// The kind of value to name in an error, such as "an integer"; empty when the option's value
    /// description names it.
    [[nodiscard]] virtual string_view expected_kind(const option_base& option) const;
};

/// One word that an option accepts. The texts live as long as the program.
struct value_entry {
    std::int64_t value;
    string_view name;
    string_view help;
};

/// A list of views that usually has one element: only a second one takes memory.
class view_list {
public:
    void add(string_view view);
    [[nodiscard]] std::span<const string_view> all() const;

private:
    string_view first_;
    std::size_t count_ = 0;
    std::vector<string_view> several_;
};

/// How often an option must and may occur.
struct count_limits {
    int minimum = 0;
    int maximum = kNoMaximum;
};

/// Base of every option: its attributes and what the parser keeps about it. All texts are views of
/// texts that live as long as the program.
class option_base : public contract::option_members {
public:
    option_base(const option_base&) = delete;
    option_base& operator=(const option_base&) = delete;

    virtual ~option_base();
    /// Stores one occurrence; false when the word is unusable. A positional argument finds its word
    /// in `name`.
    virtual bool handle(const string_view& name, const string_view& value) = 0;

    /// Empty for a positional argument.
    [[nodiscard]] std::span<const string_view> names() const { return {&name_, is_named_}; }
    [[nodiscard]] string_view description() const { return description_; }
    [[nodiscard]] string_view value_description() const { return value_description_; }
    [[nodiscard]] std::uint32_t flags() const { return flags_; }
    [[nodiscard]] std::span<const value_entry> value_list() const {
        return own_values_.empty() ? value_table_ : own_values_;
    }
    [[nodiscard]] std::span<const string_view> sub_command_names() const {
        return sub_commands_.all();
    }
    [[nodiscard]] count_limits limits() const { return limits_; }
    [[nodiscard]] bool is_positional() const { return is_named_ == 0; }
    [[nodiscard]] bool is_required() const { return limits_.minimum > 0; }
    [[nodiscard]] bool has_name(string_view name) const;
    /// Whether the option may be given with `sub_command`; an option without sub-commands goes with
    /// each.
    [[nodiscard]] bool belongs_to(string_view sub_command) const;
    /// Where values are cut; empty when they are not.
    [[nodiscard]] string_view list_separator() const;
    /// Whether an occurrence by name consumes a value.
    [[nodiscard]] bool needs_param() { return value_parser_->needs_param(*this); }
    /// The value-list entry of exactly this name, the first if there are several; null when there
    /// is none.
    [[nodiscard]] const value_entry* named_value(string_view name) const;
    /// Every word that the option accepts; empty when it takes free text or a number.
    [[nodiscard]] std::vector<string_view> accepted_words() const {
        return value_parser_->accepted_words(*this);
    }
    /// The kind of value to name in an error, such as "an integer"; may be empty.
    [[nodiscard]] string_view expected_kind() const { return value_parser_->expected_kind(*this); }

    /// Whether the command line held the option.
    [[nodiscard]] bool given() const { return occurrences_ != 0; }
    [[nodiscard]] std::uint32_t occurrences() const { return occurrences_; }
    void count_occurrence() { ++occurrences_; }

    void set_name(string_view name);
    void add_type_flags(std::uint32_t bits) { flags_ |= bits; }
    void add_sub_command(string_view name) { sub_commands_.add(name); }
    void set_description(string_view text) { description_ = text; }
    void set_value_description(string_view text) { value_description_ = text; }
    void set_value_list(std::vector<value_entry> entries) { own_values_ = std::move(entries); }
    /// The same without a copy: `entries` lives as long as the program.
    void set_value_table(std::span<const value_entry> entries) { value_table_ = entries; }
    void set_count_limits(count_limits limits) { limits_ = limits; }
    /// A null pointer means no separator.
    void set_list_separator(const char* separator) { list_separator_ = string_view(separator); }

    /// Enters the option in `parser`, until the option is destroyed.
    void register_self(std::shared_ptr<command_line_parser> parser);

protected:
    /// `parser` is a member of the option to be, not constructed yet.
    option_base(option_parser_base& parser, std::uint32_t kind);
    /// A copy with a value parser of its own. It is not registered.
    option_base(const option_base& other, option_parser_base& parser);

    /// The word to convert: a positional argument is its own value.
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

/// Applies modifiers to an option, in order.
template <class... Modifiers>
void apply_modifiers(option_base& option, const Modifiers&... modifiers) {
    (modifiers.apply(option), ...);
}

template <class T>
concept modifier = requires(const T& candidate, option_base& option) {
    candidate.apply(option);
};

/// The tail of every option's construction.
template <class... Modifiers>
void complete(option_base& option, const Modifiers&... modifiers) {
    apply_modifiers(option, modifiers...);
    option.register_self(parser());
}

} // namespace detail

// Modifiers: the attributes of an option, given to its constructor after the name.

/// Type flags to add.
struct type_flags {
    std::uint32_t bits;
    void apply(detail::option_base& option) const { option.add_type_flags(bits); }
};

inline constexpr type_flags cut_at_separator{detail::kCutAtSeparator};

struct listseparator_struct {
    const char* text;
    void apply(detail::option_base& option) const { option.set_list_separator(text); }
};

struct valuedesc_struct {
    string_view text;
    void apply(detail::option_base& option) const { option.set_value_description(text); }
};

struct desc_struct {
    string_view text;
    void apply(detail::option_base& option) const { option.set_description(text); }
};

struct subcommandname_struct {
    string_view name;
    void apply(detail::option_base& option) const { option.add_sub_command(name); }
};

struct countlimits_struct {
    int minimum;
    int maximum;
    void apply(detail::option_base& option) const { option.set_count_limits({minimum, maximum}); }
};

/// One word of a value list as it is declared.
template <class T>
struct value_word {
    T value;
    string_view name;
    string_view help;
};

template <class T>
struct valuelist_struct {
    std::vector<detail::value_entry> entries;

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

/// The words that the option accepts, in a table that lives as long as the program.
struct value_table {
    std::span<const detail::value_entry> entries;
    void apply(detail::option_base& option) const { option.set_value_table(entries); }
};

/// The text that separates the elements of a list.
inline listseparator_struct listseparator(const char* text) {
    return {text};
}
/// The placeholder of the value in the usage.
inline valuedesc_struct valuedesc(string_view text) {
    return {text};
}
/// The help text.
inline desc_struct desc(string_view text) {
    return {text};
}
/// A sub-command under which the option is accepted.
inline subcommandname_struct subcommandname(string_view name) {
    return {name};
}
/// How often the option must and may occur.
inline countlimits_struct countlimits(int minimum, int maximum) {
    return {minimum, maximum};
}
/// The words that the option accepts.
template <class T>
valuelist_struct<T> values(std::initializer_list<value_word<T>> words) {
    valuelist_struct<T> list;
    list.entries.reserve(words.size());
    for (const value_word<T>& word : words) {
        list.add_entry(word.value, word.name, word.help);
    }
    return list;
}

/// Converts words to values of one type. A specialisation for another type makes opt, list and set
/// of that type work; its `parse` returns false for an unusable word. This one is for enumerations:
/// the word must be in the option's value list.
template <class T, bool IsNumber>
class option_parser : public detail::option_parser_base {
public:
    static_assert(std::is_enum_v<T>);
    static bool parse(const detail::option_base& option, string_view word, T& out) {
        const detail::value_entry* const entry = option.named_value(word);
        if (entry == nullptr) {
            return false;
        }
        out = static_cast<T>(entry->value);
        return true;
    }
};

template <>
class option_parser<std::string, false> : public detail::option_parser_base {
public:
    bool needs_param(detail::option_base& option) override;
    /// Takes every word.
    static bool parse(const detail::option_base& option, string_view word, std::string& out);
};

template <>
class option_parser<int, true> : public detail::option_parser_base {
public:
    bool needs_param(detail::option_base& option) override;
    [[nodiscard]] string_view expected_kind(const detail::option_base& option) const override;
    /// A word of the value list if the option has one, else a number in the notation of strtoll
    /// with base 0, of which the low 32 bits are kept.
    static bool parse(const detail::option_base& option, string_view word, int& out);
};

template <>
class option_parser<bool, false> : public detail::option_parser_base {
public:
    /// Inverts `out` for a switch; else a word of the value list if the option has one; else as
    /// parse_bool.
    static bool parse(const detail::option_base& option, string_view word, bool& out);
    /// "", "true", "yes", "1" are true, "false", "no", "0" false; other texts leave `out` alone and
    /// yield false.
    static bool parse_bool(const string_view& text, bool& out);
    /// The words of the value list, else those of parse_bool without the empty one.
    [[nodiscard]] std::vector<string_view>
    accepted_words(const detail::option_base& option) const override;
};

/// Storage of a single value. A class is a base of its option, another type a member that reads as
/// zero until the option occurs.
template <class T, bool IsClass, bool Owned>
class opt_storage {
public:
    virtual ~opt_storage() = default;

    [[nodiscard]] const T& value() const { return value_; }
    operator const T&() const { return value_; }

protected:
    opt_storage() = default;
    opt_storage(const opt_storage&) = default;
    opt_storage& operator=(const opt_storage&) = default;

    T& stored() { return value_; }

    T value_{};
};

template <class T>
class opt_storage<T, true, true> : public T {
public:
    virtual ~opt_storage() = default;

protected:
    opt_storage() = default;
    opt_storage(const opt_storage&) = default;
    opt_storage& operator=(const opt_storage&) = default;

    T& stored() { return *this; }
};

/// Storage of a list: every value in the order of arrival.
template <class T, bool Owned>
class opt_list_storage : public std::vector<T> {
public:
    virtual ~opt_list_storage() = default;

protected:
    opt_list_storage() = default;
    opt_list_storage(const opt_list_storage&) = default;
    opt_list_storage& operator=(const opt_list_storage&) = default;
};

/// Storage of a set: the distinct values in their order.
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

template <class T>
inline constexpr bool is_number = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;

} // namespace detail

/// An option with one value; a later occurrence replaces an earlier one. Without a name it is
/// positional. The value is the object itself (std::string) or what it converts to.
template <class T, bool External = contract::external_storage,
          class Parser = option_parser<T, detail::is_number<T>>,
          class Storage = opt_storage<T, std::is_class_v<T>, !External>>
class opt : public detail::option_base, public Storage {
public:
    static_assert(External == contract::external_storage);

    template <std::size_t N, detail::modifier... Modifiers>
    explicit opt(const char (&name)[N], const Modifiers&... modifiers)
        : option_base(parser_, detail::kSingle) {
        set_name(name);
        detail::complete(*this, modifiers...);
    }
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

/// An option that keeps all its values.
template <class T, bool External = contract::external_storage,
          class Parser = option_parser<T, detail::is_number<T>>,
          class Storage = opt_list_storage<T, !External>>
class list : public detail::option_base, public Storage {
public:
    static_assert(External == contract::external_storage);

    template <std::size_t N, detail::modifier... Modifiers>
    explicit list(const char (&name)[N], const Modifiers&... modifiers)
        : option_base(parser_, detail::kMultiple) {
        set_name(name);
        detail::complete(*this, modifiers...);
    }
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

/// An option that keeps its distinct values, ordered.
template <class T, bool External = contract::external_storage,
          class Parser = option_parser<T, detail::is_number<T>>,
          class Storage = opt_set_storage<T, !External>>
class set : public detail::option_base, public Storage {
public:
    static_assert(External == contract::external_storage);

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

/// The selector of the sub-command: the first positional word, one of its value list.
template <class T, class Parser = option_parser<T, false>,
          class Storage = opt_storage<T, false, true>, class = std::enable_if_t<std::is_enum_v<T>>>
class sub_commands : public detail::option_base, public Storage {
public:
    template <detail::modifier... Modifiers>
    explicit sub_commands(const Modifiers&... modifiers)
        : option_base(parser_, detail::kSubCommand) {
        set_count_limits({1, 1});
        detail::complete(*this, modifiers...);
    }

    int int_val() const override { return static_cast<int>(this->value_); }
    bool handle(const string_view& name, const string_view& value) override {
        return Parser::parse(*this, examined(name, value), this->value_);
    }

private:
    Parser parser_;
};

/// A switch: its presence turns false into true.
class flag : public detail::option_base, public opt_storage<bool, false, true> {
public:
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

/// The registry of options. There is one, `parser()`.
class command_line_parser {
public:
    void add(detail::option_base& option);
    void remove(const detail::option_base& option);

    /// The registered options in the order of their construction, to generate documents and
    /// completions from.
    [[nodiscard]] std::span<detail::option_base* const> options() const { return options_; }
    /// The sub-command selector; null when none is registered.
    [[nodiscard]] detail::option_base* selector() const;
    /// The base name of the program as the command line gave it; empty before `parse`.
    [[nodiscard]] string_view program_name() const { return program_name_; }

    bool parse(int argc, char** argv);
    void print_help(std::FILE* stream) const;

private:
    std::vector<detail::option_base*> options_;
    std::string program_name_;
};

/// Parses the command line into the registered options; once per process. False when it is
/// rejected: the last-error record then holds number 1, the class of the fault and the reason. A
/// selector that was recognised keeps its value also then.
bool parse(int argc, char** argv);

/// Writes the usage of every registered option to `stream`, on 80 columns; with bold headings when
/// it is a terminal, TERM names one that is not "dumb", and NO_COLOR is unset or empty.
void print_help(std::FILE* stream);

} // namespace qx::cl
