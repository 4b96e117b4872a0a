// The monotonic clock.
#pragma once

#include <cstdint>
#include <ctime>

namespace qxplix {

using milliseconds = std::int64_t;

inline std::int64_t now_in_microseconds() {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1000;
}

inline milliseconds now() {
    return now_in_microseconds() / 1000;
}

} // namespace qxplix
