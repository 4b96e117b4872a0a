// Takes the place of parts of the C++ runtime that the static tool has no use for.

#include <cstddef>

// The demangler, a seventh of the tool, makes the name of an exception's type readable when nobody
// catches it. Without it, that name is printed as the compiler writes it.
extern "C" char* __cxa_demangle(const char* /*mangled*/, char* /*buffer*/, std::size_t* /*length*/,
                                int* status) {
    constexpr int invalid_name = -2;
    if (status != nullptr) {
        *status = invalid_name;
    }
    return nullptr;
}

// The guards of statics of functions ask the kernel which thread it is. Those that are left, in the
// runtime itself, are set up by the main thread; the event thread has nothing of the C++ runtime.
// A guard's first byte says whether its static is there.
extern "C" int __cxa_guard_acquire(char* guard) {
    return *guard == 0 ? 1 : 0;
}

extern "C" void __cxa_guard_release(char* guard) {
    *guard = 1;
}

extern "C" void __cxa_guard_abort(char* /*guard*/) {}
