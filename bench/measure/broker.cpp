#include "broker.h"

#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace qx::bench {

Broker::Broker(const std::string& install_dir) {
    Pipe console = make_pipe();
    Pipe output = make_pipe();
    pid_ = start({helper("fast_broker"), install_dir}, {console.read.get(), output.write.get()});
    console_ = std::move(console.write);
    output_ = std::move(output.read);
    output.write.reset(-1);
    expect("ready");
}

Broker::~Broker() {
    console_.reset(-1);
    ::waitpid(pid_, nullptr, 0);
}

void Broker::wait_for_subscription() const {
    expect("subscribed");
}

void Broker::burst(long count, long size) const {
    const std::string line = "burst " + std::to_string(count) + " " + std::to_string(size) + "\n";
    if (::write(console_.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        fail("cannot write to the console of the broker");
    }
}

void Broker::expect(const std::string& wanted) const {
    if (read_line(output_.get()) != wanted) {
        fail("the broker did not print '" + wanted + "'");
    }
}

} // namespace qx::bench
