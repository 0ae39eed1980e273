// SPDX-License-Identifier: MIT
// Control messages against the least that any format could do: a copy of the message's bytes into a new block.
#include "comparison.h"

#include <varnel/memory.h>
#include <varnel/serialize.h>

#include <cstring>

namespace {

constexpr uint32_t kControl = control_set;

// A key, a long text and one value of every other type that ends in no refused entry.
xarray *new_params() {
    xarray *const params = xarray_new();
    const std::string text(200, 'x');
    const uint64_t number = 0x0102030405060708;
    xarray_add(params, xdata_char("user:net:port"));
    xarray_add(params, xdata_char(text.c_str()));
    for (xdata_type type = XDATA_INT32; type <= XDATA_DOUBLE; ++type)
        xarray_add(params, xdata_new(type, &number));
    return params;
}

class Message {
public:
    Message() : params(new_params()), length(xserialize_message(&bytes, kControl, params)) {}
    Message(const Message &) = delete;
    Message &operator=(const Message &) = delete;
    ~Message() {
        _xfree(bytes);
        xarray_free(&params, [](void *item) { xdata_free(static_cast<xdata *>(item)); });
    }

    uint8_t *bytes = nullptr;
    xarray *params;
    uint32_t length;
};

void write_message(benchmark::State &state) {
    const Message message;
    for ([[maybe_unused]] auto _ : state) {
        uint8_t *block = nullptr;
        const uint32_t length = xserialize_message(&block, kControl, message.params);
        require_same(length == message.length, "message writer");
        _xfree(block);
    }
}

void read_message(benchmark::State &state) {
    const Message message;
    for ([[maybe_unused]] auto _ : state) {
        uint32_t control = 0;
        xdata *records = nullptr;
        const int32_t count = xdeserialize_message(message.bytes, message.length, &control, &records);
        require_same(count == message.params->count && control == kControl, "message reader");
        for (int32_t i = 0; i < count; ++i)
            if (records[i].type == XDATA_STRING)
                _xfree(records[i].value.s.str);
        _xfree(records);
    }
}

void copy_message(benchmark::State &state) {
    const Message message;
    for ([[maybe_unused]] auto _ : state) {
        void *const block = xmalloc(message.length);
        memcpy(block, message.bytes, message.length);
        benchmark::DoNotOptimize(block);
        benchmark::ClobberMemory();
        _xfree(block);
    }
}

} // namespace

std::vector<Comparison> message_comparisons() {
    return {{"message of 8 parameters, writing", "writer", "memcpy to a new block", write_message, copy_message},
            {"message of 8 parameters, reading", "reader", "memcpy to a new block", read_message, copy_message}};
}
