# SPDX-License-Identifier: MIT
"""Stack of a library's exported functions, from the call graph that GCC writes (-fcallgraph-info=su).

Every way through the graph is followed: a function's peak is its own frame and the largest peak among those it calls.
That is more than can happen (a call at a function's end takes the place of its frame), never less.
"""

import dataclasses
import re

INDIRECT = "__indirect_call"


@dataclasses.dataclass(frozen=True)
class StandIn:
    """What an indirect call reaches, told by the source line that makes it."""

    line: str  # pattern
    what: str
    functions: tuple = ()  # of the library; what else it reaches is the C library's or the program's


STAND_INS = (
    StandIn(r"hash_fn\(", "the map's hash function", ("string_hash_func", "uint64_hash_func")),
    StandIn(r"compare_fn\(", "the map's comparison", ("string_compare_func", "uint64_compare_func")),
    StandIn(r"x_allocator_table\.", "the allocator table: by default the C library's allocator"),
    StandIn(r"free_fn\(", "xarray_free: the program's function for items"),
    StandIn(r"release\(pair->user_data\)", "xpair_free: the program's function for user data"),
    StandIn(r"backend_lifecycle_t", "layers_init, layer_free: a module's entry points"),
)

# Functions that call themselves, with what bounds them.
RECURSIVE = {"xdictionary_out": "once for each level of nesting"}


class GraphError(Exception):
    """The graph does not say how deep the stack gets."""


@dataclasses.dataclass
class Function:
    name: str
    frame: int
    calls: list  # (title, source position)


_NODE = re.compile(r'^node: \{ title: "([^"]*)" label: "([^"]*)"')
_EDGE = re.compile(r'^edge: \{ sourcename: "([^"]*)" targetname: "([^"]*)"(?: label: "([^"]*)")?')
_FRAME = re.compile(r"\\n(\d+) bytes \(([a-z,]+)\)")


def symbol_of(title):
    """The linker's name in a title; a function that is not exported has the name of its file before it."""
    return title.rsplit(":", 1)[-1]


def parse(text):
    """{title: Function} of those that the graph knows a frame of."""
    functions, edges = {}, []
    for line in text.splitlines():
        node = _NODE.match(line)
        if node:
            frame = _FRAME.search(node[2])
            if frame is None:
                continue
            name = node[2].split("\\n")[0]
            if frame[2] == "dynamic":
                raise GraphError(f"{name} has a frame without a bound")
            functions[node[1]] = Function(name, int(frame[1]), [])
        edge = _EDGE.match(line)
        if edge:
            edges.append(edge.groups())
    for source, callee, position in edges:
        if source not in functions:
            raise GraphError(f"{symbol_of(source)} calls, but has no frame")
        functions[source].calls.append((callee, position or ""))
    return functions


def addresses_of(nm_text):
    """{name: address} of the code that `nm` lists; a symbol's version is no part of its name."""
    rows = (line.split() for line in nm_text.splitlines())
    return {row[2].split("@")[0]: int(row[0], 16) for row in rows if len(row) == 3 and row[1] in "tTwW"}


def source_line(position):
    """The line of a source file that "path:line:column" names."""
    path, line, _ = position.rsplit(":", 2)
    with open(path, encoding="utf-8") as file:
        return file.read().splitlines()[int(line) - 1]


def _without_thumb_bit(address):
    return address & ~1  # symbols of Thumb code have the lowest bit set


class Graph:
    """Functions joined to what they reach."""

    def __init__(self, functions, addresses, line_at=source_line, stand_ins=STAND_INS, recursive=None):
        self.functions = functions
        self.addresses = addresses
        self.line_at = line_at
        self.stand_ins = stand_ins
        self.recursive = RECURSIVE if recursive is None else recursive
        self.by_address = {
            _without_thumb_bit(addresses[symbol_of(title)]): title for title in functions if symbol_of(title) in addresses
        }
        self.indirect = {}  # what: functions that call it
        self.peaks = {}

    def title_of(self, symbol):
        """The function with that name or, for a second name of one function, with its address; None outside."""
        if symbol in self.functions:
            return symbol
        address = self.addresses.get(symbol_of(symbol))
        if address is None:
            return None
        title = self.by_address.get(_without_thumb_bit(address))
        if title is None:
            raise GraphError(f"{symbol} is linked in, but nothing says how much stack it takes")
        return title

    def stand_in_of(self, function, position):
        line = self.line_at(position)
        for stand_in in self.stand_ins:
            if re.search(stand_in.line, line):
                self.indirect.setdefault(stand_in.what, set()).add(function.name)
                return stand_in
        raise GraphError(f"nothing stands in for the indirect call of {function.name} at {position}: {line.strip()}")

    def callees(self, title):
        """(titles of the library's functions, names of functions outside it) that a function can call."""
        inside, outside = [], []
        function = self.functions[title]
        for callee, position in function.calls:
            if callee == INDIRECT:
                stand_in = self.stand_in_of(function, position)
                inside += [self.title_of(name) for name in stand_in.functions]
                continue
            found = self.title_of(callee)
            (inside if found else outside).append(found or symbol_of(callee))
        return inside, outside

    def exported(self, name):
        """The title of an exported function."""
        title = self.title_of(name)
        if title is None:
            raise GraphError(f"{name} is exported, but not in the graph")
        return title

    def peak(self, title, above=()):
        """(bytes, path): the deepest way down from a function."""
        if title in above:
            if symbol_of(title) not in self.recursive:
                raise GraphError(f"{self.functions[title].name} calls itself without a known bound")
            return 0, ()
        if title not in self.peaks:
            inside, _ = self.callees(title)
            ways = (self.peak(callee, (*above, title)) for callee in inside)
            below = max(ways, key=lambda way: way[0], default=(0, ()))
            function = self.functions[title]
            self.peaks[title] = (function.frame + below[0], (function, *below[1]))
        return self.peaks[title]

    def level(self, title):
        """Bytes of one turn of a function that calls itself: the deepest way back to it."""

        def way_back(at, above):
            inside, _ = self.callees(at)
            best = None
            for callee in inside:
                if callee == title:
                    below = 0
                elif callee in above:
                    continue
                else:
                    below = way_back(callee, (*above, callee))
                if below is not None:
                    best = max(best or 0, self.functions[at].frame + below)
            return best

        return way_back(title, (title,))
