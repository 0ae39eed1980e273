// SPDX-License-Identifier: MIT
#include <varnel/hashmap.h>

#include <string.h>

namespace {

// Keys may lie at odd addresses.
template <class T> T load(const void *key) {
    T value;
    memcpy(&value, key, sizeof value);
    return value;
}

template <class T> int compare_unsigned(T stored, T key) {
    return (stored > key) - (stored < key);
}

} // namespace

// Bytes count as signed: stored hashes of names beyond ASCII depend on it.
uint32_t string_hash_func(const void *key) {
    uint32_t hash = 5381;
    for (const char *c = static_cast<const char *>(key); *c != '\0'; ++c)
        hash = hash * 33 + static_cast<uint32_t>(static_cast<signed char>(*c));
    return hash;
}

int string_compare_func(const void *stored, const void *key) {
    return strcmp(static_cast<const char *>(stored), static_cast<const char *>(key));
}

uint32_t trivial_hash_func(const void *key) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(key));
}

int trivial_compare_func(const void *stored, const void *key) {
    return compare_unsigned(reinterpret_cast<uintptr_t>(stored), reinterpret_cast<uintptr_t>(key));
}

uint32_t uint64_hash_func(const void *key) {
    const auto value = load<uint64_t>(key);
    return static_cast<uint32_t>(value >> 32) ^ static_cast<uint32_t>(value);
}

int uint64_compare_func(const void *stored, const void *key) {
    return compare_unsigned(load<uint64_t>(stored), load<uint64_t>(key));
}

uint32_t uint32_hash_func(const void *key) {
    return load<uint32_t>(key);
}

int uint32_compare_func(const void *stored, const void *key) {
    return compare_unsigned(load<uint32_t>(stored), load<uint32_t>(key));
}
