// SPDX-License-Identifier: MIT
#include <varnel/collections.h>

#include "base/block.h"
#include "base/layout.h"

using namespace varnel;

VARNEL_OFFSET32(xlist, next, 4);
VARNEL_OFFSET32(xlist, tail, 8);
VARNEL_OFFSET32(xlist, count, kAlign64 == 4 ? 12 : 16);
VARNEL_SIZE32(xlist, kAlign64 == 4 ? 20 : 24);

static xlist *new_node(void *item) {
    auto *const node = new_record<xlist>();
    node->data = item;
    node->tail = node;
    node->count = 1;
    return node;
}

int xlist_append(xlist **list, void *item) {
    if (list == nullptr)
        return 0;
    xlist *const node = new_node(item);
    xlist_merge(list, node);
    if (*list != node) { // only the head describes a list
        node->tail = nullptr;
        node->count = 0;
    }
    return 1;
}

int xlist_prepend(xlist **list, void *item) {
    if (list == nullptr)
        return 0;
    xlist *const node = new_node(item);
    if (xlist *const head = *list) {
        node->count = head->count + 1;
        node->tail = head->tail;
        node->next = head;
        head->count = 0;
        head->tail = nullptr;
    }
    *list = node;
    return 1;
}

// Takes node out of the list after previous (NULL: node is the head); returns the new head.
static xlist *unlink_node(xlist *head, xlist *previous, xlist *node) {
    if (previous != nullptr) {
        previous->next = node->next;
        --head->count;
    } else if (node->next != nullptr) {
        node->next->count = node->count - 1;
        node->next->tail = node->tail;
    }
    xlist *const new_head = previous != nullptr ? head : node->next;
    if (new_head != nullptr && new_head->tail == node)
        new_head->tail = previous;
    return new_head;
}

int xlist_remove(xlist **list, const void *item, unsigned char free_data) {
    if (list == nullptr)
        return 0;
    xlist *previous = nullptr;
    xlist *node = *list;
    for (; node != nullptr && node->data != item; node = node->next)
        previous = node;
    if (node == nullptr)
        return 0;
    *list = unlink_node(*list, previous, node);
    if (free_data != 0)
        _xfree(node->data);
    _xfree(node);
    return 1;
}

static void free_nodes(xlist **list, bool free_items) {
    if (list == nullptr)
        return;
    for (xlist *node = *list; node != nullptr;) {
        xlist *const next = node->next;
        if (free_items)
            _xfree(node->data);
        _xfree(node);
        node = next;
    }
    *list = nullptr;
}

void xlist_free(xlist **list) {
    free_nodes(list, false);
}

void xlist_free_all(xlist **list) {
    free_nodes(list, true);
}

void xlist_merge(xlist **destination, xlist *source) {
    if (destination == nullptr || source == nullptr)
        return;
    xlist *const head = *destination;
    if (head == nullptr) {
        *destination = source;
        return;
    }
    head->tail->next = source;
    head->tail = source->tail;
    head->count += source->count;
}
