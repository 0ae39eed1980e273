// SPDX-License-Identifier: MIT
// What a module of this folder provides. entry_points.cpp, which is linked into each of them, has the entry points of
// module.h: it checks the arguments, keeps the store behind its backend copy and lets no exception out.
#pragma once

#include "modules/common/value_store.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace varnel::modules {

// The store of one backend copy: all values are in memory, where they are read; the module decides what a change is.
// Any thread may call any function at any time. Results are those of module.h.
class Store {
public:
    explicit Store(std::string_view layer_name) : values_(layer_name) {}
    Store(const Store &) = delete;
    Store &operator=(const Store &) = delete;
    virtual ~Store() = default;

    [[nodiscard]] const ValueStore &values() const { return values_; }

    // The names are not empty, and the value is not nullptr.
    virtual int create_group(std::string_view group) = 0;
    virtual int set(std::string_view group, std::string_view name, SharedValue value) = 0;
    virtual int remove_group(std::string_view group) = 0;
    virtual int remove(std::string_view group, std::string_view name) = 0;
    virtual int sync(int wanted) = 0;

protected:
    ValueStore &values() { return values_; }

private:
    ValueStore values_;
};

// A failure with the negative errno value to answer. Thrown by open_store, it is logged, and its value is what all
// later calls answer.
class StoreError : public std::runtime_error {
public:
    StoreError(int result, const std::string &reason) : std::runtime_error(reason), result_(result) {}
    [[nodiscard]] int result() const { return result_; }

private:
    int result_;
};

// What a store is opened for.
struct StoreSettings {
    const xdictionary *config; // may be nullptr
    std::string layer;
    std::string backend;

    // The text of a setting; fallback when there is none.
    [[nodiscard]] std::string text(const char *name, const char *fallback = "") const {
        return confparser_getstring(config, name, fallback);
    }
};

// Defined by each module. Throws StoreError.
std::unique_ptr<Store> open_store(const StoreSettings &settings);

} // namespace varnel::modules
