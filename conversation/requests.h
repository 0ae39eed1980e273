// SPDX-License-Identifier: MIT
// One function for each request: it makes the parameters, asks, and reads the answer. A status other than ok is Error
// of kind refused. Layers may be empty: the default layer.
//
// Over UDP these are sent again when no answer comes, as they may be done twice: get, list, list_keys, status, changed,
// sync, other, trylock, notify, and set without the flag "more" (the same values are stored once more). Not repeated:
// unset, create_group and remove_group, whose second answer would be another; lock, which waits; unlock and unnotify.
#pragma once

#include "common/key_text.h"
#include "conversation/answers.h"
#include "conversation/conversation.h"

#include <functional>
#include <string>
#include <vector>

namespace varnel::conversation {

// A row of set, whose value the caller keeps, or (value nullptr) of unset.
struct Assignment {
    std::string group;
    std::string name;
    const xdata *value = nullptr;
};

struct WriteOptions {
    std::string layer;
    std::uint32_t durability = 0;
    std::uint32_t flags = 0; // protocol::WriteFlag
};

Found get(Conversation &conversation, const KeyParts &key);

// At most 4096 parameters, three of them the options: std::length_error. A nullptr value is std::invalid_argument.
Written set(Conversation &conversation, const WriteOptions &options, const std::vector<Assignment> &rows);
Written unset(Conversation &conversation, const WriteOptions &options, const std::vector<Assignment> &rows);

Written create_group(Conversation &conversation, const KeyParts &group, std::uint32_t durability);
Written remove_group(Conversation &conversation, const KeyParts &group, std::uint32_t durability);

// Called with the layer's name and each row, in order, of as many answers as it takes. A group of key lists that group
// alone; its name is not looked at.
using TakeRow = std::function<void(const std::string &layer, Row &&row)>;
void list(Conversation &conversation, const KeyParts &key, const TakeRow &take);
void list_keys(Conversation &conversation, const KeyParts &key, const TakeRow &take);

StoreStatus store_status(Conversation &conversation);
KeyStatus key_status(Conversation &conversation, const KeyParts &key);

Subscription notify(Conversation &conversation, const KeyParts &key, std::uint64_t from);
std::string unnotify(Conversation &conversation, const KeyParts &key);

// What happened after a revision: one answer of as many as it takes.
Changes changed(Conversation &conversation, const KeyParts &key, std::uint64_t from);

std::uint32_t sync_layer(Conversation &conversation, const std::string &layer);
std::uint32_t sync_all(Conversation &conversation);

// Each answers the layer's name. lock waits for at most that long, to which the conversation's time is added.
std::string trylock(Conversation &conversation, const KeyParts &key);
std::string lock(Conversation &conversation, const KeyParts &key, Milliseconds wait);
std::string unlock(Conversation &conversation, const KeyParts &key);

Version version(Conversation &conversation);
Numbers statistics(Conversation &conversation);
Numbers limits(Conversation &conversation);

} // namespace varnel::conversation
