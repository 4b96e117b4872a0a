#include "request_trace.h"

#include "qx_plix_trace.h"

namespace qxplix {
namespace {

void (*observer)(const traced_request& request) = nullptr;

} // namespace

void trace_requests(void (*wanted)(const traced_request& request)) {
    observer = wanted;
}

request_trace::request_trace(const char* name)
    : name_(name) {
    if (observer != nullptr) {
        begun_ = now_in_microseconds();
    }
}

void request_trace::end(const exchange& talk, int result) const {
    if (observer != nullptr) {
        observer({name_, talk.sent(), talk.received(), now_in_microseconds() - begun_, result});
    }
}

} // namespace qxplix
