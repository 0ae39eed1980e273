// SPDX-License-Identifier: MIT
#include "daemon/backend_access.h"

#include <cerrno>
#include <stdexcept>

namespace varnel::daemon {

namespace {

// Keys are read only; the record has no const of its own.
xstring part(const std::string &text) {
    if (text.empty())
        return {nullptr, 0};
    return {const_cast<char *>(text.c_str()), static_cast<std::uint32_t>(text.size() + 1)};
}

template <class Function> Function entry_point(const backend &copy, const char *action) {
    const backend_function *const found = backend_get_function(&copy, action);
    if (found == nullptr || found->address == nullptr)
        throw std::runtime_error(std::string("backend ") + copy.name + " has no function for \"" + action + "\"");
    return reinterpret_cast<Function>(found->address);
}

// Whether a string can travel: not too long for the wire, and ended by a zero byte that is counted.
bool is_text(const xstring &string) {
    return string.len == 0 || (string.str != nullptr && string.len <= UINT16_MAX && string.str[string.len - 1] == '\0');
}

bool is_value(const xdata *value) {
    return value != nullptr && value->type >= XDATA_STRING && value->type <= XDATA_BOOLEAN &&
           (value->type != XDATA_STRING || is_text(value->value.s));
}

// 0 or a negative number: a module that answers something else does not keep to the contract.
int checked(int result) {
    return result <= 0 ? result : -EBADMSG;
}

struct Listing {
    const BackendAccess::Visit &visit;
    bool malformed = false;
    bool ended = false;
};

int visit_entry(void *context, const xkey *key, const xdata *value) {
    auto &listing = *static_cast<Listing *>(context);
    const std::string_view group = key != nullptr ? text_of(key->group) : std::string_view();
    const std::string_view name = key != nullptr ? text_of(key->name) : std::string_view();
    if (group.empty() || name.empty() != (value == nullptr) || (value != nullptr && !is_value(value))) {
        listing.malformed = true;
        return 1;
    }
    listing.ended = !listing.visit(group, name, value);
    return listing.ended ? 1 : 0;
}

} // namespace

KeyRef::KeyRef(const std::string &layer_name, const std::string &group, const std::string &name)
    : key_{part(layer_name), part(group), part(name)} {}

BackendAccess::BackendAccess(backend *copy)
    : copy_(copy), name_(copy->name), library_(confparser_getstring(copy->config, "library", copy->name)),
      priority_(confparser_getint(copy->config, "priority", 0)), read_only_(backend_check_readonly(copy) != 0),
      get_(entry_point<module_get_value_t>(*copy, "get")), set_(entry_point<module_set_value_t>(*copy, "set")),
      unset_(entry_point<module_unset_value_t>(*copy, "unset")), list_(entry_point<module_list_all_t>(*copy, "list")),
      sync_(entry_point<module_sync_t>(*copy, "sync")) {}

int BackendAccess::get(const KeyRef &key, Value &value) const {
    xdata *found = nullptr;
    const int result = get_(copy_, key.get(), &found);
    if (result != 0)
        return checked(result);
    Value owner(found);
    if (!is_value(owner.get()))
        return -EBADMSG;
    value = std::move(owner);
    return 0;
}

int BackendAccess::has_group(const KeyRef &group) const {
    xdata *found = nullptr;
    const int result = get_(copy_, group.get(), &found);
    if (result == 0)
        xdata_free(found); // nullptr, from a module that keeps to the contract
    return checked(result);
}

int BackendAccess::set(const KeyRef &key, const xdata &value) const {
    return checked(set_(copy_, key.get(), &value));
}

int BackendAccess::create_group(const KeyRef &group) const {
    return checked(set_(copy_, group.get(), nullptr));
}

int BackendAccess::unset(const KeyRef &key) const {
    return checked(unset_(copy_, key.get()));
}

int BackendAccess::list(const KeyRef *group, const Visit &visit) const {
    Listing listing{visit};
    const int result = list_(copy_, group != nullptr ? group->get() : nullptr, visit_entry, &listing);
    if (listing.malformed)
        return -EBADMSG;
    return listing.ended ? 0 : checked(result);
}

int BackendAccess::sync(int wanted) const {
    const int result = sync_(copy_, wanted);
    return result <= DURABILITY_FOLDER ? result : -EBADMSG;
}

} // namespace varnel::daemon
