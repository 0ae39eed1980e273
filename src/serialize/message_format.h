// SPDX-License-Identifier: MIT
// The control message (integers big-endian):
//
//   offset  size  field
//        0     2  magic
//        2     2  control       1 to 16
//        4     4  total_length  bytes of the whole message
//        8     4  param_count   0 to 4096
//       12     -  entries: type (2), size (2), payload (size bytes), back to back
//
// Never change a value: both ends of every conversation know them.
#pragma once

#include <varnel/serialize.h>

namespace varnel {

inline constexpr uint16_t kMessageMagic = 0x0672;
inline constexpr uint32_t kControlOffset = 2;
inline constexpr uint32_t kTotalLengthOffset = 4;
inline constexpr uint32_t kParamCountOffset = 8;
inline constexpr uint32_t kMessageHeaderSize = 12;
inline constexpr uint32_t kEntryHeaderSize = 4;

constexpr bool is_message_control(uint32_t control) {
    return control > control_min && control < control_max;
}

} // namespace varnel
