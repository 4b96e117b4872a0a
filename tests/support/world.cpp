#include "world.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/mount.h>
#include <unistd.h>

namespace qx::test {
namespace {

constexpr const char* kInside = "QX_TEST_WORLD";

void mount_empty(const char* where) {
    require(::mount("tmpfs", where, "tmpfs", 0, "mode=0755") == 0, where);
}

void enter_private_namespaces(char** argv) {
    // unshare(1) must run before the first thread of a sanitizer's runtime exists, hence the second
    // exec.
    ::setenv(kInside, "1", 1);
    std::vector<char*> words;
    char unshare[] = "unshare";
    char flags[] = "-Urmn";
    words.push_back(unshare);
    words.push_back(flags);
    char emulator[] = QX_EMULATOR;
    if (kEmulated) {
        words.push_back(emulator);
    }
    for (char** word = argv; *word != nullptr; ++word) {
        words.push_back(*word);
    }
    words.push_back(nullptr);
    ::execvp("unshare", words.data());
    std::perror("unshare");
    std::exit(1);
}

void furnish() {
    mount_empty("/opt");
    // The loader's cache only makes programs start quicker; nothing else of /etc is needed.
    const std::string loader_cache =
        fs::exists("/etc/ld.so.cache") ? read_file("/etc/ld.so.cache") : "";
    mount_empty("/etc");
    if (!loader_cache.empty()) {
        write_file("/etc/ld.so.cache", loader_cache);
    }
    write_file("/etc/passwd", "root:x:0:0:root:/root:/bin/sh\n");
}

} // namespace

void require(bool ok, const char* what) {
    if (!ok) {
        std::perror(what);
        ::_exit(1);
    }
}

void enter_world(char** argv) {
    if (std::getenv(kInside) == nullptr) {
        enter_private_namespaces(argv);
    }
    ::unsetenv(kInside);
    furnish();
}

void write_file(const fs::path& file, std::string_view text) {
    fs::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    require(out.good(), file.c_str());
}

std::string read_file(const fs::path& file) {
    const std::ifstream in(file, std::ios::binary);
    EXPECT_TRUE(in.good()) << file << " cannot be read";
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void write_program(const fs::path& file, std::string_view script) {
    write_file(file, std::string("#!/bin/sh\n").append(script));
    fs::permissions(file, fs::perms::owner_all);
}

fs::perms mode(const fs::path& file) {
    return fs::symlink_status(file).permissions();
}

unsigned from_environment(const char* name, unsigned otherwise) {
    const char* const value = std::getenv(name);
    return value == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(value, nullptr, 10));
}

TemporaryDirectory::TemporaryDirectory() {
    char name[] = "/tmp/qx-test-XXXXXX";
    require(::mkdtemp(name) != nullptr, "mkdtemp");
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::vector<int> open_descriptors(const std::string& process) {
    std::vector<int> open;
    for (int fd = 0; fd < 1024; ++fd) {
        if (::access(("/proc/" + process + "/fd/" + std::to_string(fd)).c_str(), F_OK) == 0) {
            open.push_back(fd);
        }
    }
    return open;
}

long resident_kib(const std::string& process) {
    const std::string statm = read_file("/proc/" + process + "/statm");
    return std::stol(statm.substr(statm.find(' '))) * (::sysconf(_SC_PAGESIZE) / 1024);
}

} // namespace qx::test
