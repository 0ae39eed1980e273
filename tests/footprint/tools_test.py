# SPDX-License-Identifier: MIT
"""The tools of scripts/footprint, on small texts of the kind that the compiler and the binary utilities write."""

import importlib.machinery
import importlib.util
import pathlib
import sys
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
SCRIPTS = PROJECT / "scripts"
sys.path.insert(0, str(SCRIPTS))

from footprint import callgraph, document, links, sections, targets  # noqa: E402


def load_script(name):
    """A script without an ending, as a module."""
    loader = importlib.machinery.SourceFileLoader(f"script_{pathlib.Path(name).name}", str(PROJECT / name))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


size = load_script("scripts/size")
startup = load_script("bench/startup/run")

READELF = """
There are 22 section headers, starting at offset 0xb600:

Section Headers:
  [Nr] Name              Type            Addr     Off    Size   ES Flg Lk Inf Al
  [ 0]                   NULL            00000000 000000 000000 00      0   0  0
  [ 1] .dynsym           DYNSYM          000006a8 0006a8 000100 10   A  4   1  4
  [ 2] .rel.plt          REL             00002490 002490 000010 08  AI  3  15  4
  [ 3] .text             PROGBITS        00002888 002888 001000 00  AX  0   0  8
  [ 4] .tbss             NOBITS          00007e24 006e24 000004 00 WAT  0   0  4
  [ 5] .dynamic          DYNAMIC         00007e44 006e44 0000d8 08  WA  4   0  4
  [ 6] .data.rel.ro      PROGBITS        00007e44 006e44 000020 00  WA  0   0  4
  [ 7] .data             PROGBITS        00008000 007000 000010 00  WA  0   0  4
  [ 8] .bss              NOBITS          00008010 007010 000008 00  WA  0   0  4
  [ 9] .gnu.odd          PROGBITS        00008010 007010 000003 00   A  0   0  4
  [10] .comment          PROGBITS        00000000 007010 00001f 01  MS  0   0  1
Key to Flags:
  W (write), A (alloc), X (execute), M (merge), S (strings), I (info),
"""


class Sections(unittest.TestCase):
    def setUp(self):
        self.sections = sections.sections_of(READELF)

    def test_only_what_is_loaded_counts(self):
        self.assertNotIn(".comment", [section.name for section in self.sections])
        self.assertEqual(sections.text_and_data(self.sections), 0x100 + 0x10 + 0x1000 + 0xD8 + 0x20 + 0x10 + 3)

    def test_static_ram_is_data_and_zeroed_data(self):
        self.assertEqual(sections.static_ram(self.sections), 0x10 + 8 + 4)

    def test_each_section_is_in_one_group(self):
        sizes = sections.group_sizes(self.sections)
        self.assertEqual(sizes["data, read-only once relocated"], 0xD8 + 0x20)
        self.assertEqual(sizes["data"], 0x10)
        self.assertEqual(sizes["relocations"], 0x10)
        self.assertEqual(sizes[sections.OTHER], 3)
        self.assertEqual(sum(sizes.values()), sum(section.size for section in self.sections))

    def test_names_of_one_function_stand_together(self):
        nm_text = "00000011 00000020 T one\n00000011 00000020 t one.localalias\n00000040 00000030 t two\n00000050 D x\n"
        self.assertEqual(sections.largest_functions(nm_text, 9), [(0x30, "two"), (0x20, "one")])
        self.assertEqual(sections.largest_functions(nm_text, 1), [(0x30, "two")])


class Limits(unittest.TestCase):
    def target(self, limit):
        return targets.Target("some", "some target", "", "", limit)

    def exceeded(self, limit, found=None):
        return size.exceeded({self.target(limit): sections.sections_of(READELF) if found is None else found})

    def test_a_limit_is_met_up_to_its_last_byte(self):
        flash = sections.text_and_data(sections.sections_of(READELF))
        self.assertFalse(self.exceeded(flash))
        self.assertTrue(self.exceeded(flash - 1))

    def test_too_much_static_ram_is_found(self):
        large = [sections.Section(".bss", sections.STATIC_RAM_LIMIT + 1, False, True)]
        self.assertTrue(self.exceeded(10**6, large))
        self.assertFalse(self.exceeded(10**6, [sections.Section(".bss", sections.STATIC_RAM_LIMIT, False, True)]))

    def test_nothing_measured_is_not_good(self):
        self.assertTrue(self.exceeded(10**6, []))

    def test_the_table_says_so(self):
        rows = size.rows_of({self.target(5): sections.sections_of(READELF)})
        self.assertIn(["limit", "5 EXCEEDED"], rows)


GRAPH = """graph: { title: "x"
node: { title: "outer" label: "outer\\na.cpp:1:1\\n100 bytes (static)\\n0 dynamic objects" }
node: { title: "x.o:inner" label: "inner\\na.cpp:2:1\\n40 bytes (static)\\n0 dynamic objects" }
node: { title: "leaf" label: "leaf\\na.cpp:3:1\\n8 bytes (static)\\n0 dynamic objects" }
node: { title: "hash" label: "hash\\na.cpp:4:1\\n64 bytes (dynamic,bounded)\\n0 dynamic objects" }
node: { title: "memcpy" label: "memcpy\\n<built-in>" shape : ellipse }
node: { title: "__indirect_call" label: "Indirect Call Placeholder" shape : ellipse }
edge: { sourcename: "outer" targetname: "leaf" label: "a.cpp:1:5" }
edge: { sourcename: "outer" targetname: "x.o:inner.localalias" label: "a.cpp:1:6" }
edge: { sourcename: "x.o:inner" targetname: "memcpy" label: "a.cpp:2:5" }
edge: { sourcename: "x.o:inner" targetname: "leaf" }
}
"""
ADDRESSES = {"outer": 0x101, "inner": 0x201, "inner.localalias": 0x200, "leaf": 0x301, "hash": 0x401}


def graph_of(text, line="", stand_ins=(), recursive=None):
    return callgraph.Graph(callgraph.parse(text), ADDRESSES, lambda position: line, stand_ins, recursive or {})


class Links(unittest.TestCase):
    RELOCATIONS = """
Relocation section '.rel.dyn' at offset 0x2280 contains 2 entries:
 Offset     Info    Type                Sym. Value  Symbol's Name
00008e98  00000008 R_386_RELATIVE
00008fd4  00000206 R_386_GLOB_DAT         00000000   pthread_mutex_init@GLIBC_2.0
Relocation section '.rel.plt' at offset 0x2290 contains 1 entry:
00008fd8  00000307 R_386_JUMP_SLOT        00000000   memcpy@GLIBC_2.0
"""
    SYMBOLS = """
   Num:    Value  Size Type    Bind   Vis      Ndx Name
     0: 00000000     0 NOTYPE  LOCAL  DEFAULT  UND
     1: 00000000     0 FUNC    GLOBAL DEFAULT  UND memcpy@GLIBC_2.0 (3)
     2: 00000000     0 NOTYPE  WEAK   DEFAULT  UND __gmon_start__
     3: 00003fd0    62 FUNC    GLOBAL DEFAULT    9 xdata_free@@VARNEL_SHARE_0
     4: 00000000     0 OBJECT  GLOBAL DEFAULT  ABS VARNEL_SHARE_0
"""

    def test_each_kind_is_counted(self):
        self.assertEqual(links.relocations_of(self.RELOCATIONS), (1, 2))
        self.assertEqual(links.symbols_of(self.SYMBOLS), (2, 2))
        self.assertEqual(list(links.counts_of(self.RELOCATIONS, self.SYMBOLS).values()), [1, 2, 2, 2])

    def test_one_more_is_out_of_date(self):
        table = document.markdown_table([["count", "here"], ["relocations", 51]])
        rows = [["count", "here"], ["relocations", 52]]
        self.assertEqual(document.differences(table, rows), [])
        self.assertEqual(len(document.differences(table, rows, exact=True)), 1)


class CallGraph(unittest.TestCase):
    def test_the_deepest_way_counts(self):
        peak, path = graph_of(GRAPH).peak("outer")
        self.assertEqual(peak, 148)
        self.assertEqual([function.name for function in path], ["outer", "inner", "leaf"])

    def test_a_second_name_is_the_same_function(self):
        self.assertEqual(graph_of(GRAPH).title_of("x.o:inner.localalias"), "x.o:inner")

    def test_the_c_library_is_outside(self):
        self.assertEqual(graph_of(GRAPH).callees("x.o:inner"), (["leaf"], ["memcpy"]))

    def test_code_that_is_linked_in_without_a_frame_is_an_error(self):
        text = GRAPH + 'edge: { sourcename: "leaf" targetname: "__udivsi3" }\n'
        graph = callgraph.Graph(callgraph.parse(text), {**ADDRESSES, "__udivsi3": 0x900}, stand_ins=())
        with self.assertRaisesRegex(callgraph.GraphError, "__udivsi3"):
            graph.peak("outer")

    def test_a_frame_without_a_bound_is_an_error(self):
        with self.assertRaisesRegex(callgraph.GraphError, "leaf"):
            callgraph.parse(GRAPH.replace("8 bytes (static)", "8 bytes (dynamic)"))

    def test_an_exported_function_that_is_not_there_is_an_error(self):
        self.assertEqual(graph_of(GRAPH).exported("outer"), "outer")
        with self.assertRaisesRegex(callgraph.GraphError, "missing"):
            graph_of(GRAPH).exported("missing")

    def test_versions_are_no_part_of_a_name(self):
        nm_text = "00000101 T outer@@SOME_1\n00000000 A SOME_1\n         U memcpy@GLIBC_2.4\n"
        self.assertEqual(callgraph.addresses_of(nm_text), {"outer": 0x101})

    def test_a_call_of_nobody_is_an_error(self):
        with self.assertRaisesRegex(callgraph.GraphError, "nobody"):
            callgraph.parse(GRAPH + 'edge: { sourcename: "nobody" targetname: "leaf" }\n')


class IndirectCalls(unittest.TestCase):
    TEXT = GRAPH + 'edge: { sourcename: "leaf" targetname: "__indirect_call" label: "a.cpp:3:7" }\n'

    def test_what_stands_in_is_counted(self):
        stand_in = callgraph.StandIn(r"hash_fn\(", "a hash function", ("hash",))
        graph = graph_of(self.TEXT, "return map->hash_fn(key);", (stand_in,))
        self.assertEqual(graph.peak("outer")[0], 148 + 64)
        self.assertEqual(graph.indirect, {"a hash function": {"leaf"}})

    def test_one_that_nothing_stands_in_for_is_an_error(self):
        with self.assertRaisesRegex(callgraph.GraphError, "leaf"):
            graph_of(self.TEXT, "return other(key);").peak("outer")


class Recursion(unittest.TestCase):
    TEXT = GRAPH + 'edge: { sourcename: "leaf" targetname: "outer" }\n'

    def test_without_a_known_bound_it_is_an_error(self):
        with self.assertRaisesRegex(callgraph.GraphError, "calls itself"):
            graph_of(self.TEXT).peak("outer")

    def test_with_one_it_counts_once(self):
        graph = graph_of(self.TEXT, recursive={"outer": "a bound"})
        self.assertEqual(graph.peak("outer")[0], 148)

    def test_a_turn_is_the_deepest_way_back(self):
        self.assertEqual(graph_of(self.TEXT, recursive={"outer": "a bound"}).level("outer"), 148)
        self.assertIsNone(graph_of(GRAPH).level("outer"))


class Document(unittest.TestCase):
    TEXT = "before\n<!-- a: begin -->\nold\n<!-- a: end -->\nafter\n<!-- b: begin -->\n<!-- b: end -->\n"

    def test_only_what_is_between_the_markers_changes(self):
        text = document.replace_between(self.TEXT, "a", "new")
        self.assertEqual(text, self.TEXT.replace("old", "new"))
        self.assertEqual(document.replace_between(text, "a", "new"), text)

    def test_markers_that_are_missing_or_doubled_are_an_error(self):
        for text in (self.TEXT.replace("<!-- a: end -->", ""), self.TEXT + self.TEXT, "<!-- a: end --><!-- a: begin -->"):
            with self.assertRaises(KeyError):
                document.replace_between(text, "a", "new")

    def test_what_is_between_the_markers_is_read_back(self):
        self.assertEqual(document.text_between(self.TEXT, "a"), "old")
        self.assertEqual(document.text_between(self.TEXT, "b"), "")
        with self.assertRaises(KeyError):
            document.text_between(self.TEXT, "c")

    def test_a_figure_that_is_too_far_away_is_out_of_date(self):
        rows = [["what", "bytes", "way"], ["code", "10,000", "a 1, b 2"], ["limit", "28,672 met", ""]]
        page = "Words.\n" + document.markdown_table(rows)
        self.assertEqual(document.differences(page, rows), [])
        for figure, good in (("10,200", True), ("10,201", False), ("9,800", True), ("9,799", False), ("", False)):
            changed = [rows[0], ["code", figure, "c 3"], rows[2]]
            self.assertEqual(document.differences(page, changed) == [], good, figure)
        smaller = [rows[0], ["code", "900", ""], rows[2]]
        self.assertEqual(document.differences(page, smaller), ["code: 10,000 on the page, 900 measured"])

    def test_small_figures_may_differ_by_a_few_bytes(self):
        page = document.markdown_table([["what", "bytes"], ["data", 16]])
        self.assertEqual(document.differences(page, [["what", "bytes"], ["data", 32]]), [])
        self.assertTrue(document.differences(page, [["what", "bytes"], ["data", 33]]))

    def test_other_rows_are_out_of_date(self):
        rows = [["what", "bytes"], ["data", 16], ["code", 5]]
        page = document.markdown_table(rows)
        for others in (rows[:2], [*rows, ["more", 1]], [rows[0], rows[2], rows[1]]):
            self.assertTrue(document.differences(page, others))
        self.assertTrue(document.differences("", rows))

    def test_tables(self):
        rows = [["what", "bytes"], ["a", 5]]
        self.assertEqual(document.text_table(rows), "what  bytes\na         5")
        self.assertEqual(document.markdown_table(rows), "| what | bytes |\n| --- | ---: |\n| a | 5 |")


class StartUp(unittest.TestCase):
    def test_only_a_processor_that_is_allowed_is_chosen(self):
        self.assertEqual(startup.chosen_processor({0}), 0)
        self.assertEqual(startup.chosen_processor({2, 7, 5}), 7)


if __name__ == "__main__":
    unittest.main()
