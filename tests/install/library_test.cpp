// The README's program, built against the installed library as its users build.

#include "installed.h"

namespace {

using namespace qx::test;

class InstalledLibrary : public Installed {
protected:
    InstalledLibrary() {
        for (const auto& block : fenced_blocks("README.md")) {
            if (block.language == "c") {
                write_file(directory.path() / "program.c", block.text);
                write_file(directory.path() / "program.cpp", block.text);
            }
        }
    }

    void SetUp() override {
        if (kForRouters) {
            GTEST_SKIP() << "the library is not installed on routers";
        }
    }

    void expect_runs(const std::string& build, const std::string& program) {
        output_of_script("set -e\n" + build);
        EXPECT_EQ(output_of_script(program),
                  "{\"agent\": \"2.8.1\", \"broker\": \"simulator\", \"protocol\": \"1.3\"}\n");
    }

    Simulator broker;
};

TEST_F(InstalledLibrary, IsFoundByPkgConfig) {
    environment["PKG_CONFIG_PATH"] = prefix / "lib/pkgconfig";
    const std::string strict = " -Wall -Wextra -Wpedantic -Werror program.";
    const std::string flags = " $(pkg-config --cflags --libs qx_plix) -o program";
    expect_runs("gcc -std=c11" + strict + "c" + flags, "./program");
    expect_runs("g++ -std=c++11" + strict + "cpp" + flags, "./program");
    expect_runs("gcc -flto -std=c11" + strict +
                    "c -static $(pkg-config --static --cflags --libs "
                    "qx_plix) -o program",
                "./program");
}

TEST_F(InstalledLibrary, IsFoundByCMakeAlsoWhenTheTreeWasMoved) {
    const auto moved = directory.path() / "moved";
    fs::rename(prefix, moved);
    write_file(directory.path() / "CMakeLists.txt", R"(
cmake_minimum_required(VERSION 3.25)
project(user VERSION 1 LANGUAGES C CXX)
set(CMAKE_C_STANDARD 11)
find_package(qx_plix 1.0 REQUIRED)
foreach(language c cpp)
  add_executable(in_${language} program.${language})
  target_link_libraries(in_${language} qx_plix::qx_plix)
endforeach()
)");
    expect_runs("cmake -G Ninja -S . -B build -DCMAKE_PREFIX_PATH=" + moved.string() +
                    "\nninja -C build",
                "build/in_c");
    expect_runs("true", "build/in_cpp");
}

} // namespace
