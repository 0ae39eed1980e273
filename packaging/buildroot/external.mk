# SPDX-License-Identifier: MIT
include $(sort $(wildcard $(BR2_EXTERNAL_VARNEL_PATH)/package/*/*.mk))
