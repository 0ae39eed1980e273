// SPDX-License-Identifier: MIT
// The value block, in host byte order:
//
//   offset  size    field
//        0     4    type     1 to 8
//        4     4    length   bytes of the payload; 8 for everything but a string
//        8  length  payload  a string's bytes, or the value's bytes and zeros up to 8
#include <varnel/serialize.h>

#include "base/block.h"
#include "base/log.h"
#include "data/xdata_types.h"

using namespace varnel;

namespace {

constexpr uint32_t kHeaderSize = 8;
constexpr uint32_t kScalarPayload = 8;

void store_word(uint8_t *bytes, uint32_t word) {
    memcpy(bytes, &word, sizeof word);
}

uint32_t load_word(const uint8_t *bytes) {
    uint32_t word;
    memcpy(&word, bytes, sizeof word);
    return word;
}

} // namespace

uint32_t xserialize(const xdata *value, uint8_t **buffer) {
    if (!is_type(value->type))
        abort();
    const bool is_string = value->type == XDATA_STRING;
    const uint32_t length = is_string ? value->value.s.len : kScalarPayload;
    const bool fits = length <= UINT32_MAX - kHeaderSize;
    uint8_t *const block =
        require(fits ? new_bytes<uint8_t>(kHeaderSize + length) : nullptr, "x_serialize: xmalloc0 error : %d\n", 74);
    store_word(block, value->type);
    store_word(block + 4, length);
    if (!is_string)
        memcpy(block + kHeaderSize, value_bytes(value), type_info(value->type).width);
    else if (value->value.s.str != nullptr)
        memcpy(block + kHeaderSize, value->value.s.str, length);
    *buffer = block;
    return kHeaderSize + length;
}

// Trusts the block: its header says how long it is.
xdata *xdeserialize(const void *buffer, uint32_t) {
    const auto *const block = static_cast<const uint8_t *>(buffer);
    auto *const x = new_record<xdata>();
    const uint32_t type = load_word(block);
    if (!is_type(type))
        fatal("Invalid xdata_type: %d\n", static_cast<int>(type));
    if (type == XDATA_STRING) {
        const uint32_t length = load_word(block + 4);
        x->value.s = {copy_bytes(block + kHeaderSize, length), length};
    } else {
        memcpy(value_bytes(x), block + kHeaderSize, type_info(type).width);
    }
    x->type = type;
    return x;
}
