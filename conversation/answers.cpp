// SPDX-License-Identifier: MIT
#include "conversation/answers.h"

#include "conversation/error.h"

namespace varnel::conversation {

using protocol::Malformed;
using protocol::Received;

namespace {

// Takes parameters one after the other.
class Reader {
public:
    Reader(const Received &message, std::size_t first) : message_(message), next_(first) {}

    std::string text() { return std::string(message_.text(next_++)); }
    std::uint32_t uint32() { return message_.uint32(next_++); }
    std::int32_t int32() { return message_.int32(next_++); }
    std::uint64_t uint64() { return message_.uint64(next_++); }
    bool flag() { return uint32() != 0; }
    Value value() { return copy_of(message_.at(next_++)); }
    [[nodiscard]] bool at_end() const { return next_ >= message_.size(); }

private:
    const Received &message_;
    std::size_t next_;
};

// Behind the status.
constexpr std::size_t kFirst = 1;

// Reads a message with read, which has to take all of it.
template <class Read> auto read_all(const Received &message, std::size_t first, Read read) {
    try {
        Reader reader(message, first);
        auto result = read(reader);
        if (!reader.at_end())
            throw Malformed("parameters that the protocol does not have");
        return result;
    } catch (const Malformed &reason) {
        throw Error(ErrorKind::malformed, std::string("the daemon's message makes no sense: ") + reason.what());
    }
}

template <class Row, class Read> std::vector<Row> read_rows(Reader &reader, Read read) {
    std::vector<Row> rows;
    while (!reader.at_end())
        rows.push_back(read(reader));
    return rows;
}

// Braces evaluate from left to right, which is the order of the parameters.
Change read_change(Reader &r) {
    return {r.uint64(), r.uint32(), r.text(), r.text(), r.text(), r.value(), r.value()};
}

template <class ReadRow> Page read_page(const Received &answer, ReadRow read_row) {
    return read_all(answer, kFirst, [&](Reader &r) { return Page{r.text(), r.flag(), read_rows<Row>(r, read_row)}; });
}

} // namespace

Found read_found(const Received &answer) {
    return read_all(answer, kFirst, [](Reader &r) { return Found{r.value(), r.text(), r.text()}; });
}

Written read_written(const Received &answer) {
    return read_all(answer, kFirst, [](Reader &r) {
        return Written{r.text(), r.text(), r.uint32(), r.uint64(), r.uint32()};
    });
}

Written read_group_written(const Received &answer) {
    return read_all(answer, kFirst, [](Reader &r) {
        return Written{r.text(), r.text(), r.uint32(), r.uint64(), std::nullopt};
    });
}

Page read_list(const Received &answer) {
    return read_page(answer, [](Reader &r) { return Row{r.text(), r.text(), r.value(), r.text()}; });
}

Page read_keys(const Received &answer) {
    return read_page(answer, [](Reader &r) { return Row{r.text(), r.text(), nullptr, ""}; });
}

StoreStatus read_store_status(const Received &answer) {
    const auto read_row = [](Reader &r) {
        return BackendStatus{r.text(), r.text(), r.text(), r.int32(), r.uint32(), r.uint32(), r.text()};
    };
    return read_all(answer, kFirst, [&](Reader &r) {
        return StoreStatus{r.uint64(), r.text(), read_rows<BackendStatus>(r, read_row)};
    });
}

KeyStatus read_key_status(const Received &answer) {
    const auto read_row = [](Reader &r) { return KeyBackend{r.text(), r.text(), r.uint32(), r.value()}; };
    return read_all(answer, kFirst, [&](Reader &r) {
        return KeyStatus{r.text(), r.text(), read_rows<KeyBackend>(r, read_row)};
    });
}

Subscription read_subscription(const Received &answer) {
    return read_all(answer, kFirst, [](Reader &r) { return Subscription{r.text(), r.uint64(), r.flag()}; });
}

Changes read_changes(const Received &answer) {
    return read_all(answer, kFirst, [](Reader &r) {
        return Changes{r.text(), r.uint64(), r.flag(), r.flag(), read_rows<Change>(r, read_change)};
    });
}

Change read_event(const Received &event) {
    return read_all(event, 0, read_change);
}

std::string read_layer(const Received &answer) {
    return read_all(answer, kFirst, [](Reader &r) { return r.text(); });
}

std::uint32_t read_durability(const Received &answer) {
    return read_all(answer, kFirst, [](Reader &r) { return r.uint32(); });
}

Version read_version(const Received &answer) {
    return read_all(answer, kFirst, [](Reader &r) { return Version{r.text(), r.uint32()}; });
}

Numbers read_numbers(const Received &answer) {
    return read_all(answer, kFirst, [](Reader &reader) {
        return read_rows<Numbers::value_type>(reader, [](Reader &r) {
            return Numbers::value_type{r.text(), r.uint64()};
        });
    });
}

} // namespace varnel::conversation
