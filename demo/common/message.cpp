// SPDX-License-Identifier: MIT
#include "common/message.h"

#include "common/failure.h"

#include <varnel/memory.h>

#include <cstdlib>
#include <cstring>

namespace demo {

namespace {

// Room behind a message that the reader asks for when it ends in a boolean or in a short string.
constexpr std::size_t kSpareBytes = 2;

constexpr std::size_t kLongestText = 24;

} // namespace

Value make_text(std::string_view text) {
    return Value(xdata_char(std::string(text).c_str()));
}
Value make_int32(std::int32_t number) {
    return Value(xdata_new(XDATA_INT32, &number));
}
Value make_uint32(std::uint32_t number) {
    return Value(xdata_new(XDATA_UINT32, &number));
}

Value make_boolean(bool flag) {
    const std::uint8_t byte = flag ? 1 : 0;
    return Value(xdata_new(XDATA_BOOLEAN, &byte));
}

bool identical(const xdata &a, const xdata &b) {
    if (a.type != b.type)
        return false;
    switch (a.type) {
    case XDATA_STRING:
        return a.value.s.len == b.value.s.len && std::memcmp(a.value.s.str, b.value.s.str, a.value.s.len) == 0;
    case XDATA_INT32:
    case XDATA_UINT32:
    case XDATA_FLOAT:
        return std::memcmp(&a.value, &b.value, sizeof(std::uint32_t)) == 0;
    case XDATA_BOOLEAN:
        return a.value.b == b.value.b;
    default:
        return std::memcmp(&a.value, &b.value, sizeof(std::uint64_t)) == 0;
    }
}

std::string in_words(const xdata &value) {
    const std::unique_ptr<char, void (*)(void *)> text(xdata_value_as_char(&value), _xfree);
    return text != nullptr ? text.get() : "?";
}

std::string describe(const xdata &value) {
    std::string words = in_words(value);
    if (words.size() > kLongestText)
        words.replace(kLongestText - 3, std::string::npos, "...");
    if (value.type == XDATA_STRING)
        words = "\"" + words + "\"";
    return std::string(xdata_type_as_char(value.type)) + " " + words;
}

void Message::ParamsDeleter::operator()(xarray *params) const {
    xarray_free(&params, [](void *value) { xdata_free(static_cast<xdata *>(value)); });
}

Message::Message(std::uint32_t code) : code_(code), params_(xarray_new()) {}

Message &Message::add(Value value) {
    if (value == nullptr || xarray_add(params_.get(), value.get()) != 1)
        throw Failure("cannot add a parameter to a message");
    static_cast<void>(value.release()); // the array's now
    return *this;
}

Bytes Message::encode() const {
    std::uint8_t *buffer = nullptr;
    const std::uint32_t length = xserialize_message(&buffer, code_, params_.get());
    if (length == 0)
        throw system_failure("cannot write a control message");
    const std::unique_ptr<std::uint8_t, void (*)(void *)> owner(buffer, _xfree);
    return {buffer, buffer + length};
}

void Received::RecordsDeleter::operator()(xdata *records) const {
    for (std::size_t i = 0; i < size; ++i) {
        if (records[i].type == XDATA_STRING)
            _xfree(records[i].value.s.str);
    }
    _xfree(records);
}

Received::Received(Bytes bytes) {
    if (get_xmessage_size(bytes.data(), static_cast<std::uint32_t>(bytes.size())) != bytes.size())
        throw Failure("a message of " + std::to_string(bytes.size()) + " bytes announces another length");
    bytes.resize(bytes.size() + kSpareBytes);
    xdata *records = nullptr;
    const std::int32_t count =
        xdeserialize_message(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &code_, &records);
    if (count < 0)
        throw system_failure("cannot read a control message");
    size_ = static_cast<std::size_t>(count);
    records_ = {records, RecordsDeleter{size_}};
}

const xdata &Received::at(std::size_t index) const {
    if (index >= size_)
        throw Failure(std::string(control_string(code_)) + ": parameter " + std::to_string(index) + " is missing");
    return records_.get()[index];
}

const xdata &Received::expect(std::size_t index, xdata_type type) const {
    const xdata &value = at(index);
    if (value.type != type)
        throw Failure(std::string(control_string(code_)) + ": parameter " + std::to_string(index) + " is no " +
                      xdata_type_as_char(type));
    return value;
}

std::string Received::text(std::size_t index) const {
    const xdata &value = expect(index, XDATA_STRING);
    return value.value.s.str != nullptr ? value.value.s.str : "";
}

std::int32_t Received::number(std::size_t index) const {
    return expect(index, XDATA_INT32).value.i32;
}

} // namespace demo
