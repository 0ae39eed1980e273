// SPDX-License-Identifier: MIT
#include "conversation/requests.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace varnel::conversation {

using protocol::Message;

namespace {

Message &add_key(Message &message, const KeyParts &key) {
    return message.add(key.layer).add(key.group).add(key.name);
}

Message key_request(std::uint32_t code, const KeyParts &key) {
    Message message(code);
    add_key(message, key);
    return message;
}

Message group_request(std::uint32_t code, const KeyParts &group, std::uint32_t durability) {
    Message message(code);
    message.add(group.layer).add(group.group).add(durability);
    return message;
}

Message write_request(std::uint32_t code, const WriteOptions &options) {
    Message message(code);
    message.add(options.layer).add(options.durability).add(options.flags);
    return message;
}

using ReadPage = Page (*)(const protocol::Received &);

// Every page must lead further, or a daemon could keep its client here for ever.
void take_pages(Conversation &conversation, std::uint32_t code, const KeyParts &key, ReadPage read,
                const TakeRow &take) {
    std::string after_group;
    std::string after_name;
    for (bool more = true; more;) {
        Message message(code);
        message.add(key.layer).add(key.group).add(after_group).add(after_name);
        Page page = read(conversation.request(message, Repeat::harmless));
        more = page.more;
        if (more && page.rows.empty())
            throw Error(ErrorKind::malformed, "the daemon's list has no end");
        for (Row &row : page.rows) {
            if (std::tie(row.group, row.name) <= std::tie(after_group, after_name))
                throw Error(ErrorKind::malformed, "the daemon's list is not in order");
            after_group = row.group;
            after_name = row.name;
            take(page.layer, std::move(row));
        }
    }
}

Numbers ask_for_numbers(Conversation &conversation, const char *subject) {
    Message message(control_other);
    message.add(subject);
    return read_numbers(conversation.request(message, Repeat::harmless));
}

} // namespace

Found get(Conversation &conversation, const KeyParts &key) {
    return read_found(conversation.request(key_request(control_get, key), Repeat::harmless));
}

Written set(Conversation &conversation, const WriteOptions &options, const std::vector<Assignment> &rows) {
    Message message = write_request(control_set, options);
    for (const Assignment &row : rows) {
        message.add(row.group).add(row.name);
        message.add(row.value != nullptr ? copy_of(*row.value) : nullptr);
    }
    const bool more = (options.flags & protocol::kWriteMore) != 0;
    return read_written(conversation.request(message, more ? Repeat::never : Repeat::harmless));
}

Written unset(Conversation &conversation, const WriteOptions &options, const std::vector<Assignment> &rows) {
    Message message = write_request(control_unset, options);
    for (const Assignment &row : rows)
        message.add(row.group).add(row.name);
    return read_written(conversation.request(message, Repeat::never));
}

Written create_group(Conversation &conversation, const KeyParts &group, std::uint32_t durability) {
    const Message message = group_request(control_create_group, group, durability);
    return read_group_written(conversation.request(message, Repeat::never));
}

Written remove_group(Conversation &conversation, const KeyParts &group, std::uint32_t durability) {
    const Message message = group_request(control_remove_group, group, durability);
    return read_group_written(conversation.request(message, Repeat::never));
}

void list(Conversation &conversation, const KeyParts &key, const TakeRow &take) {
    take_pages(conversation, control_list, key, read_list, take);
}

void list_keys(Conversation &conversation, const KeyParts &key, const TakeRow &take) {
    take_pages(conversation, control_list_keys, key, read_keys, take);
}

StoreStatus store_status(Conversation &conversation) {
    return read_store_status(conversation.request(Message(control_status), Repeat::harmless));
}

KeyStatus key_status(Conversation &conversation, const KeyParts &key) {
    return read_key_status(conversation.request(key_request(control_status, key), Repeat::harmless));
}

Subscription notify(Conversation &conversation, const KeyParts &key, std::uint64_t from) {
    Message message = key_request(control_notify, key);
    message.add(from);
    return read_subscription(conversation.request(message, Repeat::harmless));
}

std::string unnotify(Conversation &conversation, const KeyParts &key) {
    return read_layer(conversation.request(key_request(control_unnotify, key), Repeat::never));
}

Changes changed(Conversation &conversation, const KeyParts &key, std::uint64_t from) {
    Message message = key_request(control_changed, key);
    message.add(from);
    Changes changes = read_changes(conversation.request(message, Repeat::harmless));
    if (changes.more && changes.rows.empty())
        throw Error(ErrorKind::malformed, "the daemon's list of changes has no end");
    return changes;
}

std::uint32_t sync_layer(Conversation &conversation, const std::string &layer) {
    Message message(control_sync);
    message.add(layer);
    return read_durability(conversation.request(message, Repeat::harmless));
}

std::uint32_t sync_all(Conversation &conversation) {
    return read_durability(conversation.request(Message(control_sync), Repeat::harmless));
}

std::string trylock(Conversation &conversation, const KeyParts &key) {
    return read_layer(conversation.request(key_request(control_trylock, key), Repeat::harmless));
}

std::string lock(Conversation &conversation, const KeyParts &key, Milliseconds wait) {
    constexpr Milliseconds::rep kMost = std::numeric_limits<std::uint32_t>::max();
    Message message = key_request(control_lock, key);
    message.add(static_cast<std::uint32_t>(std::clamp<Milliseconds::rep>(wait.count(), 0, kMost)));
    return read_layer(conversation.request(message, Repeat::never, wait));
}

std::string unlock(Conversation &conversation, const KeyParts &key) {
    return read_layer(conversation.request(key_request(control_unlock, key), Repeat::never));
}

Version version(Conversation &conversation) {
    Message message(control_other);
    message.add("version");
    return read_version(conversation.request(message, Repeat::harmless));
}

Numbers statistics(Conversation &conversation) {
    return ask_for_numbers(conversation, "statistics");
}

Numbers limits(Conversation &conversation) {
    return ask_for_numbers(conversation, "limits");
}

} // namespace varnel::conversation
