// SPDX-License-Identifier: MIT
// Control messages as the demo uses them. It is all made here of the library's calls, with nothing of the folders
// around the library, because it is to be read as an example of those calls.
//
// Request: layer, group, then what the code needs (an empty layer is the default layer):
//   create_group, remove_group   nothing
//   set                          name and value, once or more
//   get, unset                   name
//   list, list_keys              nothing; an empty group lists all groups
//   status, sync                 nothing; the group is not looked at
//   other                        nothing; asks the server to stop
// Answer, under the same code: result (int32_t: 0 or a negative errno value), the names of the layer and of the
// backends that answered (string each), then:
//   get                          the value
//   list                         key (layer:group:name) and value of every value
//   list_keys                    the key of every group and value
//   status                       name, module, priority (int32_t), values (uint32_t), read-only (boolean) of every
//                                backend, highest priority first
#pragma once

#include <varnel/serialize.h>
#include <varnel/xdata.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace demo {

using Bytes = std::vector<std::uint8_t>;

struct XdataDeleter {
    void operator()(xdata *value) const { xdata_free(value); }
};
using Value = std::unique_ptr<xdata, XdataDeleter>;

Value make_text(std::string_view text);
Value make_int32(std::int32_t number);
Value make_uint32(std::uint32_t number);
Value make_boolean(bool flag);

// Equal in type and in every bit, which xdata_cmp does not ask for.
bool identical(const xdata &a, const xdata &b);

// The value in words; describe adds its type, and shortens long texts.
std::string in_words(const xdata &value);
std::string describe(const xdata &value);

// A message being made.
class Message {
public:
    explicit Message(std::uint32_t code);
    Message &add(Value value);
    Message &add(std::string_view text) { return add(make_text(text)); }
    [[nodiscard]] std::uint32_t code() const { return code_; }
    [[nodiscard]] Bytes encode() const;

private:
    struct ParamsDeleter {
        void operator()(xarray *params) const;
    };
    std::uint32_t code_;
    std::unique_ptr<xarray, ParamsDeleter> params_;
};

// A message that has arrived. Asking for a parameter that is not there, or has another type, is a Failure.
class Received {
public:
    // bytes must not have spare bytes of their own.
    explicit Received(Bytes bytes);

    [[nodiscard]] std::uint32_t code() const { return code_; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] const xdata &at(std::size_t index) const;
    [[nodiscard]] std::string text(std::size_t index) const;
    [[nodiscard]] std::int32_t number(std::size_t index) const;

private:
    struct RecordsDeleter {
        std::size_t size;
        void operator()(xdata *records) const;
    };
    [[nodiscard]] const xdata &expect(std::size_t index, xdata_type type) const;

    std::uint32_t code_ = 0;
    std::size_t size_ = 0;
    std::unique_ptr<xdata, RecordsDeleter> records_{nullptr, RecordsDeleter{0}};
};

} // namespace demo
