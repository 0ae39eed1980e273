// SPDX-License-Identifier: MIT
#include "protocol/message.h"

#include <varnel/memory.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <memory_resource>
#include <new>
#include <utility>

namespace varnel::protocol {

namespace {

constexpr std::size_t kHeaderSize = 12;
constexpr std::size_t kEntryHeaderSize = 4;

// The library writes others, too, in a form that no reader takes.
void check_string(const xstring &string) {
    if (string.len > UINT16_MAX)
        throw std::length_error("a string of " + std::to_string(string.len) + " bytes");
    if (string.len != 0 && (string.str == nullptr || string.str[string.len - 1] != '\0'))
        throw std::invalid_argument("a string without its zero byte");
}

// Room behind a message that the reader asks for when it ends in a boolean or in a short string.
constexpr std::size_t kSpareBytes = 2;

std::string parameter_words(std::uint32_t code, std::size_t index) {
    return std::string(control_string(code)) + ": parameter " + std::to_string(index);
}

// The library's reader takes as many bytes as a type has, whatever the size of the parameter says, and nothing of those
// between the last parameter and the end: read so, one parameter's value would be made of the next one's bytes.
bool is_exact(const Bytes &bytes, std::size_t length, const xdata *records, std::size_t count) {
    std::size_t position = kHeaderSize;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t size = encoded_size(records[i]);
        if (kEntryHeaderSize + (std::size_t{bytes[position + 2]} << 8) + bytes[position + 3] != size)
            return false;
        position += size;
    }
    return position == length;
}

} // namespace

// The records are shallow: their strings lie in memory, or belong to the values that were given.
struct Message::Parameters {
    static constexpr std::size_t kSpace = 512;
    static constexpr std::size_t kUsual = 8;

    Parameters() { records.reserve(kUsual); }

    std::array<std::byte, kSpace> space;
    std::pmr::monotonic_buffer_resource memory{space.data(), space.size()};
    std::pmr::vector<xdata> records{&memory};
    std::pmr::vector<Value> values{&memory};
};

void Message::ParametersDeleter::operator()(Parameters *parameters) const {
    delete parameters;
}

Message::Message(std::uint32_t code) : code_(code), bytes_(kHeaderSize), parameters_(new Parameters) {}

std::size_t Message::size() const {
    return parameters_->records.size();
}

std::size_t encoded_size(const xdata &value) {
    switch (value.type) {
    case XDATA_STRING:
        return kEntryHeaderSize + value.value.s.len;
    case XDATA_INT64:
    case XDATA_UINT64:
    case XDATA_DOUBLE:
        return kEntryHeaderSize + 8;
    case XDATA_BOOLEAN:
        return kEntryHeaderSize + 1;
    default:
        return kEntryHeaderSize + 4;
    }
}

void Message::add_record(const xdata &record) {
    if (record.type == XDATA_STRING)
        check_string(record.value.s);
    if (size() == XMESSAGE_MAX_PARAMS)
        throw std::length_error("a message of more than 4096 parameters");
    parameters_->records.push_back(record);
    bytes_ += encoded_size(record);
}

Message &Message::add(Value value) {
    if (value == nullptr)
        throw std::invalid_argument("a parameter without a value");
    add_record(*value);
    parameters_->values.push_back(std::move(value));
    return *this;
}

Message &Message::add(std::string_view text) {
    text = text.substr(0, text.find('\0'));
    auto *const copy = static_cast<char *>(parameters_->memory.allocate(text.size() + 1, 1));
    text.copy(copy, text.size());
    copy[text.size()] = '\0';
    xdata record{};
    record.type = XDATA_STRING;
    record.value.s = {copy, static_cast<std::uint32_t>(text.size() + 1)};
    add_record(record);
    return *this;
}

Message &Message::add(std::uint32_t number) {
    xdata record{};
    record.type = XDATA_UINT32;
    record.value.u32 = number;
    add_record(record);
    return *this;
}

Message &Message::add(std::uint64_t number) {
    xdata record{};
    record.type = XDATA_UINT64;
    record.value.u64 = number;
    add_record(record);
    return *this;
}

void Message::encode(Bytes &bytes) const {
    std::pmr::vector<void *> items(&parameters_->memory);
    items.resize(size());
    std::transform(parameters_->records.begin(), parameters_->records.end(), items.begin(),
                   [](xdata &record) { return &record; });
    const xarray array{items.data(), static_cast<std::uint16_t>(items.size())};
    std::uint8_t *buffer = nullptr;
    const std::uint32_t length = xserialize_message(&buffer, code_, &array);
    const Block<std::uint8_t> owner(buffer);
    if (length == 0 && errno == ENOMEM)
        throw std::bad_alloc();
    if (length == 0)
        throw std::invalid_argument("a message that cannot be written");
    bytes.assign(buffer, buffer + length);
}

Bytes Message::encode() const {
    Bytes encoded;
    encode(encoded);
    return encoded;
}

void Received::RecordsDeleter::operator()(xdata *records) const {
    for (std::size_t i = 0; i < size; ++i) {
        if (records[i].type == XDATA_STRING)
            _xfree(records[i].value.s.str);
    }
    _xfree(records);
}

Received::Received(Bytes &bytes) {
    const auto length = static_cast<std::uint32_t>(bytes.size());
    if (get_xmessage_size(bytes.data(), length) != length)
        throw Malformed("a message of " + std::to_string(length) + " bytes announces another length");
    bytes.resize(bytes.size() + kSpareBytes);
    xdata *records = nullptr;
    const std::int32_t count =
        xdeserialize_message(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &code_, &records);
    if (count < 0 && errno == ENOMEM)
        throw std::bad_alloc();
    if (count < 0)
        throw Malformed("bytes that are no control message");
    size_ = static_cast<std::size_t>(count);
    records_ = {records, RecordsDeleter{size_}};
    if (!is_exact(bytes, length, records, size_))
        throw Malformed(std::string(control_string(code_)) + ": parameters that have not the sizes of their types");
}

const xdata &Received::at(std::size_t index) const {
    if (index >= size_)
        throw Malformed(parameter_words(code_, index) + " is missing");
    return records_.get()[index];
}

const xdata &Received::expect(std::size_t index, xdata_type type) const {
    const xdata &value = at(index);
    if (value.type != type)
        throw Malformed(parameter_words(code_, index) + " is no " + xdata_type_as_char(type));
    return value;
}

std::string_view Received::text(std::size_t index) const {
    return text_of(expect(index, XDATA_STRING).value.s);
}

std::uint32_t Received::uint32(std::size_t index) const {
    return expect(index, XDATA_UINT32).value.u32;
}

std::int32_t Received::int32(std::size_t index) const {
    return expect(index, XDATA_INT32).value.i32;
}

std::uint64_t Received::uint64(std::size_t index) const {
    return expect(index, XDATA_UINT64).value.u64;
}

} // namespace varnel::protocol
