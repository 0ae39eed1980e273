// SPDX-License-Identifier: MIT
#include <varnel/serialize.h>

#include <stddef.h>

// Here and in the other tables, the texts themselves stand in the rows: pointers to them would each need a relocation
// when the library is loaded.
static constexpr char kControlNames[][sizeof "control_create_group"] = {
    "control_min",    "control_create_group", "control_remove_group", "control_set",     "control_get",
    "control_unset",  "control_notify",       "control_unnotify",     "control_list",    "control_list_keys",
    "control_status", "control_changed",      "control_sync",         "control_trylock", "control_lock",
    "control_unlock", "control_other",        "control_max",
};
static_assert(sizeof kControlNames / sizeof kControlNames[0] == control_max + 1);

const char *control_string(uint32_t code) {
    return code <= control_max ? kControlNames[code] : "[unknown]";
}
