// Runs a target on the files of a corpus, for builds without the fuzzer.

#include "input.h"
#include "world.h"

#include <cstdio>

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[argc - 1])) {
        // If an input crashes the target, the last line is the name of the input.
        std::fprintf(stderr, "%s\n", entry.path().filename().c_str());
        const std::string bytes = qx::test::read_file(entry.path());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++files;
    }
    std::printf("%d files\n", files);
    return files > 0 ? 0 : 1;
}
