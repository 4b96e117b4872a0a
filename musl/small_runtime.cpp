// Takes the place of parts of the C++ runtime that the static tool has no use for.

#include <cstddef>

// The demangler, a quarter of the tool, makes the name of an exception's type readable when nobody
// catches it. Without it, that name is printed as the compiler writes it.
extern "C" char* __cxa_demangle(const char* /*mangled*/, char* /*buffer*/, std::size_t* /*length*/,
                                int* status) {
    constexpr int invalid_name = -2;
    if (status != nullptr) {
        *status = invalid_name;
    }
    return nullptr;
}
