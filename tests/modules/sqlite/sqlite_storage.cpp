// SPDX-License-Identifier: MIT
#include "sqlite/sqlite_storage.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>

namespace varnel::test {

namespace {

std::string hexadecimal(const std::string &bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text.append({kDigits[byte / 16], kDigits[byte % 16]});
    }
    return text;
}

int add(void *context, const xkey *key, const xdata *value) {
    auto &content = *static_cast<Content *>(context);
    content[{std::string(text_of(key->group)), std::string(text_of(key->name))}] =
        value != nullptr ? every_bit_of(*value) : "group";
    return 0;
}

// FNV-1a, 64 bits.
std::int64_t checksum(const std::string &bytes) {
    std::uint64_t sum = 14695981039346656037U;
    for (const char c : bytes)
        sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211U;
    return static_cast<std::int64_t>(sum);
}

std::string key_bytes(const std::string &group, const std::string &name, std::int64_t type) {
    const std::string zero(1, '\0');
    return group + zero + name + zero + static_cast<char>(type);
}

std::string blob(const std::string &bytes) {
    return "CAST(x'" + hexadecimal(bytes) + "' AS TEXT)";
}

template <class Number> void set_number(const Store &store, const char *name, xdata_type type, Number number) {
    EXPECT_EQ(0, store.set("numbers", name, Value(xdata_new(type, &number)))) << name;
}

} // namespace

std::string every_bit_of(const xdata &value) {
    std::string bytes(reinterpret_cast<const char *>(&value.value), sizeof(std::uint64_t));
    if (value.type == XDATA_STRING)
        bytes.assign(value.value.s.str, value.value.s.len);
    return std::to_string(value.type) + " " + bytes;
}

std::optional<Content> content_of(const Store &store) {
    Content content;
    return store.list(nullptr, add, &content) == 0 ? std::optional(content) : std::nullopt;
}

int state_of(const Store &store) {
    Content content;
    return store.list(nullptr, add, &content);
}

testing::AssertionResult answers_always(const Store &store, int result) {
    xdata *value = nullptr;
    const Key key = key_of("g", "n");
    const std::vector<int> answers{store.set("g", "n", make_int32(1)), store.create_group("g"), store.unset("g", "n"),
                                   store.get(key.get(), &value),       state_of(store),         store.sync()};
    for (const int answer : answers) {
        if (answer != result)
            return testing::AssertionFailure() << "answers " << testing::PrintToString(answers);
    }
    return testing::AssertionSuccess();
}

Settings SqliteFolder::with(const Settings &more) const {
    Settings settings{{"folder", folder()}};
    for (const auto &[name, text] : more)
        settings[name] = text;
    return settings;
}

void SqliteFolder::run(const std::string &sql) const {
    sqlite3 *database = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open_v2(file().c_str(), &database, SQLITE_OPEN_READWRITE, nullptr));
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr))
        << sqlite3_errmsg(database) << ": " << sql;
    sqlite3_close(database);
}

void SqliteFolder::put_value(const std::string &group, const std::string &name, std::int64_t type,
                             const std::string &value, const std::string &checked_bytes) const {
    run("INSERT OR REPLACE INTO settings VALUES(" + blob(group) + ", " + blob(name) + ", " + std::to_string(type) +
        ", " + value + ", " + std::to_string(checksum(key_bytes(group, name, type) + checked_bytes)) + ")");
}

void SqliteFolder::put_group(const std::string &group) const {
    run("INSERT OR REPLACE INTO groups VALUES(" + blob(group) + ", " +
        std::to_string(checksum(key_bytes(group, "", 0))) + ")");
}

std::string bytes_of_number(std::int64_t number) {
    std::string bytes;
    for (int shift = 0; shift < 64; shift += 8)
        bytes += static_cast<char>(static_cast<std::uint64_t>(number) >> shift);
    return bytes;
}

void fill_with_everything(const Store &store) {
    set_number(store, "least int32", XDATA_INT32, std::numeric_limits<std::int32_t>::min());
    set_number(store, "greatest int32", XDATA_INT32, std::numeric_limits<std::int32_t>::max());
    set_number(store, "greatest uint32", XDATA_UINT32, std::numeric_limits<std::uint32_t>::max());
    set_number(store, "least int64", XDATA_INT64, std::numeric_limits<std::int64_t>::min());
    set_number(store, "greatest int64", XDATA_INT64, std::numeric_limits<std::int64_t>::max());
    set_number(store, "greatest uint64", XDATA_UINT64, std::numeric_limits<std::uint64_t>::max());
    set_number(store, "signalling NaN, float", XDATA_FLOAT, std::uint32_t{0xffa12345});
    set_number(store, "minus zero, float", XDATA_FLOAT, std::uint32_t{0x80000000});
    set_number(store, "least float", XDATA_FLOAT, std::uint32_t{1});
    set_number(store, "signalling NaN, double", XDATA_DOUBLE, std::uint64_t{0x7ff4123456789abc});
    set_number(store, "quiet NaN, double", XDATA_DOUBLE, std::uint64_t{0xfff8000000000001});
    set_number(store, "infinity, double", XDATA_DOUBLE, std::uint64_t{0x7ff0000000000000});
    set_number(store, "least double", XDATA_DOUBLE, std::uint64_t{1});
    for (const std::uint8_t byte : std::initializer_list<std::uint8_t>{0, 1, 2, 255})
        set_number(store, ("boolean " + std::to_string(byte)).c_str(), XDATA_BOOLEAN, byte);
    char bytes[] = {'a', '\0', '\377', '\n', '\0'};
    for (std::uint32_t length = 0; length <= sizeof bytes; ++length) {
        const xdata string = {XDATA_STRING, {.s = {bytes, length}}};
        EXPECT_EQ(0, store.set(key_of("strings", std::to_string(length).c_str()).get(), &string));
    }
    EXPECT_EQ(0, store.set("strings", "long", make_string(std::string(60'000, 'v'))));
    EXPECT_EQ(0, store.set("\303\244 group", std::string(255, 'n'), make_string("longest name")));
    EXPECT_EQ(0, store.create_group("empty"));
}

} // namespace varnel::test
