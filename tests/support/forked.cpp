#include "forked.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace qx::test {

Forked::Forked(const std::function<int()>& work)
    : pid_(::fork()) {
    if (pid_ == 0) {
        ::_exit(work());
    }
}

Forked::~Forked() {
    if (pid_ > 0) {
        kill(SIGKILL);
        wait();
    }
}

void Forked::kill(int signal) const {
    ::kill(pid_, signal);
}

int Forked::wait() {
    int how = 0;
    ::waitpid(pid_, &how, 0);
    pid_ = -1;
    return WIFEXITED(how) ? WEXITSTATUS(how) : -1;
}

} // namespace qx::test
