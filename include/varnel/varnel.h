/* SPDX-License-Identifier: MIT */
/* All of the library's public headers. */
#ifndef VARNEL_VARNEL_H
#define VARNEL_VARNEL_H

#include "collections.h"
#include "config.h"
#include "hashmap.h"
#include "memory.h"
#include "serialize.h"
#include "storage.h"
#include "transport.h"
#include "xdata.h"
#include "xkey.h"

#endif
