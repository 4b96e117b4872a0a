// Runs a target on the files of a corpus, for builds without the fuzzer.

#include "input.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

void replay(const std::filesystem::path& file) {
    // Whoever looks into a crash needs to know.
    std::fprintf(stderr, "%s\n", file.filename().c_str());
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(stream)),
                                  std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            replay(entry.path());
            ++files;
        }
    }
    std::printf("%d files\n", files);
    return files > 0 ? 0 : 1;
}
