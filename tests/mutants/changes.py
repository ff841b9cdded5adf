# Finds possible changes of the product with clang's parser, and selects some.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import hashlib
import json
import random
import re
from dataclasses import asdict, dataclass
from pathlib import Path

import clang.cindex
from clang.cindex import CursorKind as Kind

PARTS = {"product": ("zuerr", "zuplat", "zujsonlh", "interfaces", "source"),
         "tools": ("host", "board/launcher", "board/scenario", "board/trace")}

OTHER_OPERATORS = {
    "<": ("comparison", ("<=", ">=")), "<=": ("comparison", ("<", ">")),
    ">": ("comparison", (">=", "<=")), ">=": ("comparison", (">", "<")),
    "==": ("comparison", ("!=",)), "!=": ("comparison", ("==",)),
    "+": ("arithmetic", ("-",)), "-": ("arithmetic", ("+",)), "*": ("arithmetic", ("/",)),
    "/": ("arithmetic", ("*",)), "%": ("arithmetic", ("*",)), "<<": ("arithmetic", (">>",)),
    ">>": ("arithmetic", ("<<",)), "&": ("arithmetic", ("|",)), "|": ("arithmetic", ("&",)),
    "&&": ("logic", ("||",)), "||": ("logic", ("&&",)),
    "+=": ("arithmetic", ("-=",)), "-=": ("arithmetic", ("+=",)), "|=": ("arithmetic", ("&=", "=")),
}
DROPPED = {Kind.CALL_EXPR, Kind.UNEXPOSED_EXPR, Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR,
           Kind.UNARY_OPERATOR, Kind.CXX_THROW_EXPR, Kind.CXX_DELETE_EXPR, Kind.BREAK_STMT, Kind.CONTINUE_STMT}
DROPPED_WHOLE = {Kind.IF_STMT, Kind.WHILE_STMT, Kind.FOR_STMT, Kind.CXX_FOR_RANGE_STMT}
GUARDS = re.compile(r"[Ll]ock|[Gg]uard|Blocked|Directory")


@dataclass(frozen=True)
class Change:
    """One mutant: the bytes [begin, end) of a file become `text`."""
    path: str
    begin: int
    end: int
    text: str
    kind: str

    def applied(self, source):
        return source[:self.begin] + self.text.encode() + source[self.end:]

    def as_difference(self, source):
        """The differing lines, as a list of "- old" and "+ new", without their indentation."""
        first = source.rfind(b"\n", 0, self.begin) + 1
        last = source.find(b"\n", self.end)
        old = source[first:last].decode()
        new = (source[first:self.begin] + self.text.encode() + source[self.end:last]).decode()
        return ["- " + line.strip() for line in old.split("\n")] + ["+ " + line.strip() for line in new.split("\n")]

    def line(self, source):
        return source.count(b"\n", 0, self.begin) + 1


def shape(type_):
    """Only operands of the same kind are swapped: numbers, texts, or identical types."""
    name = type_.get_canonical().spelling.replace("const ", "").rstrip(" &")
    if re.search(r"basic_string|^char ?[*\[]", name) or name.endswith("Text"):
        return "text"
    return "number" if re.fullmatch(r"(unsigned |signed )?(bool|char|short|int|long|long long|double)", name) else name


class Finder:
    """Collects every possible change in one translation unit."""

    def __init__(self, root, sources, found):
        self.root, self.sources, self.found = root, sources, found

    def add(self, cursor, begin, end, text, kind):
        self.found.add(Change(self.path_of(cursor), begin, end, text, kind))

    def path_of(self, cursor):
        file = cursor.extent.start.file
        if file is None:
            return None
        try:
            path = str(Path(file.name).resolve().relative_to(self.root))
        except ValueError:
            return None
        return path if path in self.sources else None

    def text(self, cursor):
        path = self.path_of(cursor)
        return self.sources[path][cursor.extent.start.offset:cursor.extent.end.offset].decode() if path else ""

    def visit(self, cursor):
        if cursor.kind == Kind.STATIC_ASSERT:
            return
        if cursor.kind != Kind.TRANSLATION_UNIT and self.path_of(cursor) is None and cursor.kind != Kind.LINKAGE_SPEC:
            return
        self.visit_one(cursor)
        for child in cursor.get_children():
            self.visit(child)

    def visit_one(self, cursor):
        kind = cursor.kind
        children = list(cursor.get_children())
        if kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            self.change_operator(cursor, children[0], children[1])
        elif kind == Kind.CALL_EXPR:
            self.change_call(cursor)
        elif kind == Kind.INIT_LIST_EXPR:
            self.swap(cursor, children)
        elif kind == Kind.UNARY_OPERATOR:
            self.change_unary(cursor)
        elif kind in (Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL):
            self.change_number(cursor)
        elif kind == Kind.CHARACTER_LITERAL:
            self.replace(cursor, "'#'", "constant", r"'.+'")
        elif kind == Kind.STRING_LITERAL:
            self.change_text(cursor)
        elif kind == Kind.CXX_BOOL_LITERAL_EXPR:
            self.replace(cursor, "false" if self.text(cursor) == "true" else "true", "constant", r"true|false")
        elif kind == Kind.RETURN_STMT:
            self.change_return(children)
        if kind in (Kind.IF_STMT, Kind.WHILE_STMT, Kind.CONDITIONAL_OPERATOR):
            self.negate_condition(children)
        if kind == Kind.COMPOUND_STMT:
            for child in children:
                self.drop(child)
        elif kind in DROPPED_WHOLE and children:
            self.drop(children[-1])

    def replace(self, cursor, text, kind, pattern=r"(?s).+"):
        if re.fullmatch(pattern, self.text(cursor)):
            self.add(cursor, cursor.extent.start.offset, cursor.extent.end.offset, text, kind)

    def change_operator(self, cursor, left, right):
        path = self.path_of(left)
        if path is None or path != self.path_of(right):
            return
        begin, end = left.extent.end.offset, right.extent.start.offset
        between = self.sources[path][begin:end].decode()
        kind, others = OTHER_OPERATORS.get(between.strip(), ("", ()))
        for other in others:
            self.add(cursor, begin, end, between.replace(between.strip(), other), kind)

    def change_call(self, cursor):
        arguments = [argument for argument in cursor.get_arguments() if argument is not None]
        if cursor.spelling.startswith("operator") and len(arguments) == 2:
            self.change_operator(cursor, arguments[0], arguments[1])
        elif not cursor.spelling.startswith("operator"):
            self.swap(cursor, arguments)

    def swap(self, cursor, pieces):
        path = self.path_of(cursor)
        for left, right in zip(pieces, pieces[1:]):
            texts = self.text(left), self.text(right)
            if not all(texts) or texts[0] == texts[1] or shape(left.type) != shape(right.type):
                continue
            if left.extent.end.offset > right.extent.start.offset:
                continue
            between = self.sources[path][left.extent.end.offset:right.extent.start.offset].decode()
            if between.strip() == ",":
                self.add(cursor, left.extent.start.offset, right.extent.end.offset, texts[1] + between + texts[0], "swap")

    def change_unary(self, cursor):
        text, begin, end = self.text(cursor), cursor.extent.start.offset, cursor.extent.end.offset
        for sign, other in (("++", "--"), ("--", "++")):
            if text.startswith(sign):
                self.add(cursor, begin, begin + 2, other, "arithmetic")
                return
            if text.endswith(sign):
                self.add(cursor, end - 2, end, other, "arithmetic")
                return
        if text[:1] in ("!", "-", "~"):
            self.add(cursor, begin, begin + 1, "", "negation" if text[0] == "!" else "arithmetic")

    def change_number(self, cursor):
        text = self.text(cursor)
        if not re.fullmatch(r"[0-9][0-9a-zA-Z'.]*", text):
            return
        self.replace(cursor, "1" if text == "0" else f"({text} + 1)", "constant")
        if text != "0":
            self.replace(cursor, f"({text} - 1)", "constant")

    def change_text(self, cursor):
        """Replaces the first character, unless it is escaped."""
        text = self.text(cursor)
        if re.fullmatch(r'"[^\n]*"', text):
            self.replace(cursor, '"~' + (text[1:] if text[1] in '"\\' else text[2:]), "text")

    def change_return(self, children):
        if children and self.text(children[0]) not in ("true", "false") and children[0].type.get_canonical().spelling == "bool":
            self.replace(children[0], f"!({self.text(children[0])})", "negation")

    def negate_condition(self, children):
        for child in children:
            if child.kind.is_expression():
                self.replace(child, f"!({self.text(child)})", "negation")
                return

    def drop(self, statement):
        if statement.kind in DROPPED_WHOLE:
            self.replace(statement, "{}", "drop")
        elif statement.kind in DROPPED or (statement.kind == Kind.RETURN_STMT and not list(statement.get_children())):
            self.replace(statement, "(void)0", "drop")
        elif statement.kind == Kind.DECL_STMT and GUARDS.search(self.text(statement)):
            self.replace(statement, "", "drop")


def read_sources(root, what):
    """The sources of the product or of the tools by path."""
    return {str(file.relative_to(root)): file.read_bytes()
            for part in PARTS[what] for file in sorted((root / part).rglob("*")) if file.suffix in (".cpp", ".h")}


def find_changes(root, sources, commands, cache):
    """All possible changes; `commands` are the compiler's arguments by path. Cached in `cache` until a source
    changes."""
    mine = Path(__file__).read_bytes()
    state = hashlib.sha256(mine + b"".join(path.encode() + text for path, text in sorted(sources.items()))).hexdigest()
    if cache.exists():
        kept = json.loads(cache.read_text())
        if kept["state"] == state:
            return [Change(**change) for change in kept["changes"]]
    found = set()
    index = clang.cindex.Index.create()
    for path in sorted(path for path in sources if path in commands):
        wanted = [argument for argument in commands[path] if argument.startswith(("-I", "-D", "-std"))]
        unit = index.parse(str(root / path), args=wanted)
        errors = [str(message) for message in unit.diagnostics if message.severity >= clang.cindex.Diagnostic.Error]
        if errors:
            raise SystemExit(f"mutants: {path} cannot be parsed: {errors[0]}")
        Finder(root, sources, found).visit(unit.cursor)
    changes = sorted(found, key=lambda change: (change.path, change.begin, change.end, change.text))
    cache.write_text(json.dumps({"state": state, "changes": [asdict(change) for change in changes]}))
    return changes


def order_by_chance(changes, seed, path):
    """The changes of one file, in an order by seed that takes every kind in turn."""
    chance = random.Random(f"{seed} {path}")
    kinds = {}
    for change in changes:
        kinds.setdefault(change.kind, []).append(change)
    for some in kinds.values():
        chance.shuffle(some)
    ordered = []
    while kinds:
        turn = sorted(kinds)
        chance.shuffle(turn)
        for kind in turn:
            ordered.append(kinds[kind].pop())
            if not kinds[kind]:
                del kinds[kind]
    return ordered


def share_out(changes, sources, count, seed):
    """For each file the changes in the order to try, and how many of them to try: in proportion to the lines on which
    there is something to change."""
    by_path = {}
    for change in changes:
        by_path.setdefault(change.path, []).append(change)
    lines = {path: len({change.line(sources[path]) for change in some}) for path, some in by_path.items()}
    total = sum(lines.values())
    return {path: (order_by_chance(some, seed, path), max(1, round(count * lines[path] / total)))
            for path, some in sorted(by_path.items())}
