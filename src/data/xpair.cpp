// SPDX-License-Identifier: MIT
#include <varnel/xkey.h>

#include "base/block.h"
#include "base/layout.h"
#include "base/log.h"

using namespace varnel;

VARNEL_OFFSET32(xpair, value, 4);
VARNEL_OFFSET32(xpair, user_data, 8);
VARNEL_SIZE32(xpair, 12);

xpair *xpair_new(xkey *key, xdata *value, void *user_data) {
    xpair *const pair = require(new_record<xpair>(), "xmalloc0 error: %m\n");
    *pair = {key, value, user_data};
    return pair;
}

void xpair_free(xpair *pair, xpair_release_t release) {
    if (pair == nullptr)
        return;
    xkey_free(pair->key);
    xdata_free(pair->value);
    if (release != nullptr && pair->user_data != nullptr)
        release(pair->user_data);
    _xfree(pair);
}

void xpair_basefree(xpair *pair) {
    xpair_free(pair, nullptr);
}

void xpair_out(const xpair *pair) {
    if (pair == nullptr) {
        log_debug("xpair is null.\n");
        return;
    }
    log_debug("xpair ------\n");
    xkey_out(pair->key);
    xdata_out(pair->value);
    log_debug("------------\n");
}
