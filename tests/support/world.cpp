#include "world.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qx::test {
namespace {

constexpr const char* kInside = "QX_TEST_WORLD";

void mount_empty(const char* where) {
    require(::mount("tmpfs", where, "tmpfs", 0, "mode=0755") == 0, where);
}

// The read end of a pipe that reaches EOF when the new user namespace has its user and group maps.
constexpr int kMapped = 9;

bool try_write(const std::string& file, std::string_view text) {
    const int fd = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
    const bool written = ::write(fd, text.data(), text.size()) > 0;
    ::close(fd);
    return written;
}

// Waits until `process` has entered a new user namespace. Then maps the first 65536 users and
// groups of the caller's namespace into the new one, or only root if the caller's has fewer.
void map_users_of(const std::string& process) {
    const fs::path theirs = process + "/ns/user";
    while (fs::read_symlink(theirs) == fs::read_symlink("/proc/self/ns/user")) {
        ::sched_yield();
    }
    for (const char* const map : {"/uid_map", "/gid_map"}) {
        require(try_write(process + map, "0 0 65536") || try_write(process + map, "0 0 1"), map);
    }
}

// Returns the unshare(1) command. If this process is root, forks a process that maps the users, and
// the command waits for that process: only root can map several users, and only from a process
// outside the new namespace.
std::vector<std::string> namespaces_with_users() {
    int ends[2] = {-1, -1};
    require(::pipe2(ends, O_CLOEXEC) == 0, "pipe2");
    const std::string process = "/proc/" + std::to_string(::getpid());
    const pid_t child = ::geteuid() == 0 ? ::fork() : -1;
    if (child < 0) {
        return {"unshare", "-Urmn"};
    }
    if (child == 0) {
        if (::fork() == 0) {
            map_users_of(process);
        }
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
    require(::dup2(ends[0], kMapped) == kMapped, "dup2");
    ::close(ends[1]);
    return {"unshare", "-Umn", "sh", "-c", R"(read -r _ <&9; exec "$@" 9<&-)", "sh"};
}

void enter_private_namespaces(char** argv) {
    // A sanitizer's runtime may already have started a thread, and a process with threads cannot
    // enter a user namespace. So execute this program again through unshare(1).
    ::setenv(kInside, "1", 1);
    std::vector<std::string> words = namespaces_with_users();
    if (kEmulated) {
        words.emplace_back(QX_EMULATOR);
    }
    for (char** word = argv; *word != nullptr; ++word) {
        words.emplace_back(*word);
    }
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    ::execvp("unshare", pointers.data());
    std::perror("unshare");
    std::exit(1);
}

void furnish() {
    mount_empty("/opt");
    // With the loader's cache, programs start faster. They need nothing else from the old /etc.
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

// Uses the system call, because the C library's function would change the user of every thread.
OtherUser::OtherUser(unsigned uid)
    : changed_(::syscall(SYS_setresuid, -1, uid, -1) == 0) {}

OtherUser::~OtherUser() {
    ::syscall(SYS_setresuid, -1, 0, -1);
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
