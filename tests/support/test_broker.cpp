#include "test_broker.h"

#include "base/install.h"

#include <algorithm>
#include <fcntl.h>
#include <jansson.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace qx::test {
namespace {

std::string text_member(const json_t* object, const char* key) {
    const char* const text = json_string_value(json_object_get(object, key));
    return text == nullptr ? "" : text;
}

} // namespace

TestBroker::TestBroker() {
    start();
}

TestBroker::~TestBroker() {
    stop();
}

void TestBroker::start() {
    const std::lock_guard lock(mutex_);
    listener_ = broker_socket(::bind);
    require(listener_ >= 0 && ::listen(listener_, 64) == 0, "listen");
    wake_ = ::eventfd(0, EFD_CLOEXEC);
    stopping_ = false;
    thread_ = std::thread([this] { serve(); });
}

void TestBroker::stop() {
    if (!thread_.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        ::eventfd_write(wake_, 1);
    }
    thread_.join();
    const std::lock_guard lock(mutex_);
    ::close(listener_);
    ::close(wake_);
    for (const Connection& connection : connections_) {
        ::close(connection.fd);
    }
    connections_.clear();
    changed_.notify_all();
}

void TestBroker::answer(const std::string& name, std::string_view json) {
    reply(name, {framed(json)});
}

void TestBroker::reply(const std::string& name, Reply reply) {
    const std::lock_guard lock(mutex_);
    replies_[name] = std::move(reply);
}

std::vector<std::string> TestBroker::requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
}

void TestBroker::forget_requests() {
    const std::lock_guard lock(mutex_);
    requests_.clear();
}

template <typename Condition>
bool TestBroker::wait_until(Condition condition, const char* what) const {
    std::unique_lock lock(mutex_);
    const bool came = changed_.wait_for(lock, kPatience, condition);
    EXPECT_TRUE(came) << "timed out waiting for " << what << "; the broker has " << requests_.size()
                      << " requests, " << connections_.size() << " connections, "
                      << count_subscribers() << " subscribers";
    return came;
}

bool TestBroker::wait_for_requests(std::size_t count) const {
    return wait_until([&] { return requests_.size() >= count; }, "requests");
}

bool TestBroker::wait_for_connections(std::size_t count) const {
    return wait_until([&] { return connections_.size() == count; }, "connections");
}

bool TestBroker::wait_for_subscribers(std::size_t count) const {
    return wait_until([&] { return count_subscribers() == count; }, "subscribers");
}

std::size_t TestBroker::count_subscribers() const {
    return static_cast<std::size_t>(
        std::count_if(connections_.begin(), connections_.end(),
                      [](const Connection& c) { return !c.event.empty(); }));
}

void TestBroker::emit(const std::string& name, std::string_view json) {
    emit_raw(name, framed(json));
}

void TestBroker::emit_raw(const std::string& name, std::string_view bytes) {
    const std::lock_guard lock(mutex_);
    for (const Connection& connection : connections_) {
        if (connection.event == name) {
            send_all(connection.fd, bytes);
        }
    }
}

void TestBroker::drop_subscribers(const std::string& name) {
    const std::lock_guard lock(mutex_);
    for (const Connection& connection : connections_) {
        if (connection.event == name) {
            ::shutdown(connection.fd, SHUT_RDWR);
        }
    }
}

void TestBroker::serve() {
    for (;;) {
        std::vector<pollfd> polled;
        {
            const std::lock_guard lock(mutex_);
            polled = {{wake_, POLLIN, 0}, {listener_, POLLIN, 0}};
            for (const Connection& connection : connections_) {
                polled.push_back({connection.fd, POLLIN, 0});
            }
        }
        ::poll(polled.data(), polled.size(), -1);
        const std::lock_guard lock(mutex_);
        if (stopping_) {
            return;
        }
        for (std::size_t i = connections_.size(); i-- > 0;) {
            if (polled[i + 2].revents != 0 && !receive(connections_[i])) {
                ::close(connections_[i].fd);
                connections_.erase(connections_.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (polled[1].revents != 0) {
            accept_one();
        }
        changed_.notify_all();
    }
}

void TestBroker::accept_one() {
    const int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    require(fd >= 0, "accept");
    connections_.push_back({fd, "", ""});
}

bool TestBroker::receive(Connection& connection) {
    char bytes[4096];
    const ssize_t got = ::recv(connection.fd, bytes, sizeof bytes, 0);
    if (got <= 0) {
        return false;
    }
    connection.input.append(bytes, static_cast<std::size_t>(got));
    for (;;) {
        const std::size_t end = connection.input.find('\n');
        if (end == std::string::npos) {
            return true;
        }
        const std::string line = connection.input.substr(0, end + 1);
        connection.input.erase(0, end + 1);
        if (!handle(connection, line)) {
            return false;
        }
    }
}

bool TestBroker::handle(Connection& connection, const std::string& line) {
    json_t* const request = json_loads(line.c_str(), 0, nullptr);
    const std::string name = text_member(request, "name");
    const bool subscribes = text_member(request, "type") == "subscribe";
    json_decref(request);
    requests_.push_back(line);
    const auto found = replies_.find(name);
    const Reply reply = found == replies_.end() ? Reply{framed(kOk)} : found->second;
    const bool sent = send_all(connection.fd, reply.bytes);
    if (subscribes) {
        connection.event = name;
    }
    return sent && !reply.hang_up;
}

LockedVersionFile::LockedVersionFile(const fs::path& install_dir, std::string_view text) {
    const fs::path file = install_dir.string() + QX_VERSION_FILE;
    write_file(file, text);
    file_.reset(std::fopen(file.c_str(), "r+e"));
    struct flock lock {};
    lock.l_type = F_WRLCK;
    require(::fcntl(::fileno(file_.get()), F_OFD_SETLK, &lock) == 0, "lock");
}

} // namespace qx::test
