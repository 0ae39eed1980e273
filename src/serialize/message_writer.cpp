// SPDX-License-Identifier: MIT
#include "serialize/message_format.h"

#include "base/block.h"
#include "base/bytes.h"
#include "base/log.h"
#include "data/xdata_types.h"

#include <errno.h>

using namespace varnel;

namespace {

// A message under construction in one growing block.
class MessageWriter {
public:
    MessageWriter() : block_(new_bytes<uint8_t>(kMessageHeaderSize)) {}
    MessageWriter(const MessageWriter &) = delete;
    MessageWriter &operator=(const MessageWriter &) = delete;
    ~MessageWriter() { _xfree(block_); }

    void put_header(uint32_t control, uint32_t param_count) {
        store_be(block_, kMessageMagic);
        store_be(block_ + kControlOffset, static_cast<uint16_t>(control));
        store_be(block_ + kParamCountOffset, param_count);
    }

    // 0, or the errno value of the failure.
    int put_param(const xdata *param);

    uint32_t finish(uint8_t **buffer) {
        store_be(block_ + kTotalLengthOffset, position_);
        *buffer = static_cast<uint8_t *>(block_);
        block_ = nullptr;
        return position_;
    }

private:
    bool reserve(uint32_t size);
    static void put_payload(uint8_t *to, const xdata *param, uint32_t size);

    uint8_t *block_;
    size_t capacity_ = 0; // the header's bytes do not count, so the first parameter always reallocates
    uint32_t position_ = kMessageHeaderSize;
};

// Makes room for size more bytes, zeroed when the block had to grow.
bool MessageWriter::reserve(uint32_t size) {
    uint32_t needed;
    if (__builtin_add_overflow(position_, size, &needed) || uint64_t{needed} * 2 > SIZE_MAX)
        return false;
    if (capacity_ >= needed)
        return true;
    void *block = block_;
    if (greedy_realloc(&block, &capacity_, needed) == nullptr)
        return false;
    block_ = static_cast<uint8_t *>(block);
    memset(block_ + position_, 0, needed - position_);
    return true;
}

void MessageWriter::put_payload(uint8_t *to, const xdata *param, uint32_t size) {
    const TypeInfo &type = type_info(param->type);
    if (type.big_endian)
        copy_big_endian(to, value_bytes(param), size);
    else if (param->type != XDATA_STRING)
        memcpy(to, value_bytes(param), size);
    else if (param->value.s.str != nullptr)
        memcpy(to, param->value.s.str, size);
    else
        memset(to, 0, size);
}

int MessageWriter::put_param(const xdata *param) {
    if (param == nullptr)
        return EINVAL;
    if (!is_type(param->type)) {
        errno = EINVAL;
        log_error("Invalid parameter type %d\n", static_cast<int>(param->type));
        return EINVAL;
    }
    const uint32_t size = param->type == XDATA_STRING ? param->value.s.len : type_info(param->type).width;
    uint32_t entry_size;
    if (__builtin_add_overflow(size, kEntryHeaderSize, &entry_size) || !reserve(entry_size))
        return ENOMEM;
    uint8_t *const entry = block_ + position_;
    store_be(entry, static_cast<uint16_t>(param->type));
    store_be(entry + 2, static_cast<uint16_t>(size));
    put_payload(entry + kEntryHeaderSize, param, size);
    position_ += entry_size;
    return 0;
}

// 0, or the errno value of the first failure.
int put_params(MessageWriter &writer, const xarray *params) {
    for (uint16_t i = 0; i < params->count; ++i)
        if (const int error = writer.put_param(static_cast<const xdata *>(xarray_get(params, i))))
            return error;
    return 0;
}

// The length, or 0 with *error set.
uint32_t write_message(uint8_t **buffer, uint32_t control, const xarray *params, int *error) {
    MessageWriter writer;
    writer.put_header(control, params->count);
    *error = put_params(writer, params);
    return *error == 0 ? writer.finish(buffer) : 0;
}

} // namespace

uint32_t xserialize_message(uint8_t **buffer, uint32_t control, const xarray *params) {
    int error = EINVAL;
    uint32_t length = 0;
    if (params != nullptr && params->count <= XMESSAGE_MAX_PARAMS && is_message_control(control))
        length = write_message(buffer, control, params, &error);
    if (length == 0)
        errno = error; // last, because releases and log lines may have set it
    return length;
}
