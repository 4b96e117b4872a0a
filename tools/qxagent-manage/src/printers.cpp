#include "printers.h"

#include "qx/format.h"
#include "qx/json.h"
#include "qx/println.h"

#include <cstdio>
#include <unistd.h>

namespace qx::manage {
namespace {

constexpr std::size_t kIndent = 4;

bool output_is_terminal() {
    static const bool terminal = ::isatty(STDOUT_FILENO) == 1;
    return terminal;
}

} // namespace

void print_json(const json_t* value) {
    const std::size_t layout = output_is_terminal() ? JSON_INDENT(kIndent) : 0;
    const qx::text_ptr text(::json_dumps(value, layout));
    qx::require_json_memory();
    if (text) {
        qx::println(stdout, "{:s}", text.get());
    }
}

void print_output(const char* text) {
    if (text == nullptr) {
        return;
    }
    const qx::json_ptr value(::json_loads(text, 0, nullptr));
    qx::require_json_memory();
    if (value) {
        print_json(value.get());
    }
}

void print_bool_output(bool value, const char* key) {
    qx::require_json_memory();
    qx::println(stdout, output_is_terminal() ? "{:s}: {}" : "{{\"{:s}\": {}}}", key, value);
}

void print_error(const qx_plix_error_t& err) {
    const char* const message = err.message;
    const char* const description = err.description;
    qx::println(stderr, "error:");
    qx::println(stderr, "  code:        {}", err.code);
    qx::println(stderr, "  message:     {}", message);
    qx::println(stderr, "  description: {}", description);
}

void print_warning(qx::string_view message) {
    qx::println(stderr, "warning:");
    qx::println(stderr, "  message:     {}", message);
}

} // namespace qx::manage
