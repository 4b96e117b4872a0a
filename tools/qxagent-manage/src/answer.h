// Taking over the texts that the client library hands out.
#pragma once

#include "qx/json.h"

namespace qx::manage {

/// The place where a library call puts a text that its caller has to release; `owner` has it from
/// the end of the expression on:
///     qx::text_ptr answer;
///     const int result = qx_plix_get_version_info(OutText(answer));
class OutText {
public:
    explicit OutText(qx::text_ptr& owner)
        : owner_(owner) {}
    OutText(const OutText&) = delete;
    OutText& operator=(const OutText&) = delete;
    ~OutText() { owner_.reset(text_); }

    /// Stands for the call's argument.
    operator char**() { return &text_; }

private:
    qx::text_ptr& owner_;
    char* text_ = nullptr;
};

} // namespace qx::manage
