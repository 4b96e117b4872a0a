// Write-protects the relocated constants (PT_GNU_RELRO) of a static program. musl does this only in
// its dynamic loader.

#include <cstdint>
#include <link.h>
#include <span>
#include <sys/auxv.h>
#include <sys/mman.h>

namespace {

using ProgramHeader = ElfW(Phdr);

int protect(dl_phdr_info* program, std::size_t /*size*/, void* /*unused*/) {
    const std::uintptr_t in_page = ::getauxval(AT_PAGESZ) - 1;
    for (const ProgramHeader& header : std::span(program->dlpi_phdr, program->dlpi_phnum)) {
        if (header.p_type == PT_GNU_RELRO) {
            const std::uintptr_t begin = program->dlpi_addr + header.p_vaddr;
            const std::uintptr_t first = begin & ~in_page;
            const std::uintptr_t last = (begin + header.p_memsz) & ~in_page;
            ::mprotect(reinterpret_cast<void*>(first), last - first, PROT_READ);
        }
    }
    return 0;
}

// Priority 101 is the earliest: the constants are protected before any other code of the program.
[[gnu::constructor(101)]] void protect_constants() {
    ::dl_iterate_phdr(protect, nullptr);
}

} // namespace
