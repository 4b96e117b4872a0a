#include "cl_words.h"
#include "qx/cl.h"
#include "qx/last_error.h"

#include <cstring>

namespace qx::cl {
namespace {

using detail::concat;
using detail::joined;
using detail::nearest_word;
using detail::option_base;
using detail::quoted;

/// The parts of a word that names an option, such as "--name=value" or "-name".
struct NamedWord {
    string_view name;
    string_view value;
    bool has_value = false;
};

bool looks_positional(string_view word) {
    return word.size() < 2 || word[0] != '-';
}

NamedWord take_apart(string_view word) {
    const string_view rest = word.substr(word[1] == '-' ? 2 : 1);
    const std::size_t sign = rest.find("=");
    if (sign == string_view::npos) {
        return {rest, {}, false};
    }
    return {rest.substr(0, sign), rest.substr(sign + 1), true};
}

std::string dashed(string_view name) {
    return concat({"--", name});
}

/// Returns the kind of value that `option` accepts, or else its accepted words, for a message.
std::string expected(const option_base& option) {
    const string_view kind = option.expected_kind();
    if (!kind.empty()) {
        return kind.to_string();
    }
    const std::vector<string_view> words = option.accepted_words();
    return words.empty() ? option.value_description().to_string() : joined(words, ", ");
}

std::string did_you_mean(string_view known) {
    return known.empty() ? std::string() : concat({"; did you mean '", known, "'?"});
}

/// Sets the last error of a rejected command line. Returns false.
bool reject(string_view fault, const std::string& reason) {
    set_qxerrno(error_number::bad_command_line, fault, reason);
    return false;
}

/// Parses one command line: finds the sub-command first, then handles the words in order.
class Scanner {
public:
    Scanner(const command_line_parser& parser, std::span<char* const> words)
        : options_(parser.options())
        , selector_(parser.selector())
        , words_(words)
        , subject_(parser.program_name())
        , chosen_at_(words.size()) {}

    bool scan();

private:
    /// The value of an index that refers to no word.
    static constexpr std::size_t kNone = string_view::npos;

    [[nodiscard]] string_view word(std::size_t at) const { return words_[at]; }

    bool choose_sub_command();
    std::size_t find_sub_command();
    [[nodiscard]] bool is_registered(string_view name) const;
    [[nodiscard]] bool takes_next(string_view name, string_view next) const;

    bool take_named(std::size_t& at);
    bool take_positional(std::size_t at);
    bool store(option_base& option, string_view value);
    [[nodiscard]] bool check_minimums() const;

    [[nodiscard]] bool is_accepted(const option_base& option) const;
    [[nodiscard]] std::string owners(string_view name) const;
    [[nodiscard]] nearest_word nearest_option(string_view name) const;
    [[nodiscard]] std::string label(const option_base& option) const;

    [[nodiscard]] bool reject_sub_command(std::size_t at) const;
    [[nodiscard]] bool reject_option(const NamedWord& named, string_view written) const;
    [[nodiscard]] bool reject_value(const option_base& option, string_view value) const;
    [[nodiscard]] bool reject_surplus(std::size_t at) const;

    std::span<option_base* const> options_;
    option_base* selector_;
    std::span<char* const> words_;
    string_view subject_; // the program, or the sub-command once it is known
    std::size_t chosen_at_;
    std::size_t stranger_at_ = kNone;  // the first unknown option before the sub-command
    std::size_t swallowed_at_ = kNone; // the first value that is also the name of a sub-command
    std::size_t value_at_ = kNone;     // the last word used as the value of an option
};

bool Scanner::scan() {
    if (selector_ != nullptr && !choose_sub_command()) {
        return false;
    }
    bool options_ended = false;
    for (std::size_t at = 0; at < words_.size(); ++at) {
        if (at == chosen_at_) {
            continue;
        }
        const bool positional = options_ended || looks_positional(word(at));
        if (!positional && word(at) == "--") {
            options_ended = true;
            continue;
        }
        if (!(positional ? take_positional(at) : take_named(at))) {
            return false;
        }
    }
    return check_minimums();
}

bool Scanner::choose_sub_command() {
    const std::size_t at = find_sub_command();
    if (at == kNone || !selector_->handle(word(at), {})) {
        return reject_sub_command(at);
    }
    selector_->count_occurrence();
    chosen_at_ = at;
    subject_ = word(at);
    return true;
}

// Finds the sub-command before any option is handled, because options may precede the sub-command
// and several sub-commands may have an option of the same name. Before the sub-command, an option
// takes the next word as its value if any sub-command's option of that name needs a value. An
// unknown option takes the next word unless that word is a sub-command or an option. The message
// that later rejects the unknown option can then name the sub-command.
std::size_t Scanner::find_sub_command() {
    bool options_ended = false;
    for (std::size_t at = 0; at < words_.size(); ++at) {
        if (options_ended || looks_positional(word(at))) {
            return at;
        }
        if (word(at) == "--") {
            options_ended = true;
            continue;
        }
        const NamedWord named = take_apart(word(at));
        if (stranger_at_ == kNone && !is_registered(named.name)) {
            stranger_at_ = at;
        }
        const bool alone = named.has_value || at + 1 == words_.size();
        if (!alone && takes_next(named.name, word(at + 1))) {
            ++at;
            if (swallowed_at_ == kNone && selector_->named_value(word(at)) != nullptr) {
                swallowed_at_ = at;
            }
        }
    }
    return kNone;
}

bool Scanner::is_registered(string_view name) const {
    for (const option_base* option : options_) {
        if (option->has_name(name)) {
            return true;
        }
    }
    return false;
}

bool Scanner::takes_next(string_view name, string_view next) const {
    for (option_base* option : options_) {
        if (option->has_name(name) && option->needs_param()) {
            return true;
        }
    }
    return !is_registered(name) && looks_positional(next) &&
           selector_->named_value(next) == nullptr;
}

bool Scanner::take_named(std::size_t& at) {
    const string_view written = word(at);
    const NamedWord named = take_apart(written);
    for (option_base* option : options_) {
        if (!option->has_name(named.name) || !is_accepted(*option)) {
            continue;
        }
        const bool needs_param = option->needs_param();
        if (!needs_param && named.has_value) {
            return reject("surplus value",
                          concat({label(*option), " takes no value: ", quoted(written)}));
        }
        if (!needs_param || named.has_value) {
            return store(*option, named.value);
        }
        if (at + 1 == words_.size()) {
            return reject("missing value", label(*option) + " needs a value");
        }
        value_at_ = ++at;
        return store(*option, word(at));
    }
    return reject_option(named, written);
}

bool Scanner::take_positional(std::size_t at) {
    for (option_base* option : options_) {
        const bool has_room =
            option->occurrences() < static_cast<std::uint32_t>(option->limits().maximum);
        if (option->is_positional() && option != selector_ && has_room && is_accepted(*option)) {
            return store(*option, word(at));
        }
    }
    return reject_surplus(at);
}

bool Scanner::store(option_base& option, string_view value) {
    const int maximum = option.limits().maximum;
    if (option.occurrences() >= static_cast<std::uint32_t>(maximum)) {
        const std::string limit = maximum == 1 ? "once" : std::to_string(maximum) + " times";
        return reject("repeated option", concat({label(option), " may be given only ", limit}));
    }
    option.count_occurrence();
    const auto handle = [&option](string_view piece) {
        return option.is_positional() ? option.handle(piece, {})
                                      : option.handle(option.names().front(), piece);
    };
    const string_view separator = option.list_separator();
    if (separator.empty()) {
        return handle(value) || reject_value(option, value);
    }
    for (const string_view piece : value.split(separator)) {
        if (!handle(piece)) {
            return reject_value(option, piece);
        }
    }
    return true;
}

bool Scanner::check_minimums() const {
    for (const option_base* option : options_) {
        const auto minimum = static_cast<std::uint32_t>(option->limits().minimum);
        if (option->occurrences() >= minimum || !is_accepted(*option)) {
            continue;
        }
        if (option->is_positional()) {
            return reject("missing word", concat({subject_, " needs one of ", expected(*option)}));
        }
        const std::string name = quoted(dashed(option->names().front()));
        const std::string times =
            minimum == 1 ? "" : concat({" ", std::to_string(minimum), " times"});
        return reject("missing option", concat({subject_, " needs option ", name, times}));
    }
    return true;
}

bool Scanner::is_accepted(const option_base& option) const {
    return option.belongs_to(subject_);
}

/// Returns the sub-commands that have an option of this name, for a message.
std::string Scanner::owners(string_view name) const {
    std::vector<string_view> found;
    for (const option_base* option : options_) {
        if (option->has_name(name)) {
            const auto& owning = option->sub_command_names();
            found.insert(found.end(), owning.begin(), owning.end());
        }
    }
    return joined(found, " and ");
}

/// Finds the option with the closest name among the options of the sub-command, or among all
/// options if no sub-command is known yet.
nearest_word Scanner::nearest_option(string_view name) const {
    nearest_word nearest(name);
    const bool any = selector_ != nullptr && !selector_->given();
    for (const option_base* option : options_) {
        if (any || is_accepted(*option)) {
            for (const string_view known : option->names()) {
                nearest.offer(known);
            }
        }
    }
    return nearest;
}

/// Returns the name of an option for messages.
std::string Scanner::label(const option_base& option) const {
    if (option.is_positional()) {
        return concat({"the argument of ", subject_});
    }
    return concat({"option ", quoted(dashed(option.names().front())), " of ", subject_});
}

bool Scanner::reject_sub_command(std::size_t at) const {
    if (stranger_at_ != kNone) {
        return reject_option(take_apart(word(stranger_at_)), word(stranger_at_));
    }
    if (at == kNone && swallowed_at_ != kNone) {
        return reject("missing operation",
                      concat({"no operation given; ", quoted(word(swallowed_at_)),
                              " is the value of ", quoted(word(swallowed_at_ - 1))}));
    }
    if (at == kNone) {
        return reject("missing operation", "no operation given");
    }
    nearest_word nearest(word(at));
    for (const detail::value_entry& entry : selector_->value_list()) {
        nearest.offer(entry.name);
    }
    return reject("unknown operation", concat({"there is no operation ", quoted(word(at)),
                                               did_you_mean(nearest.found())}));
}

bool Scanner::reject_option(const NamedWord& named, string_view written) const {
    const bool chosen = selector_ == nullptr || selector_->given();
    const nearest_word nearest = nearest_option(named.name);
    const std::string owning = owners(named.name);
    std::string advice;
    if (nearest.within(1) || (owning.empty() && !nearest.found().empty())) {
        advice = did_you_mean(dashed(nearest.found()));
    } else if (!owning.empty()) {
        advice = "; it belongs to " + owning;
    } else if (selector_ != nullptr && selector_->named_value(named.name) != nullptr) {
        advice = did_you_mean(named.name);
    }
    const std::string shown = named.name.empty() ? written.to_string() : dashed(named.name);
    const std::string who =
        chosen ? concat({subject_, " has no option "}) : "no operation has an option ";
    return reject("unknown option", concat({who, quoted(shown), advice}));
}

bool Scanner::reject_value(const option_base& option, string_view value) const {
    nearest_word nearest(value);
    for (const string_view known : option.accepted_words()) {
        nearest.offer(known);
    }
    const std::string advice =
        nearest.found().empty() ? "; expected " + expected(option) : did_you_mean(nearest.found());
    return reject("bad value", concat({label(option), " cannot be ", quoted(value), advice}));
}

bool Scanner::reject_surplus(std::size_t at) const {
    std::string advice;
    if (at > 0 && value_at_ == at - 1 && !looks_positional(word(value_at_))) {
        advice = concat({"; ", quoted(word(value_at_)), " before it is the value of ",
                         quoted(word(value_at_ - 1))});
    } else if (looks_positional(word(at))) {
        const string_view name = word(at).substr(0, word(at).find("="));
        const nearest_word nearest = nearest_option(name);
        advice = did_you_mean(nearest.found().empty() ? "" : dashed(nearest.found()));
    }
    return reject("surplus word",
                  concat({subject_, " takes no further word: ", quoted(word(at)), advice}));
}

} // namespace

bool command_line_parser::parse(int argc, char** argv) {
    const std::size_t count = argc > 0 ? static_cast<std::size_t>(argc) : 0;
    const std::span<char* const> words(argv, count);
    if (!words.empty() && words.front() != nullptr) {
        const char* const slash = std::strrchr(words.front(), '/');
        program_name_ = slash == nullptr ? words.front() : slash + 1;
    }
    return Scanner(*this, words.subspan(words.empty() ? 0 : 1)).scan();
}

} // namespace qx::cl
