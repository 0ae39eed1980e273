// SPDX-License-Identifier: MIT
#include "serialize/message_format.h"

#include "base/block.h"
#include "base/bytes.h"
#include "data/xdata_types.h"

#include <errno.h>

using namespace varnel;

namespace {

// An entry is refused when fewer bytes than this remain from its start, although the smallest have 4 and 5: a message
// that ends in one needs spare bytes behind it, and writers count on being refused without them.
constexpr uint32_t kSmallestRest = 6;

// Reads the entries of a message from the bytes at hand; never touches one outside them.
class MessageReader {
public:
    MessageReader(const uint8_t *bytes, uint32_t size) : bytes_(bytes), size_(size) {}

    // Decodes the next entry into a zeroed record. 0, or the errno value of the failure: no string is kept then.
    [[nodiscard]] int read(xdata *x);

private:
    [[nodiscard]] static int read_string(xdata *x, const uint8_t *payload, uint32_t size);
    void read_scalar(xdata *x, uint32_t payload) const;

    const uint8_t *bytes_;
    uint32_t size_;
    uint32_t position_ = kMessageHeaderSize;
};

int MessageReader::read(xdata *x) {
    if (size_ - position_ < kSmallestRest)
        return EINVAL;
    const uint32_t type = load_be<uint16_t>(bytes_ + position_);
    const uint32_t size = load_be<uint16_t>(bytes_ + position_ + 2);
    if (!is_type(type) || (size == 0 && type != XDATA_STRING))
        return EINVAL;
    const uint32_t payload = position_ + kEntryHeaderSize;
    if (size > size_ - payload)
        return EINVAL;
    x->type = type;
    position_ = payload + size;
    if (type == XDATA_STRING)
        return read_string(x, bytes_ + payload, size);
    read_scalar(x, payload);
    return 0;
}

// A string ends with a counted zero byte, unless it has no bytes at all.
int MessageReader::read_string(xdata *x, const uint8_t *payload, uint32_t size) {
    if (size == 0)
        return 0;
    Block copy(static_cast<char *>(xmalloc(size)));
    if (copy.get() == nullptr)
        return ENOMEM;
    memcpy(copy.get(), payload, size);
    if (copy.get()[size - 1] != 0)
        return EINVAL;
    x->value.s = {copy.release(), size};
    return 0;
}

// Takes as many bytes as the type has, whatever the entry's size says, and zeros for those that the buffer lacks.
void MessageReader::read_scalar(xdata *x, uint32_t payload) const {
    const TypeInfo &type = type_info(x->type);
    uint8_t bytes[sizeof(uint64_t)] = {};
    const uint32_t rest = size_ - payload;
    memcpy(bytes, bytes_ + payload, type.width < rest ? type.width : rest);
    if (type.big_endian)
        copy_big_endian(value_bytes(x), bytes, type.width);
    else
        memcpy(value_bytes(x), bytes, type.width);
}

struct Header {
    uint32_t control;
    uint32_t param_count;
};

// total_length is not looked at: only get_xmessage_size reads it.
bool read_header(const uint8_t *bytes, uint32_t size, Header &header) {
    if (size < kMessageHeaderSize || load_be<uint16_t>(bytes) != kMessageMagic)
        return false;
    header = {load_be<uint16_t>(bytes + kControlOffset), load_be<uint32_t>(bytes + kParamCountOffset)};
    return is_message_control(header.control) && header.param_count <= XMESSAGE_MAX_PARAMS;
}

void free_records(xdata *records, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        if (records[i].type == XDATA_STRING)
            _xfree(records[i].value.s.str);
    _xfree(records);
}

// Stores the records (nullptr for none) in *params. 0, or the errno value of the failure.
int read_records(MessageReader reader, uint32_t count, xdata **params) {
    auto *const records = count != 0 ? new_bytes<xdata>(count * sizeof(xdata)) : nullptr;
    for (uint32_t i = 0; i < count; ++i) {
        if (const int error = reader.read(&records[i])) {
            free_records(records, i);
            return error;
        }
    }
    *params = records;
    return 0;
}

} // namespace

int32_t xdeserialize_message(const void *buffer, uint32_t size, uint32_t *control, xdata **params) {
    const auto *const bytes = static_cast<const uint8_t *>(buffer);
    Header header;
    int error = EINVAL;
    if (bytes != nullptr && read_header(bytes, size, header))
        error = read_records(MessageReader(bytes, size), header.param_count, params);
    if (error != 0) {
        errno = error; // last, because releases may have set it
        return -1;
    }
    *control = header.control;
    return static_cast<int32_t>(header.param_count);
}

uint32_t get_xmessage_size(const void *buffer, uint32_t size) {
    if (buffer == nullptr || size < kMessageHeaderSize)
        return 0;
    const auto total = load_be<uint32_t>(static_cast<const uint8_t *>(buffer) + kTotalLengthOffset);
    return total >= kMessageHeaderSize ? total : 0;
}
