# SPDX-License-Identifier: MIT
"""Buildroot's menu entries for varnel: offered where they can be built, explained where the tool chain could be chosen
otherwise, silent where the target itself is in the way, and never selecting a package that cannot be built there.

usage: config_test.py CONFIG_IN    (the recipe's)
"""

import itertools
import os
import pathlib
import sys
import tempfile
import unittest

import kconfiglib

CONFIG_IN = ""
FACTS = {
    "BR2_INSTALL_LIBSTDCPP": "y",
    "BR2_TOOLCHAIN_GCC_AT_LEAST_11": "y",
    "BR2_TOOLCHAIN_HAS_THREADS": "y",
    "BR2_TOOLCHAIN_HAS_THREADS_NPTL": "y",
    "BR2_TOOLCHAIN_HAS_ATOMIC": "y",
    "BR2_TOOLCHAIN_HAS_SYNC_4": "y",
    "BR2_USE_MMU": "y",
    "BR2_STATIC_LIBS": "n",
}
OTHERS = {"y": "n", "n": "y"}
LIBRARY, STORE = "BR2_PACKAGE_VARNEL", "BR2_PACKAGE_VARNEL_STORE"


class Menu:
    """The menu with these facts, and everything of varnel's switched on that is offered."""

    def __init__(self, facts):
        os.environ |= {"VARNEL_CONFIG": CONFIG_IN, "KCONFIG_WARN_UNDEF": "y"}
        self.config = kconfiglib.Kconfig(pathlib.Path(__file__).parent / "Kconfig", warn_to_stderr=False)
        for name, value in facts.items():
            self.config.syms[name].set_value(value)
        for name in (LIBRARY, STORE):
            if self.offers(name):
                self.config.syms[name].set_value("y")
        self.on = {name for name, symbol in self.config.syms.items() if symbol.str_value == "y"}

    def offers(self, name):
        return self.config.syms[name].visibility == 2

    def comments(self):
        nodes = self.config.node_iter()
        return [node.prompt[0] for node in nodes if node.item == kconfiglib.COMMENT and self.visible(node)]

    @staticmethod
    def visible(node):
        return kconfiglib.expr_value(node.prompt[1]) == 2


def without(*names):
    return {name: OTHERS[value] if name in names else value for name, value in FACTS.items()}


class BuildrootMenu(unittest.TestCase):
    def test_everything_is_offered_where_it_can_be_built(self):
        menu = Menu(FACTS)
        self.assertLessEqual({LIBRARY, STORE, "BR2_PACKAGE_LIBUV", "BR2_PACKAGE_SQLITE"}, menu.on)
        self.assertEqual(menu.comments(), [])

    def test_the_store_is_on_unless_switched_off(self):
        self.assertEqual(Menu(FACTS).config.syms[STORE].orig_defaults[0][0].str_value, "y")

    def test_another_tool_chain_is_named_where_it_would_help(self):
        for name, word in {
            "BR2_INSTALL_LIBSTDCPP": "C++",
            "BR2_TOOLCHAIN_GCC_AT_LEAST_11": "gcc >= 11",
            "BR2_TOOLCHAIN_HAS_THREADS": "threads",
            "BR2_STATIC_LIBS": "dynamic library",
        }.items():
            menu = Menu(without(name))
            self.assertNotIn(LIBRARY, menu.on, name)
            self.assertEqual(len(menu.comments()), 1, name)
            self.assertIn(word, menu.comments()[0])

    def test_nothing_is_said_where_the_target_is_in_the_way(self):
        for name in ("BR2_TOOLCHAIN_HAS_SYNC_4", "BR2_USE_MMU"):
            for others in ((), ("BR2_INSTALL_LIBSTDCPP",)):
                menu = Menu(without(name, *others))
                self.assertNotIn(LIBRARY, menu.on, name)
                self.assertEqual(menu.comments(), [], name)

    def test_the_library_is_offered_alone(self):
        menu = Menu(without("BR2_TOOLCHAIN_HAS_THREADS_NPTL"))
        self.assertIn(LIBRARY, menu.on)
        self.assertNotIn(STORE, menu.on)
        self.assertEqual(len(menu.comments()), 1)
        self.assertIn("NPTL", menu.comments()[0])
        menu = Menu(without("BR2_TOOLCHAIN_HAS_ATOMIC"))
        self.assertIn(LIBRARY, menu.on)
        self.assertEqual((STORE in menu.on, menu.comments()), (False, []))

    def test_no_package_is_selected_that_cannot_be_built(self):
        with tempfile.TemporaryDirectory() as folder:
            for count in range(len(FACTS) + 1):
                for names in itertools.combinations(FACTS, count):
                    menu = Menu(without(*names))
                    # Writing is what looks for it. The file is renamed and replaced: it must be one of our own.
                    menu.config.write_config(os.path.join(folder, "config"))
                    self.assertEqual([str(warning) for warning in menu.config.warnings], [], names)


if __name__ == "__main__":
    CONFIG_IN = os.path.realpath(sys.argv.pop(1))
    unittest.main()
