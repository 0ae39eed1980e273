// SPDX-License-Identifier: MIT
// Blocks from the library's allocator: typed allocation, a move-only owner, and size sums that may not wrap.
#pragma once

#include <varnel/memory.h>

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

namespace varnel {

// A zeroed record. Aborts when memory is short.
template <class T> T *new_record() {
    return static_cast<T *>(xmalloc0(sizeof(T)));
}

// A zeroed array, or nullptr when memory is short or the size would wrap, whatever the table's function makes of that.
template <class T> T *try_new_array(size_t count) {
    if (count > SIZE_MAX / sizeof(T))
        return nullptr;
    return static_cast<T *>(xcalloc(count, sizeof(T)));
}

// size zero bytes, one for size 0: an empty string or message has a buffer too, and malloc(0) may be NULL (ISO C).
template <class T = void> T *new_bytes(size_t size) {
    return static_cast<T *>(xmalloc0(size != 0 ? size : 1));
}

// A new copy of size bytes. A NULL source copies nothing: the bytes are zero.
inline char *copy_bytes(const void *source, size_t size) {
    char *const copy = new_bytes<char>(size);
    if (source != nullptr)
        memcpy(copy, source, size);
    return copy;
}

// a + b. A sum that wraps is a size that cannot be had: exhausted memory.
template <class T> T sum_or_abort(T a, T b) {
    T sum;
    if (__builtin_add_overflow(a, b, &sum))
        abort();
    return sum;
}

// Owns one block; releases it with _xfree.
template <class T> class Block {
public:
    explicit Block(T *block) : block_(block) {}
    Block(Block &&other) noexcept : block_(other.release()) {}
    Block(const Block &) = delete;
    Block &operator=(const Block &) = delete;
    Block &operator=(Block &&) = delete;
    ~Block() { _xfree(block_); }

    [[nodiscard]] T *get() const { return block_; }
    T *operator->() const { return block_; }

    // Hands the block to the caller.
    [[nodiscard]] T *release() {
        T *const block = block_;
        block_ = nullptr;
        return block;
    }

private:
    T *block_;
};

} // namespace varnel
