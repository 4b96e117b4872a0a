#include "json_blocks.h"

#include <cstdlib>
#include <malloc.h>
#include <new>

namespace qx::detail {
namespace {

// One free list for each size class of small blocks. Each thread has its own lists, so no lock is
// needed.
class Stock {
public:
    void open() { open_ = true; }

    // Returns a free block, or null if the caller must call malloc. Rounds `size` up to its class:
    // put() rounds down, so it would file a block of the original size under a smaller class.
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
    static constexpr std::size_t kMost = std::size_t{256} * 1024; // bytes on the lists

    Block* first_[kClasses]{};
    std::size_t kept_ = 0;
    bool open_ = false;
};

thread_local constinit Stock stock;

} // namespace

void keep_json_blocks() noexcept {
    stock.open();
}

void* take_json_block(std::size_t size) {
    void* const block = stock.take(size);
    return block != nullptr ? block : std::malloc(size);
}

void release_json_block(void* block) {
    if (block != nullptr && !stock.put(block)) {
        std::free(block);
    }
}

} // namespace qx::detail
