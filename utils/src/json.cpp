#include "qx/json.h"

#include <cstdlib>
#include <malloc.h>
#include <new>
#include <utility>

namespace qx {
namespace {

thread_local bool lacked_memory = false;

#if defined(__GLIBC__)
// This C library keeps released blocks itself, for each thread.
void* allocate_block(std::size_t size) {
    return std::malloc(size);
}

void release(void* block) {
    std::free(block);
}

void keep_blocks() {}
#else
// Released blocks of the sizes that occur, for the thread that opens its stock: an event is dozens
// of small blocks, and this C library takes a lock for each. They remain the C library's own
// blocks, so that a text made here may be released with free().
class Stock {
public:
    void open() { open_ = true; }

    void* take(std::size_t& size) {
        const std::size_t grains = (size + kGrain - 1) / kGrain;
        if (!open_ || grains >= kClasses) {
            return nullptr;
        }
        size = grains * kGrain;
        Block* const block = first_[grains];
        if (block != nullptr) {
            first_[grains] = block->next;
            kept_ -= size;
        }
        return block;
    }

    bool put(void* released) {
        const std::size_t grains = open_ ? ::malloc_usable_size(released) / kGrain : 0;
        if (grains == 0 || grains >= kClasses || kept_ >= kMost) {
            return false;
        }
        first_[grains] = new (released) Block{first_[grains]};
        kept_ += grains * kGrain;
        return true;
    }

private:
    struct Block {
        Block* next;
    };
    static constexpr std::size_t kGrain = 16;
    static constexpr std::size_t kClasses = 9;
    static constexpr std::size_t kMost = std::size_t{256} * 1024;

    Block* first_[kClasses]{};
    std::size_t kept_ = 0;
    bool open_ = false;
};

thread_local constinit Stock stock;

void* allocate_block(std::size_t size) {
    void* const block = stock.take(size);
    return block != nullptr ? block : std::malloc(size);
}

void release(void* block) {
    if (block != nullptr && !stock.put(block)) {
        std::free(block);
    }
}

void keep_blocks() {
    stock.open();
}
#endif

void* allocate(std::size_t size) {
    void* const block = allocate_block(size);
    lacked_memory = lacked_memory || block == nullptr;
    return block;
}

} // namespace

void manage_json_memory() noexcept {
    keep_blocks();
    ::json_set_alloc_funcs(allocate, release);
}

void require_json_memory() {
    if (std::exchange(lacked_memory, false)) {
        throw std::bad_alloc();
    }
}

bool json_array_append_value(json_t* array, json_ptr value) {
    return ::json_array_append_new(array, value.release()) == 0;
}

} // namespace qx
