// Counts the bytes of one client within a total of all clients.
#pragma once

#include <cstddef>

namespace qx::sim {

class Share {
public:
    /// `total` is the sum of all shares and must outlive them.
    explicit Share(std::size_t& total)
        : total_(total) {}
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;
    ~Share() { set(0); }

    void set(std::size_t bytes) {
        total_ = total_ - held_ + bytes;
        held_ = bytes;
    }
    [[nodiscard]] std::size_t held() const { return held_; }

private:
    std::size_t& total_;
    std::size_t held_ = 0;
};

} // namespace qx::sim
