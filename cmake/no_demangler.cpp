// Takes the place of the C++ runtime's demangler, a seventh of the static tool, whose one use is to
// make the name of an exception's type readable when nobody catches it. Without it, that name is
// printed as the compiler writes it.

#include <cstddef>

extern "C" char* __cxa_demangle(const char* /*mangled*/, char* /*buffer*/, std::size_t* /*length*/,
                                int* status) {
    constexpr int invalid_name = -2;
    if (status != nullptr) {
        *status = invalid_name;
    }
    return nullptr;
}
