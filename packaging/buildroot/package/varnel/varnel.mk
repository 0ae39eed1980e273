# SPDX-License-Identifier: MIT
################################################################################
#
# varnel
#
################################################################################

# The sources are the tree that this recipe comes with.
VARNEL_VERSION = 0.1.0
VARNEL_SITE = $(BR2_EXTERNAL_VARNEL_PATH)/../..
VARNEL_SITE_METHOD = local
VARNEL_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude='/build*'
VARNEL_LICENSE = MIT
VARNEL_LICENSE_FILES = LICENSE
VARNEL_INSTALL_STAGING = YES
VARNEL_SUPPORTS_IN_SOURCE_BUILD = NO

VARNEL_CONF_OPTS = \
	-DCMAKE_BUILD_TYPE=MinSizeRel \
	-DBUILD_TESTING=OFF \
	-DVARNEL_DEMO=OFF \
	-DVARNEL_WERROR=OFF

ifeq ($(BR2_PACKAGE_VARNEL_STORE),y)
VARNEL_DEPENDENCIES = cli11 host-pkgconf json-for-modern-cpp libuv sqlite
VARNEL_CONF_OPTS += -DVARNEL_LIBRARY_ONLY=OFF -DVARNEL_STORE=ON
# Headers are compiled into the programs.
VARNEL_LICENSE += , MIT (nlohmann-json), BSD-3-Clause (CLI11)
VARNEL_LICENSE_FILES += NOTICES
else
VARNEL_CONF_OPTS += -DVARNEL_LIBRARY_ONLY=ON
endif

VARNEL_TAVI_UTIL = $(call qstrip,$(BR2_PACKAGE_VARNEL_TAVI_UTIL))
ifneq ($(VARNEL_TAVI_UTIL),)
VARNEL_CONF_OPTS += -DVARNEL_TAVI_UTIL_LIBRARY=$(VARNEL_TAVI_UTIL)
endif

# The build installs a script for SysV init and a unit for systemd; the one that the image does not use is removed.
define VARNEL_REMOVE_INSTALLED_SCRIPT
	rm -f $(TARGET_DIR)/etc/init.d/varneld
endef

define VARNEL_REMOVE_INSTALLED_UNIT
	rm -f $(TARGET_DIR)/usr/lib/systemd/system/varneld.service
endef

VARNEL_POST_INSTALL_TARGET_HOOKS += VARNEL_REMOVE_INSTALLED_SCRIPT
ifneq ($(BR2_INIT_SYSTEMD),y)
VARNEL_POST_INSTALL_TARGET_HOOKS += VARNEL_REMOVE_INSTALLED_UNIT
endif

ifeq ($(BR2_PACKAGE_VARNEL_STORE),y)
define VARNEL_INSTALL_INIT_SYSV
	$(INSTALL) -D -m 0755 $(VARNEL_BUILDDIR)/daemon/varneld.init $(TARGET_DIR)/etc/init.d/S50varneld
endef
endif

$(eval $(cmake-package))
