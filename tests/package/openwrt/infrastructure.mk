# SPDX-License-Identifier: MIT
# What OpenWrt gives a recipe, as far as this one uses it: enough to read it, to print what it sets and to run what it
# says about preparing and installing. OUT receives the packages' files.
PKG_INSTALL_DIR := $(INSTALLED)
PKG_BUILD_DIR := $(OUT)/prepared
INSTALL_DIR = install -d -m 0755
INSTALL_BIN = install -m 0755
CP = cp -fpR
TAR = tar

define newline


endef

define BuildPackage
PACKAGES += $(1)
install: install-$(1)
install-$(1):
	$$(call Package/$(1)/install,$(OUT)/$(1))
endef

print-%:
	@: $(info $($*))
prepare:
	$(Build/Prepare)
fields-%:
	@: $(info $(strip $(subst $(newline), ,$(Package/$*))))
