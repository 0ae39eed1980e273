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

    // Decodes the next entry into a zeroed record. False when it is malformed; nothing is kept then.
    bool read(xdata *x);

private:
    static bool read_string(xdata *x, const uint8_t *payload, uint32_t size);
    void read_scalar(xdata *x, uint32_t payload) const;

    const uint8_t *bytes_;
    uint32_t size_;
    uint32_t position_ = kMessageHeaderSize;
};

bool MessageReader::read(xdata *x) {
    if (size_ - position_ < kSmallestRest)
        return false;
    const uint32_t type = load_be<uint16_t>(bytes_ + position_);
    const uint32_t size = load_be<uint16_t>(bytes_ + position_ + 2);
    if (!is_type(type) || (size == 0 && type != XDATA_STRING))
        return false;
    const uint32_t payload = position_ + kEntryHeaderSize;
    if (size > size_ - payload)
        return false;
    x->type = type;
    if (type != XDATA_STRING)
        read_scalar(x, payload);
    else if (!read_string(x, bytes_ + payload, size))
        return false;
    position_ = payload + size;
    return true;
}

// A string ends with a counted zero byte, unless it has no bytes at all.
bool MessageReader::read_string(xdata *x, const uint8_t *payload, uint32_t size) {
    if (size != 0 && payload[size - 1] != 0)
        return false;
    if (size != 0)
        x->value.s = {copy_bytes(payload, size), size};
    return true;
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

// The records, or nullptr when an entry is malformed.
xdata *read_records(MessageReader reader, uint32_t count) {
    auto *const records = new_bytes<xdata>(count * sizeof(xdata));
    for (uint32_t i = 0; i < count; ++i) {
        if (!reader.read(&records[i])) {
            free_records(records, i);
            return nullptr;
        }
    }
    return records;
}

} // namespace

int32_t xdeserialize_message(const void *buffer, uint32_t size, uint32_t *control, xdata **params) {
    const auto *const bytes = static_cast<const uint8_t *>(buffer);
    Header header;
    xdata *records = nullptr;
    bool ok = bytes != nullptr && read_header(bytes, size, header);
    if (ok && header.param_count != 0) {
        records = read_records(MessageReader(bytes, size), header.param_count);
        ok = records != nullptr;
    }
    if (!ok) {
        errno = EINVAL; // last, because releases may have set it
        return -1;
    }
    *control = header.control;
    *params = records;
    return static_cast<int32_t>(header.param_count);
}

uint32_t get_xmessage_size(const void *buffer, uint32_t size) {
    if (buffer == nullptr || size < kMessageHeaderSize)
        return 0;
    const auto total = load_be<uint32_t>(static_cast<const uint8_t *>(buffer) + kTotalLengthOffset);
    return total >= kMessageHeaderSize ? total : 0;
}
