# SPDX-License-Identifier: MIT
"""Every check of this folder finds what it is there for, on texts that hold it, and accepts texts that do not."""

import pathlib
import shutil
import tempfile
import unittest

import check_c_library
import check_elf
import check_exports
import check_headers
import check_includes
import check_sizes
import check_static_init
import checks
import function_lengths
import public_functions

HEADER = """
/* int in_comment(void); */
#ifdef __cplusplus
extern "C" {
#endif
#define MACRO(x) call(x)
typedef int (*callback_t)(const void *a);
typedef struct record { int a; int (*member)(int); } record;
enum { ONE = 1, TWO = sizeof(int) };
struct other { char bytes[4]; };
int plain(void);
void *pointer(record *r, int (*cmp)(const void *, const void *));
__attribute__((returns_nonnull, alloc_size(1))) void *attributed(unsigned size) __attribute__((malloc));
int (*returns_function(int a))(double);
const char *
two_lines(int a,
          int b);
struct other by_value(struct other o); int second_on_line(void);
extern int exported_too(void);
extern int (*variable)(int);
static inline int hidden(void) { return plain(); }
#ifdef __cplusplus
}
#endif
"""


class PublicFunctions(unittest.TestCase):
    def test_finds_each_function_and_nothing_else(self):
        expected = {"plain", "pointer", "attributed", "returns_function", "two_lines", "by_value", "second_on_line"}
        self.assertEqual(public_functions.functions_of(HEADER), expected | {"exported_too"})

    def test_text_without_comments_keeps_its_lines(self):
        text = "a /* x\ny */ b // c\n\"{\" '{' 1'000 R\"(\n{)\"\n#if \\\n{\nd"
        code = checks.code_only(text)
        self.assertEqual(code.count("\n"), text.count("\n"))
        self.assertNotIn("{", code)
        self.assertIn("1'000", code)


class Exports(unittest.TestCase):
    NM = "0000000000000000 A V_0@@V_0\n0000000000001100 T one@@V_0\n0000000000001200 T two@@V_0\n"
    GROWN_NM = NM + "0000000000000000 A V_0.1@@V_0.1\n0000000000001300 T three@@V_0.1\n"
    SCRIPT = "# c\nV_0 { global: # a;\n one; two; local: *; };\n"
    GROWN_SCRIPT = SCRIPT + "# later\nV_0.1 {\n global:\n three;\n} V_0;\n"
    SYMBOLS = "libx.so.0 libx0 #MINVER#\n V_0@V_0 0.1.0\n one@V_0 0.1.0\n two@V_0 0.1.0\n"
    GROWN_SYMBOLS = SYMBOLS + " V_0.1@V_0.1 0.2.0\n three@V_0.1 0.2.0\n"
    SHLIBS = "libvarnel_share 0 libvarnel-share0 (>= 0.1.0)\n"

    def problems(self, declared=("one", "two"), nm=NM, script=SCRIPT):
        nodes = check_exports.nodes_of(script, "V_0")
        return check_exports.problems_of(set(declared), check_exports.exported_symbols(nm), nodes)

    def test_accepts_equal_sets(self):
        self.assertEqual(self.problems(), [])

    def test_missing_export(self):
        self.assertIn("three is declared", self.problems(declared=("one", "two", "three"))[0])

    def test_undeclared_export(self):
        self.assertIn("two is exported but", self.problems(declared=("one",))[0])

    def test_data_export(self):
        self.assertIn("kind D", self.problems(nm=self.NM.replace("T two", "D two"))[0])

    def test_symbol_without_version(self):
        self.assertIn("has version ''", self.problems(nm=self.NM.replace("two@@V_0", "two"))[0])

    def test_version_script_that_differs(self):
        self.assertEqual(len(self.problems(script=self.SCRIPT.replace("two;", ""))), 1)
        self.assertIn("three is only in", self.problems(script=self.SCRIPT.replace("two;", "two; three;"))[0])

    def test_version_script_with_a_name_twice(self):
        self.assertIn("twice", self.problems(script=self.SCRIPT.replace("two;", "two; two;"))[0])

    def test_version_script_form(self):
        good = self.SCRIPT
        self.assertEqual(check_exports.nodes_of(good, "V_0"), {"V_0": ["one", "two"]})
        for bad in (good.replace("V_0", "V_1"), good.replace("local: *;", ""), good.replace("};", "}; V_1 { x; };"), ""):
            with self.assertRaises(SystemExit):
                check_exports.nodes_of(bad, "V_0")

    def test_later_functions_have_a_node_of_their_own(self):
        nodes = check_exports.nodes_of(self.GROWN_SCRIPT, "V_0")
        self.assertEqual(nodes, {"V_0": ["one", "two"], "V_0.1": ["three"]})
        self.assertEqual(list(check_exports.nodes_of(self.GROWN_SCRIPT + "V_0.2 { global: x; } V_0.1;", "V_0"))[2:], ["V_0.2"])
        declared = ("one", "two", "three")
        self.assertEqual(self.problems(declared, self.GROWN_NM, self.GROWN_SCRIPT), [])
        wrong = self.GROWN_NM.replace("three@@V_0.1", "three@@V_0")
        self.assertIn("version 'V_0', not V_0.1", self.problems(declared, wrong, self.GROWN_SCRIPT)[0])

    def test_a_node_that_does_not_carry_on_the_one_before_is_refused(self):
        unfit = ("} V_0;", "};"), ("} V_0;", "} V_0.0;"), ("V_0.1", "V_0.2"), ("three;", ""), ("three;", "three; local: *;")
        for old, new in unfit:
            bad = self.GROWN_SCRIPT.replace(old, new)
            self.assertNotEqual(bad, self.GROWN_SCRIPT)
            with self.assertRaises(SystemExit):
                check_exports.nodes_of(bad, "V_0")

    def release_problems(self, script=SCRIPT, symbols=SYMBOLS, shlibs=SHLIBS):
        return check_exports.problems_of_releases(check_exports.nodes_of(script, "V_0"), symbols, shlibs)

    def test_releases_of_nodes(self):
        newer = self.SHLIBS.replace("0.1.0", "0.2.0")
        self.assertEqual(self.release_problems(), [])
        self.assertEqual(self.release_problems(self.GROWN_SCRIPT, self.GROWN_SYMBOLS, newer), [])
        self.assertIn("shlibs", self.release_problems(self.GROWN_SCRIPT, self.GROWN_SYMBOLS)[0])
        self.assertIn("V_0.1 is not in", self.release_problems(self.GROWN_SCRIPT)[0])
        same = self.GROWN_SYMBOLS.replace("0.2.0", "0.1.0")
        self.assertIn("V_0.1 came with 0.1.0", self.release_problems(self.GROWN_SCRIPT, same)[0])

    def test_a_function_added_to_a_node_of_an_earlier_release(self):
        late = self.SYMBOLS.replace("two@V_0 0.1.0", "two@V_0 0.2.0")
        self.assertEqual(self.release_problems(symbols=late), ["two came with 0.2.0, its node V_0 with 0.1.0"])
        self.assertTrue(self.release_problems(symbols=self.SYMBOLS.replace(" two@V_0 0.1.0\n", "")))


class CLibrary(unittest.TestCase):
    PAGE = """a
**The C library's functions** here:

| For | Functions |
| --- | --- |
| memory | `malloc`, `sysconf(_SC_X)` |
| in their place | with some: `putchar` |

The other also needs `getenv`.

`not_this`
"""

    def test_the_table(self):
        rows, besides = check_c_library.table_of(self.PAGE)
        self.assertEqual(rows, {"memory": {"malloc", "sysconf"}, "in their place": {"putchar"}})
        self.assertEqual(besides, {"getenv"})
        with self.assertRaises(SystemExit):
            check_c_library.table_of(self.PAGE * 2)

    def test_names_without_marks(self):
        nm_text = "U fopen64@GLIBC_2\nU __snprintf_chk\nU __isoc23_strtol@G\nw __gmon_start__\nU __stack_chk_fail\n"
        self.assertEqual(check_c_library.needed_names(nm_text), {"fopen", "snprintf", "strtol"})
        self.assertEqual(check_c_library.needed_names("U __atomic_load_8\n"), {"__atomic_load_8"})

    def test_needs_and_calls(self):
        called = check_c_library.called_in(["malloc(1); // sysconf(2)\n", "table = {free};"])
        problems_of = check_c_library.problems_of
        self.assertEqual(problems_of("x", {"free", "putchar"}, {"malloc", "free"}, {"putchar"}, called), [])
        self.assertIn("x needs fork", problems_of("x", {"fork"}, {"malloc"}, {"putchar"}, called)[0])
        self.assertIn("sysconf is listed", problems_of("x", set(), {"sysconf"}, set(), called)[0])


class Elf(unittest.TestCase):
    DYNAMIC = """
 0x0000000000000001 (NEEDED)             Shared library: [libtavi_util.so.0]
 0x0000000000000001 (NEEDED)             Shared library: [libc.so.6]
 0x000000000000000e (SONAME)             Library soname: [libx.so.0]
 0x000000000000001e (FLAGS)              BIND_NOW
 0x000000006ffffffb (FLAGS_1)            Flags: NOW
"""
    SEGMENTS = """
  GNU_STACK      0x000000 0x0000000000000000 0x0000000000000000 0x000000 0x000000 RW  0x10
  GNU_RELRO      0x00fdd0 0x0000000000010dd0 0x0000000000010dd0 0x000230 0x000230 R   0x1
"""
    SYMBOLS = """
     1: 0000000000000000     0 FUNC    GLOBAL DEFAULT  UND malloc@GLIBC_2.2.5 (2)
     2: 0000000000000000     0 FUNC    WEAK   DEFAULT  UND __cxa_finalize@GLIBC_2.2.5 (2)
"""

    def problems(self, text):
        entries = check_elf.dynamic_entries(text)
        return check_elf.problems_of_dynamic(entries, "libx.so.0", ["libc.so.6", "libtavi_util.so.0"], ["libdl.so.2"])

    def test_accepts_what_is_wanted(self):
        self.assertEqual(self.problems(self.DYNAMIC), [])
        self.assertEqual(self.problems(self.DYNAMIC + " 0x01 (NEEDED)  Shared library: [libdl.so.2]\n"), [])
        self.assertEqual(check_elf.problems_of_segments(self.SEGMENTS), [])
        self.assertEqual(check_elf.problems_of_symbols(self.SYMBOLS), [])

    def test_each_doctored_entry_is_found(self):
        for old, new, message in (
            ("[libc.so.6]", "[libstdc++.so.6]", "libstdc++.so.6 is needed"),
            ("[libtavi_util.so.0]", "[libc.so.6]", "libtavi_util.so.0 is not among"),
            ("libx.so.0", "liby.so.0", "SONAME"),
            (" 0x000000000000000e", " 0x0f (RPATH) Library rpath: [/tmp]\n 0x000000000000000e", "RPATH"),
            (" 0x000000000000000e", " 0x1d (RUNPATH) Library runpath: [/tmp]\n 0x000000000000000e", "RUNPATH"),
            (" 0x000000000000000e", " 0x16 (TEXTREL) 0x0\n 0x000000000000000e", "TEXTREL"),
        ):
            doctored = self.DYNAMIC.replace(old, new)
            self.assertNotEqual(doctored, self.DYNAMIC)
            self.assertTrue(any(message in problem for problem in self.problems(doctored)), new)

    def test_lazy_binding(self):
        lazy = self.DYNAMIC.replace("BIND_NOW\n", "SYMBOLIC\n").replace("Flags: NOW", "Flags: NODELETE")
        self.assertIn("lazily", self.problems(lazy)[0])

    def test_segments(self):
        self.assertEqual(len(check_elf.problems_of_segments(self.SEGMENTS.replace("GNU_RELRO", "LOAD"))), 1)
        self.assertEqual(len(check_elf.problems_of_segments(self.SEGMENTS.replace("RW ", "RWE"))), 1)

    def test_symbols_of_the_cxx_runtime(self):
        for name in ("_ZdlPv", "__cxa_guard_acquire", "__gxx_personality_v0", "_Unwind_Resume", "_ZTVN3std9exceptionE"):
            problems = check_elf.problems_of_symbols(self.SYMBOLS.replace("malloc", name))
            self.assertEqual(problems, [f"{name} belongs to the run-time of C++"])
        self.assertTrue(check_elf.problems_of_symbols(""))


class StaticInit(unittest.TestCase):
    SECTIONS = """
  [ 1] .text             PROGBITS        0000000000000000 000040 000010 00  AX  0   0  1
  [21] .init_array       INIT_ARRAY      0000000000010dd0 00fdd0 {size} 08  WA  0   0  8
"""

    def test_library_may_have_one_entry(self):
        one = check_static_init.section_sizes(self.SECTIONS.format(size="000008"))
        two = check_static_init.section_sizes(self.SECTIONS.format(size="000010"))
        self.assertEqual(check_static_init.problems_of_library(one, 8), [])
        self.assertIn("2 entries", check_static_init.problems_of_library(two, 8)[0])
        self.assertIn("2 entries", check_static_init.problems_of_library(one, 4)[0])
        self.assertTrue(check_static_init.problems_of_library({}, 8))
        self.assertTrue(check_static_init.problems_of_library({".ctors": 8}, 8))

    def test_object_may_have_none(self):
        for section in (".init_array", ".init_array.00100", ".rela.init_array", ".ctors", ".ctors.65435", ".fini_array"):
            self.assertIn(section, check_static_init.problems_of_object("a.o", {".text": 16, section: 8})[0])
        self.assertEqual(check_static_init.problems_of_object("a.o", {".text": 16, ".data": 8, ".initial": 8}), [])
        self.assertTrue(check_static_init.problems_of_object("a.o", {}))


class Headers(unittest.TestCase):
    def problems(self, text):
        compilers = {
            "c": [name for name in ("gcc", "clang", "cc") if shutil.which(name)][:1],
            "c++": [name for name in ("g++", "clang++", "c++") if shutil.which(name)][:1],
        }
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "varnel").mkdir()
            pathlib.Path(folder, "varnel", "x.h").write_text(text, encoding="utf-8")
            return check_headers.problems_of(folder, compilers)

    def test_good_header(self):
        self.assertEqual(self.problems("#ifndef X_H\n#define X_H\nint one(void);\n#endif\n"), [])

    def test_header_that_relies_on_another(self):
        self.assertTrue(self.problems("#ifndef X_H\n#define X_H\nsize_t one(void);\n#endif\n"))

    def test_header_that_is_not_cxx(self):
        problems = self.problems("#ifndef X_H\n#define X_H\nint one(int class);\n#endif\n")
        self.assertTrue(problems)
        self.assertTrue(all("C++17" in problem for problem in problems))

    def test_header_without_guard(self):
        self.assertIn("twice", self.problems("struct one { int a; };\n")[0])

    def test_header_with_a_warning(self):
        self.assertTrue(self.problems("#ifndef X_H\n#define X_H\nint one(void);;\n#endif\n"))

    def test_folder_without_headers(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertTrue(check_headers.problems_of(folder, {"c": [], "c++": []}))


class Includes(unittest.TestCase):
    SOURCES = {"base/log.h", "containers/hashmap_core.h", "data/xdata_types.h", "transport/packet.h"}

    def problems(self, name, line):
        return check_includes.problems_of_source(name, line + "\n", self.SOURCES)

    def test_order_of_folders(self):
        for name, line, good in (
            ("containers/a.cpp", '#include "base/log.h"', True),
            ("containers/a.cpp", "#include <varnel/memory.h>", True),
            ("containers/a.cpp", "#include <stdlib.h>", True),
            ("base/a.cpp", '#include "containers/hashmap_core.h"', False),
            ("base/a.cpp", "  #  include <varnel/hashmap.h>", False),
            ("serialize/a.cpp", '#include "transport/packet.h"', False),
            ("config/a.cpp", "#include <varnel/transport.h>", False),
            ("storage/a.cpp", '#include "data/xdata_types.h"', False),
            ("storage/a.cpp", "#include <varnel/config.h>", True),
            ("storage/a.cpp", "#include <varnel/varnel.h>", False),
            ("data/a.cpp", '#include "missing.h"', False),
            ("data/a.cpp", "#include <base/log.h>", False),
            ("new_folder/a.cpp", "", False),
        ):
            self.assertEqual(self.problems(name, line) == [], good, (name, line))

    def test_public_headers(self):
        for line, good in (
            ("#include <stdint.h>", True),
            ("#include <sys/types.h>", True),
            ('#include "xdata.h"', True),
            ('#include "base/log.h"', False),
            ("#include <varnel/xdata.h>", False),
            ("#include <vector>", False),
        ):
            self.assertEqual(check_includes.problems_of_header("x.h", line, {"xdata.h"}) == [], good, line)


class Sizes(unittest.TestCase):
    TEXT = """namespace a {
struct S {
    int one() const { return 1; }
    S(int b) : b_(b), c_{b} {
        if (b) { c_ = 1; }
    }
    bool operator==(const S &) const {
        return true;
    }
    int b_ = 0, c_{1};
};
template <class T, int (*f)(T)>
T
long_one(T t) {
    auto g = [](int x) {
        return x;
    };
    return g(t); // {
}
constexpr int kTable[] = {
    1,
    2,
};
const auto kLambda = [](int a) {
    return a;
};
extern "C" {
static void in_c(void) {
}
}
enum class E : int { a, b };
int caller(E e = E{}) { return kTable[0]; }
} // namespace a
"""

    def test_functions_and_lengths(self):
        found = {name: (first, length) for name, first, length in function_lengths.functions_of(self.TEXT)}
        expected = {"one": (3, 1), "S": (4, 3), "operator==": (7, 3), "long_one": (12, 8), "kLambda": (24, 3)}
        self.assertEqual(found, expected | {"in_c": (28, 2), "caller": (32, 1)})

    def test_long_function(self):
        text = "int f(int a) {\n" + "    a++;\n" * 59 + "}\n"
        functions = [("a.cpp", *function) for function in function_lengths.functions_of(text)]
        self.assertIn("61 lines", check_sizes.problems_of_functions(functions)[0])
        self.assertEqual(check_sizes.problems_of_functions([("a.cpp", "f", 1, 60), ("a.cpp", "g", 1, 1), ("", "", 1, 1)]), [])

    def test_median(self):
        self.assertIn("median", check_sizes.problems_of_functions([("a.cpp", "f", 1, 13)])[0])
        self.assertEqual(check_sizes.problems_of_functions([("a.cpp", "f", 1, 12)]), [])
        self.assertTrue(check_sizes.problems_of_functions([]))

    def test_long_file(self):
        self.assertEqual(check_sizes.problems_of_files({"a": 500}), [])
        self.assertEqual(len(check_sizes.problems_of_files({"a": 501})), 1)

    def test_files_of_the_project(self):
        with tempfile.TemporaryDirectory() as folder:
            project = pathlib.Path(folder)
            for name in ("src/a.cpp", "build-x/b.cpp", ".git/c", "docs/d.md", ".ci/run", "src/__pycache__/e.pyc"):
                (project / name).parent.mkdir(parents=True, exist_ok=True)
                (project / name).write_text("x\n", encoding="utf-8")
            names = [path.relative_to(project).as_posix() for path in check_sizes.project_files(project)]
            self.assertEqual(names, [".ci/run", "docs/d.md", "src/a.cpp"])


if __name__ == "__main__":
    unittest.main()
