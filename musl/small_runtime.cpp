// Replaces parts of the C++ runtime that the static tool does not need.

#include <cstddef>

// Replaces the demangler, which would make up a quarter of the tool. The runtime uses it only to
// print the type of an uncaught exception. Without a demangler it prints the mangled name.
extern "C" char* __cxa_demangle(const char* /*mangled*/, char* /*buffer*/, std::size_t* /*length*/,
                                int* status) {
    constexpr int invalid_name = -2;
    if (status != nullptr) {
        *status = invalid_name;
    }
    return nullptr;
}
