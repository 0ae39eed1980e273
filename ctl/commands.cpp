// SPDX-License-Identifier: MIT
#include "ctl/commands.h"

namespace varnel::ctl {

const Command kCommands[kCommandCount] = {
    {"get", "Print a value", add_get,
     "  varnelctl get network:hostname\n"
     "  varnelctl get user:network:mtu --json"},
    {"set", "Store a value", add_set,
     "  varnelctl set network:hostname router-7\n"
     "  varnelctl set network:offset -5 --type int64 --durability folder\n"
     "  varnelctl set network:banner -- --welcome--     (a value that looks like an option)\n"
     "  varnelctl set network:key - < key.pem           (from standard input, less one line end)"},
    {"unset", "Remove values; a default may show again", add_unset, "  varnelctl unset network:hostname network:mtu"},
    {"list", "List keys with their types, values and backends", add_list,
     "  varnelctl list                   the default layer\n"
     "  varnelctl list user:network      one group\n"
     "  varnelctl list volatile --json"},
    {"keys", "List keys, one a line", add_keys,
     "  varnelctl keys user:network\n"
     "  varnelctl keys --layers"},
    {"watch", "Print a line for every change, until interrupted", add_watch,
     "  varnelctl watch user:network volatile\n"
     "  varnelctl watch --from 1200 --reconnect --json | while read -r line; do ...; done"},
    {"lock", "Hold a lock, for as long as a command runs", add_lock,
     "  varnelctl lock user:network --wait 5 -- /usr/sbin/reconfigure --all\n"
     "  varnelctl lock :network:mtu                     (until interrupted)"},
    {"explain", "Show which layer and backend has a value, and which one wins", add_explain,
     "  varnelctl explain network:hostname"},
    {"dump", "Write a layer, a group or a value as JSON", add_dump,
     "  varnelctl dump user > user.json\n"
     "  varnelctl dump user:network --all               (factory defaults, too)"},
    {"load", "Store what dump wrote, all of it or nothing", add_load,
     "  varnelctl load user.json\n"
     "  varnelctl load volatile user.json --replace     (the layer then holds nothing else)\n"
     "  varnelctl dump user | varnelctl load copy -"},
    {"status", "Show the layers and their backends", add_status,
     "  varnelctl status\n"
     "  varnelctl status --limits"},
    {"sync", "Bring all that is in memory to the storage", add_sync,
     "  varnelctl sync\n"
     "  varnelctl sync user"},
    {"mkgroup", "Make an empty group", add_mkgroup, "  varnelctl mkgroup user:network"},
    {"rmgroup", "Remove a group with its values", add_rmgroup, "  varnelctl rmgroup user:network"},
    {"check", "Check a configuration file of the daemon", add_check, "  varnelctl check /etc/varnel/varneld.conf"},
};

} // namespace varnel::ctl
