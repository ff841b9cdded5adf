# No circular dependencies between objects, from the symbols of everything that ships and from the module's sources.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import os
import re
import unittest

from tree import ROOT, Rules, output_of, text_of


def reachable_from(graph, start):
    seen, left = set(), [start]
    while left:
        new = graph.get(left.pop(), set()) - seen
        seen |= new
        left += new
    return seen


def circles_of(graph):
    """The strongly connected components of more than one object, each as one line of sorted names."""
    reachable = {object: reachable_from(graph, object) for object in graph}
    return {" ".join(sorted(other for other in others if object in reachable.get(other, ())))
            for object, others in reachable.items() if object in others}


def graph_of(symbols):
    """From an object to its dependencies; `symbols` are those that each object defines, and those that it uses."""
    defined_by = {symbol: object for object, (defined, _) in symbols.items() for symbol in defined}
    return {object: {defined_by[symbol] for symbol in used if symbol in defined_by} - {object}
            for object, (_, used) in symbols.items()}


def symbols_of(object):
    """Strong definitions and undefined symbols, weak ones included, as nm prints them."""
    lines = [line.split() for line in output_of("nm", "-P", object).splitlines()]
    return ({line[0] for line in lines if line[1] in "TDBRC"}, {line[0] for line in lines if line[1] in "Uw"})


def symbols_of_module_source(text):
    """Symbols of the module's files begin with hx_; a line that starts with one defines it."""
    return (set(re.findall(r"^[a-z][^\n(=]*\b(hx_\w+)[(;]", text, re.MULTILINE)), set(re.findall(r"\bhx_\w+", text)))


class Circles(Rules):
    def expect_none_among(self, group):
        # Each line of the file is "group;object;object;..."; a precompiled header is listed too.
        with open(os.environ["HALVEX_OBJECTS"]) as lists:
            lines = [line.strip().split(";") for line in lists]
        objects = [word for line in lines if line[0] == group for word in line[1:] if word.endswith(".o")]
        graph = graph_of({object: symbols_of(object) for object in objects})
        self.assertGreater(len(graph), 5)
        self.assertTrue(any(graph.values()))
        self.assertEqual(circles_of(graph), set())

    def test_DoNotExistAmongTheObjectsOfTheProduct(self):
        self.expect_none_among("product")

    def test_DoNotExistAmongTheObjectsOfTheBoard(self):
        self.expect_none_among("board")

    def test_DoNotExistAmongTheObjectsOfTheHost(self):
        self.expect_none_among("host")

    def test_DoNotExistAmongTheSourcesOfTheModule(self):
        graph = graph_of({path.name: symbols_of_module_source(text_of(path))
                          for path in (ROOT / "board/kernel").glob("*.c")})
        self.assertIn("boardSwitch.c", graph["boardModule.c"])
        self.assertIn("boardCore.c", graph["ptpClock.c"])
        self.assertEqual(circles_of(graph), set())

    def test_AreTheStronglyConnectedComponentsOfAGraph(self):
        graph = {"a": {"b"}, "b": {"c"}, "c": {"b", "d"}, "d": set(), "e": {"f", "a"}, "f": {"e"}}
        self.assertEqual(circles_of(graph), {"b c", "e f"})


class Module(Rules):
    def test_IsBuiltFromEveryFileOfTheModelAndOfItsOwn(self):
        for folder in ("kernel", "model"):
            for path in (ROOT / "board" / folder).glob("*.c"):
                self.assertRegex(text_of("board/kernel/Kbuild"), rf"[ ,]{path.stem}\.o")


if __name__ == "__main__":
    unittest.main()
