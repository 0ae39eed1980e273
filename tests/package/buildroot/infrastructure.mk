# SPDX-License-Identifier: MIT
# What Buildroot gives a recipe, as far as this one uses it: enough to read it, to print what it sets and to run its
# hooks. RECIPE is its folder.
qstrip = $(strip $(subst ",,$(1)))
INSTALL = install
VARNEL_BUILDDIR = $(BUILD)
define newline


endef

define cmake-package
EVALUATED := yes
endef
include $(RECIPE)/external.mk

# The variables with the package's prefix that the recipe sets, whatever they are called.
names:
	@: $(info $(filter-out VARNEL_BUILDDIR,$(filter VARNEL_%,$(.VARIABLES))))
print-%:
	@: $(info $($*))
hooks:
	$(foreach hook,$(VARNEL_POST_INSTALL_TARGET_HOOKS),$($(hook))$(newline))
sysv:
	$(VARNEL_INSTALL_INIT_SYSV)
