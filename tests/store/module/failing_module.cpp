// SPDX-License-Identifier: MIT
// A storage module that holds nothing and cannot store anything: syncing fails as the setting "failure" says, which is
// "full", "short of memory" or "broken".
#include <module.h>

#include <cerrno>
#include <cstring>

namespace {

// In b->user_data[0]: whether there is something that has not been stored.
bool is_changed(const backend *b) {
    return b->user_data[0] != nullptr;
}

void note_change(backend *b, bool changed) {
    b->user_data[0] = changed ? b : nullptr;
}

} // namespace

int module_init(backend *b, layer *) {
    note_change(b, false);
    return 0;
}

int module_destroy(backend *b, layer *) {
    note_change(b, false);
    return 0;
}

int module_set_value(backend *b, const xkey *, const xdata *) {
    note_change(b, true);
    return 0;
}

// Taking back what could not be stored leaves nothing to be stored.
int module_unset_value(backend *b, const xkey *) {
    note_change(b, false);
    return 0;
}

int module_get_value(backend *, const xkey *, xdata **) {
    return -ENOENT;
}

int module_list_all(backend *, const xkey *, module_visit_t, void *) {
    return 0;
}

int module_sync(backend *b, int) {
    if (!is_changed(b))
        return DURABILITY_FOLDER;
    const char *const failure = confparser_getstring(b->config, "failure", "broken");
    if (std::strcmp(failure, "short of memory") == 0)
        return -ENOMEM;
    return std::strcmp(failure, "full") == 0 ? -ENOSPC : -EIO;
}
