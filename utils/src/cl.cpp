#include "qx/cl.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace qx::cl {
namespace {

constexpr string_view kBoolWords[] = {"", "true", "yes", "1", "false", "no", "0"};
constexpr std::size_t kTrueWords = 4;

// Detects binary numbers, which strtoll accepts only in newer C libraries. The parser rejects them
// with every C library.
bool is_binary(const std::string& text) {
    std::size_t at = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    if (text[at] == '+' || text[at] == '-') {
        ++at;
    }
    return text[at] == '0' && (text[at + 1] == 'b' || text[at + 1] == 'B');
}

} // namespace

namespace detail {

bool option_parser_base::needs_param(option_base& option) {
    return !option.is_positional() && (option.flags() & kSwitch) == 0;
}

std::vector<string_view> option_parser_base::accepted_words(const option_base& option) const {
    std::vector<string_view> words;
    words.reserve(option.value_list().size());
    for (const value_entry& entry : option.value_list()) {
        words.push_back(entry.name);
    }
    return words;
}

string_view option_parser_base::expected_kind(const option_base& /*option*/) const {
    return {};
}

void view_list::add(string_view view) {
    if (count_ == 0) {
        first_ = view;
    } else {
        if (several_.empty()) {
            several_.push_back(first_);
        }
        several_.push_back(view);
    }
    ++count_;
}

std::span<const string_view> view_list::all() const {
    return several_.empty() ? std::span(&first_, count_) : several_;
}

option_base::option_base(option_parser_base& parser, std::uint32_t kind)
    : flags_(kind)
    , value_parser_(&parser) {}

option_base::option_base(const option_base& other, option_parser_base& parser)
    : registered_with_(other.registered_with_)
    , name_(other.name_)
    , is_named_(other.is_named_)
    , description_(other.description_)
    , value_description_(other.value_description_)
    , flags_(other.flags_)
    , occurrences_(other.occurrences_)
    , own_values_(other.own_values_)
    , value_table_(other.value_table_)
    , value_parser_(&parser)
    , list_separator_(other.list_separator_)
    , sub_commands_(other.sub_commands_)
    , limits_(other.limits_) {}

option_base::~option_base() {
    if (registered_with_ != nullptr) {
        registered_with_->remove(*this);
    }
}

void option_base::set_name(string_view name) {
    name_ = name;
    is_named_ = 1;
}

void option_base::register_self(std::shared_ptr<command_line_parser> parser) {
    registered_with_ = std::move(parser);
    registered_with_->add(*this);
    value_parser_->initialize(*this);
}

bool option_base::has_name(string_view name) const {
    return !is_positional() && name_ == name;
}

bool option_base::belongs_to(string_view sub_command) const {
    const std::span<const string_view> names = sub_command_names();
    return names.empty() || std::find(names.begin(), names.end(), sub_command) != names.end();
}

string_view option_base::list_separator() const {
    return list_separator_.empty() && (flags_ & kCutAtSeparator) != 0 ? "," : list_separator_;
}

const value_entry* option_base::named_value(string_view name) const {
    for (const value_entry& entry : value_list()) {
        if (entry.name == name) {
            return &entry;
        }
    }
    return nullptr;
}

} // namespace detail

bool option_parser<std::string, false>::needs_param(detail::option_base& /*option*/) {
    return true;
}

bool option_parser<std::string, false>::parse(const detail::option_base& /*option*/,
                                              string_view word, std::string& out) {
    out.assign(word.data(), word.size());
    return true;
}

bool option_parser<int, true>::needs_param(detail::option_base& /*option*/) {
    return true;
}

string_view option_parser<int, true>::expected_kind(const detail::option_base& option) const {
    return option.value_list().empty() ? "an integer" : "";
}

bool option_parser<int, true>::parse(const detail::option_base& option, string_view word,
                                     int& out) {
    if (!option.value_list().empty()) {
        const detail::value_entry* const entry = option.named_value(word);
        if (entry == nullptr) {
            return false;
        }
        out = static_cast<int>(entry->value);
        return true;
    }
    const std::string text = word.to_string();
    if (is_binary(text)) {
        return false;
    }
    char* end = nullptr;
    out = static_cast<int>(std::strtoll(text.c_str(), &end, 0));
    return end == text.c_str() + text.size();
}

bool option_parser<bool, false>::parse(const detail::option_base& option, string_view word,
                                       bool& out) {
    if ((option.flags() & detail::kSwitch) != 0) {
        out = !out;
        return true;
    }
    if (option.value_list().empty()) {
        return parse_bool(word, out);
    }
    const detail::value_entry* const entry = option.named_value(word);
    if (entry == nullptr) {
        return false;
    }
    out = entry->value != 0;
    return true;
}

bool option_parser<bool, false>::parse_bool(const string_view& text, bool& out) {
    const auto* const match = std::find(std::begin(kBoolWords), std::end(kBoolWords), text);
    if (match == std::end(kBoolWords)) {
        return false;
    }
    out = match < kBoolWords + kTrueWords;
    return true;
}

std::vector<string_view>
option_parser<bool, false>::accepted_words(const detail::option_base& option) const {
    if (!option.value_list().empty() || (option.flags() & detail::kSwitch) != 0) {
        return option_parser_base::accepted_words(option);
    }
    return {std::begin(kBoolWords) + 1, std::end(kBoolWords)};
}

bool flag::handle(const string_view& name, const string_view& value) {
    return option_parser<bool, false>::parse(*this, examined(name, value), value_);
}

void command_line_parser::add(detail::option_base& option) {
    constexpr std::size_t kUsualCount = 32;
    if (options_.empty()) {
        options_.reserve(kUsualCount);
    }
    options_.push_back(&option);
}

void command_line_parser::remove(const detail::option_base& option) {
    // Search from the end: options are destroyed in the reverse order of their construction.
    const auto found = std::find(options_.rbegin(), options_.rend(), &option);
    if (found != options_.rend()) {
        options_.erase(std::next(found).base());
    }
}

detail::option_base* command_line_parser::selector() const {
    for (detail::option_base* option : options_) {
        if ((option->flags() & detail::kSubCommand) != 0) {
            return option;
        }
    }
    return nullptr;
}

std::shared_ptr<command_line_parser> parser() {
    static const auto instance = std::make_shared<command_line_parser>();
    return instance;
}

bool parse(int argc, char** argv) {
    return parser()->parse(argc, argv);
}

void print_help(std::FILE* stream) {
    parser()->print_help(stream);
}

} // namespace qx::cl
