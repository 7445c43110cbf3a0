"""The layouts of metafile records: the files of `api/records`, read and compared with the catalogue.

A layout says in which order and form the fields of a record or object stand in a file. docs/metafiles.md describes how
the files are written. What is checked here: every name is a property of the class that the block describes, or a local
name; every property of every class of these namespaces has a place in its block, or the block says that it is apart;
every class has a block or stands in a list of abstract ones.
"""

from __future__ import annotations

import ast
import re
from dataclasses import dataclass, field
from pathlib import Path

from .errors import CatalogueError, Place
from .model import Model, Property, Type
from .rows import read_rows
from .wires import Instance, Struct

# The forms of one value, by the bytes that it has.
FORMS = {"u8": 1, "i8": 1, "u16": 2, "i16": 2, "u32": 4, "i32": 4, "u64": 8, "f32": 4, "colorref": 4, "argb": 4,
         "rgbquad": 4, "rgbtriple": 3, "palentry": 4, "point32": 8, "point16": 4, "point16yx": 4, "size32": 8,
         "rect32": 16, "rect16": 8, "rect16yx": 8, "pointf": 8, "point16f": 4, "rectf": 16, "rect16f": 8, "matrix": 24}
# Those that exist with a number in brackets only: text and bytes, and lists whose elements differ in length.
SERIES = ("bytes", "utf16", "utf16z", "ansi", "ansiz", "pointr", "tsrect")
FAMILIES = ("wmf", "emf", "emfplus")
# The words behind the form of a field; what follows each is an expression.
_WORDS = {"=": "derived", "if": "condition", "present": "present", "at": "at", "for": "limit", "with": "argument",
          "by": "by", "writing": "writing"}
_ITEM = re.compile(
    r"(?P<name>[a-z_][\w.]*) (?P<form>\w+)"
    r"(?: \[(?P<count>.+?)\](?= (?:=|if|present|at|for|with|by|runs) |$))?"
    r"(?: runs (?P<runs>\w+))?(?: default (?P<default>\d+))?(?P<rest>(?: .+)?)")
_CLAUSE = re.compile(r" (=|if|present|at|for|with|by|writing) ")
_BINARY: dict[type[ast.operator], str] = {
    ast.Add: "kAdd", ast.Sub: "kSubtract", ast.Mult: "kMultiply", ast.Div: "kDivide", ast.BitAnd: "kAnd",
    ast.BitOr: "kOr", ast.LShift: "kShiftLeft", ast.RShift: "kShiftRight"}
_COMPARE: dict[type[ast.cmpop], str] = {ast.Eq: "kEqual", ast.NotEq: "kUnequal", ast.Lt: "kLess", ast.Gt: "kGreater",
                                        ast.LtE: "kLessOrEqual", ast.GtE: "kGreaterOrEqual"}
_PLAIN = {"size": "kSize", "rest": "kRest", "number": "kNumber", "continues": "kContinues"}
_OF_NAME = {"len": "kCount", "bytes": "kBytes", "offset": "kOffset", "has": "kHas", "sum": "kSum"}
_OF_VALUES = {"pick": "kPick", "min": "kMin", "max": "kMax", "peek16": "kPeek16", "peek32": "kPeek32"}


@dataclass(frozen=True)
class Step:
    """One step of an expression in reverse Polish notation; the argument is a number, a path or a block's name."""

    code: str
    argument: int | RecordPath | str = 0


@dataclass(frozen=True)
class RecordPath:
    """A name in a block: a local one, a property of the object or of one inside it, or one of the object around."""

    scope: str  # "kLocal", "kObject", "kOuter"
    first: str  # the managed name; of a local one, the name itself
    second: str = ""


@dataclass
class Item:
    """One line of a block: a field, or something that is computed where it stands."""

    place: Place
    kind: str  # an enumerator of the runtime's ItemKind
    path: RecordPath | None = None
    form: str = ""
    reference: str = ""  # the block or choice of an object
    low: int = 0
    high: int = 0
    default: int = 0
    fixed: bool = False  # a list whose length the block states, whatever is in it
    others: list[RecordPath] = field(default_factory=list)
    clauses: dict[str, list[Step]] = field(default_factory=dict)


@dataclass
class Block:
    """The layout of one record or object."""

    place: Place
    family: str
    kind: str  # "frame", "raw", "record", "object"
    name: str
    entry: Type
    number: int = -1
    parameter: str = ""
    condition: str = ""
    lines: list[tuple[Place, str]] = field(default_factory=list)
    items: list[Item] = field(default_factory=list)
    apart: set[str] = field(default_factory=set)


@dataclass
class Choice:
    """Which block describes an object, by a number in the file."""

    place: Place
    name: str
    rows: list[tuple[int | None, str | None]] = field(default_factory=list)


@dataclass
class Layouts:
    """All blocks and choices of an assembly."""

    blocks: list[Block] = field(default_factory=list)
    choices: dict[str, Choice] = field(default_factory=dict)
    conditions: dict[str, list[Step]] = field(default_factory=dict)


def properties_of(entry: Type) -> dict[str, Property]:
    """The instance properties of a type and its bases by their Python names."""
    return {prop.python: prop for each in [*reversed(entry.bases()), entry] for prop in each.properties
            if not prop.static}


def _number(place: Place, text: str) -> int:
    try:
        return int(text, 0)
    except ValueError as error:
        raise CatalogueError(place, f"'{text}' is not a number") from error


class _Reader:
    """Reads the files of a folder."""

    def __init__(self, model: Model) -> None:
        self._by_name: dict[str, list[Type]] = {}
        for entry in model.types:
            self._by_name.setdefault(entry.name, []).append(entry)
        self.layouts = Layouts()
        self._records: dict[str, list[str]] = {}  # namespaces by family
        self._objects: list[str] = []
        self._abstract: set[str] = set()
        self._outer: set[str] = set()
        self._family = ""
        self._block: Block | Choice | None = None

    # -- lines ---------------------------------------------------------------------------------------------------------

    def read(self, path: Path) -> None:
        """The blocks of one file, with their lines as they are."""
        for place, text in read_rows(path):
            if text.startswith("    "):
                if self._block is None:
                    raise CatalogueError(place, "a field stands outside of a block")
                self._line(self._block, place, text.strip())
            else:
                self._head(place, text)

    def _line(self, block: Block | Choice, place: Place, text: str) -> None:
        if isinstance(block, Block):
            block.lines.append((place, text))
            return
        value, _, name = text.partition(" ")
        block.rows.append((None if value == "else" else _number(place, value), None if name == "none" else name))

    def _head(self, place: Place, text: str) -> None:
        word, _, rest = text.partition(" ")
        if word == "family" and rest in FAMILIES:
            self._family = rest
        elif word == "records" and rest.startswith("in "):
            self._records.setdefault(self._family, []).append(rest[3:])
        elif word == "objects" and rest.startswith("in "):
            self._objects.append(rest[3:])
        elif word == "abstract":
            self._abstract |= {self._type(place, name, True).full_name for name in rest.split()}
        elif word == "choice":
            self._block = self.layouts.choices[rest] = Choice(place, rest)
        elif word in ("frame", "raw", "record", "object", "part"):
            self._block = self._open(place, word, rest)
            self.layouts.blocks.append(self._block)
        else:
            raise CatalogueError(place, f"'{text}' is not a line of a layout")

    def _open(self, place: Place, word: str, text: str) -> Block:
        text, _, condition = text.partition(" when ")
        if word == "record":
            name, _, number = text.partition(" ")
            return Block(place, self._family, word, name, self._type(place, name, True), _number(place, number),
                         condition=condition)
        name, _, described = text.partition(" of ")
        name, _, parameter = name.rstrip(")").partition("(")
        entry = self._type(place, (described if word == "part" else name).rstrip(")"), word in ("frame", "raw"))
        return Block(place, self._family, "object" if word == "part" else word, name, entry, parameter=parameter)

    def _type(self, place: Place, name: str, record: bool) -> Type:
        """The class of that name, of the record or object namespaces, or else of the others."""
        own = self._records.get(self._family, [])
        first, second = (own, self._objects) if record else (self._objects, own)
        outer, _, simple = name.rpartition(".")  # the end of the namespace tells classes of the same name apart
        for namespaces in (first, second):
            found = [entry for entry in self._by_name.get(simple, [])
                     if entry.namespace in namespaces and f".{entry.namespace}".endswith(f".{outer}" if outer else "")]
            if len(found) == 1:
                return found[0]
        raise CatalogueError(place, f"the catalogue has no class {name} in the namespaces of this file")

    # -- items ---------------------------------------------------------------------------------------------------------

    def resolve(self) -> None:
        """The items of all blocks, compared with the catalogue."""
        objects = {block.name: block for block in self.layouts.blocks if block.kind == "object"}
        for block in self.layouts.blocks:
            for place, text in block.lines:
                self._item(block, place, text, objects)
            if block.condition:
                self.layouts.conditions[block.entry.full_name] = self._expression(block, block.place, block.condition)
        frames = {block.family: block for block in self.layouts.blocks if block.kind == "frame"}
        for block in self.layouts.blocks:
            if block.kind == "record":
                block.items[:0] = frames[block.family].items
        self._check(objects)

    def _item(self, block: Block, place: Place, text: str, objects: dict[str, Block]) -> None:
        word, _, rest = text.partition(" ")
        if word == "like":
            if rest not in objects or not objects[rest].items:
                raise CatalogueError(place, f"there is no object {rest} before this line")
            for item in objects[rest].items:
                if item.path is not None and item.path.scope == "kObject" and item.path.first not in {
                        prop.managed for prop in properties_of(block.entry).values()}:
                    raise CatalogueError(place, f"{block.entry.name} has no property {item.path.first}")
            block.items += objects[rest].items
            block.apart |= objects[rest].apart
        elif word == "apart":
            self._property(block, place, rest)
            block.apart.add(rest)
        elif word == "copies":
            path = self._path(block, place, rest)
            block.items.append(Item(place, "kCopied", path, others=[path]))
            block.apart |= {name for base in block.entry.bases() for name in properties_of(base)}
        elif word == "align":
            block.items.append(Item(place, "kAlign", default=_number(place, rest)))
        else:
            block.items.append(self._field(block, place, text))

    def _field(self, block: Block, place: Place, text: str) -> Item:
        words = text.split(" ")
        path = self._path(block, place, words[0], declares=True)
        second = words[1] if len(words) > 1 else ""
        if second in ("bits", "sbits"):
            return self._bits(block, place, path, text)
        if second == "mark":
            return Item(place, "kMark", path)
        if second == "view":
            return Item(place, "kView", path, others=[self._path(block, place, name) for name in words[2:]])
        if second == "is":
            item = Item(place, "kComputed", path)
            value, _, writing = text.partition(" is ")[2].partition(" writing ")
            item.clauses["derived"] = self._expression(block, place, value)
            if writing:
                item.clauses["writing"] = self._expression(block, place, writing)
            return item
        return self._plain(block, place, path, text)

    def _bits(self, block: Block, place: Place, path: RecordPath, text: str) -> Item:
        head, _, derived = text.partition(" = ")
        _, word, whole, bits = head.split(" ")
        low, _, high = bits.partition("-")
        item = Item(place, "kBits", path, low=_number(place, low), high=_number(place, high or low),
                    others=[self._path(block, place, whole)], default=int(word == "sbits"))
        if derived:
            item.clauses["derived"] = self._expression(block, place, derived)
        return item

    def _plain(self, block: Block, place: Place, path: RecordPath, text: str) -> Item:
        match = _ITEM.fullmatch(text)
        if match is None:
            raise CatalogueError(place, f"'{text}' is not a field")
        form, count = match["form"], match["count"]
        item = Item(place, "kField", path, form, default=int(match["default"] or 0))
        if form == "emfplus":
            item.kind, item.form = "kRecords", ""
        elif form in SERIES:
            item.kind = "kSeries"
        elif form in FORMS:
            item.kind = "kList" if count else "kField"
        elif form in self.layouts.choices or any(b.name == form and b.kind == "object" for b in self.layouts.blocks):
            item.kind, item.form, item.reference = ("kObjects" if count else "kObject"), "", form
        else:
            raise CatalogueError(place, f"'{form}' is no form of a field, object or choice")
        if (form in SERIES) != bool(count) and form in SERIES:
            raise CatalogueError(place, f"a field of form {form} needs its length in brackets")
        if count:
            item.clauses["count"] = self._expression(block, place, count)
            item.fixed = count.isdigit()
        if match["runs"]:
            item.others.append(RecordPath("kObject", "".join(part.capitalize() for part in match["runs"].split("_"))))
        pieces = _CLAUSE.split(match["rest"])
        for word, expression in zip(pieces[1::2], pieces[2::2]):
            item.clauses[_WORDS[word]] = self._expression(block, place, expression)
        return item

    # -- names ---------------------------------------------------------------------------------------------------------

    def _property(self, block: Block, place: Place, name: str) -> Property:
        prop = properties_of(block.entry).get(name)
        if prop is None:
            raise CatalogueError(place, f"{block.entry.name} has no property {name}")
        return prop

    def _path(self, block: Block, place: Place, name: str, declares: bool = False) -> RecordPath:
        first, _, second = name.partition(".")
        if first.startswith("_"):
            known = declares or any(text.startswith(f"{first} ") for _, text in block.lines) or any(
                item.path is not None and item.path.first == first for item in block.items)
            if not known:
                raise CatalogueError(place, f"{first} is not a field of this block")
            return RecordPath("kLocal", first)
        if first == "outer":
            self._outer.add(second)
            managed = {prop.managed for entries in self._by_name.values() for entry in entries
                       if entry.namespace in [*self._objects, *sum(self._records.values(), [])]
                       for prop in entry.properties if prop.python == second}
            if len(managed) != 1:
                raise CatalogueError(place, f"{second} is the name of no property, or of several")
            return RecordPath("kOuter", managed.pop())
        prop = self._property(block, place, first)
        if not second:
            return RecordPath("kObject", prop.managed)
        inner = prop.wire.type if isinstance(prop.wire, (Instance, Struct)) else None
        owner = next((entry for entry in self._by_name.get(inner.name, []) if entry is inner), None) if inner else None
        names = {}
        if owner is not None:  # the property may be one of a class that derives from the declared one
            for entries in self._by_name.values():
                for entry in entries:
                    if entry is owner or owner in entry.bases():
                        names.update({key: value.managed for key, value in properties_of(entry).items()})
        if second not in names:
            raise CatalogueError(place, f"{first} has no property {second}")
        return RecordPath("kObject", prop.managed, names[second])

    # -- expressions ---------------------------------------------------------------------------------------------------

    def _expression(self, block: Block, place: Place, text: str) -> list[Step]:
        try:
            tree = ast.parse(text.strip(), mode="eval").body
        except SyntaxError as error:
            raise CatalogueError(place, f"'{text}' is not an expression") from error
        return self._steps(block, place, tree)

    def _steps(self, block: Block, place: Place, tree: ast.expr) -> list[Step]:
        def steps(*trees: ast.expr) -> list[Step]:
            return [step for each in trees for step in self._steps(block, place, each)]

        if isinstance(tree, ast.Constant) and isinstance(tree.value, int):
            return [Step("kConstant", tree.value)]
        if isinstance(tree, ast.Name) and tree.id in _PLAIN and tree.id not in self._own_names(block):
            return [Step(_PLAIN[tree.id])]
        if isinstance(tree, ast.Name) and tree.id == "here":
            return [Step("kHere")]
        if isinstance(tree, ast.Name) and tree.id == block.parameter:
            return [Step("kParameter")]
        if isinstance(tree, (ast.Name, ast.Attribute)):
            return [Step("kValue", self._path(block, place, ast.unparse(tree)))]
        if isinstance(tree, ast.BinOp) and type(tree.op) in _BINARY:
            return [*steps(tree.left, tree.right), Step(_BINARY[type(tree.op)])]
        if isinstance(tree, ast.Compare) and len(tree.ops) == 1 and type(tree.ops[0]) in _COMPARE:
            return [*steps(tree.left, tree.comparators[0]), Step(_COMPARE[type(tree.ops[0])])]
        if isinstance(tree, ast.UnaryOp) and isinstance(tree.op, ast.Not):
            return [*steps(tree.operand), Step("kNot")]
        if isinstance(tree, ast.Call) and isinstance(tree.func, ast.Name):
            return self._call(block, place, tree.func.id, tree.args)
        raise CatalogueError(place, f"'{ast.unparse(tree)}' cannot stand in an expression")

    @staticmethod
    def _own_names(block: Block) -> set[str]:
        """The fields that an expression of a frame means by the words that it would read as others."""
        return {"size", "number"} & set(properties_of(block.entry)) if block.kind == "object" else set()

    def _call(self, block: Block, place: Place, name: str, arguments: list[ast.expr]) -> list[Step]:
        if name in _OF_NAME and len(arguments) == 1:
            return [Step(_OF_NAME[name], self._path(block, place, ast.unparse(arguments[0])))]
        if name == "kind" and len(arguments) == 1:
            return [Step("kKind", self._path(block, place, ast.unparse(arguments[0])))]
        if name == "made" and len(arguments) == 1:
            return [Step("kMade", ast.unparse(arguments[0]))]
        if name in _OF_VALUES:
            steps = [step for each in arguments for step in self._steps(block, place, each)]
            if name in ("min", "max"):
                return [*steps, *[Step(_OF_VALUES[name])] * (len(arguments) - 1)]
            return [*steps, Step(_OF_VALUES[name])]
        raise CatalogueError(place, f"{name}() is no function of expressions")

    # -- what is there -------------------------------------------------------------------------------------------------

    def _check(self, objects: dict[str, Block]) -> None:
        described = {block.entry.full_name for block in self.layouts.blocks} | self._abstract
        for block in self.layouts.blocks:
            self._check_block(block)
        for choice in self.layouts.choices.values():
            for _, name in choice.rows:
                if name is not None and name not in objects:
                    raise CatalogueError(choice.place, f"there is no object {name}")
        for entries in self._by_name.values():
            for entry in entries:
                if (entry.namespace in [*self._objects, *sum(self._records.values(), [])] and not entry.is_enum
                        and entry.kind != "static class" and entry.full_name not in described):
                    raise CatalogueError(entry.place, f"{entry.full_name} has no layout and is not abstract")

    def _check_block(self, block: Block) -> None:
        placed = {item.path.first for item in block.items if item.path is not None and item.path.scope == "kObject"}
        for name, prop in properties_of(block.entry).items():
            known = prop.managed in placed or name in block.apart or name in self._outer or block.kind == "frame"
            if not known:
                raise CatalogueError(block.place, f"{block.entry.name}.{name} has no place in the layout")


def read_layouts(folder: Path, model: Model) -> Layouts:
    """The layouts of an assembly; none where the folder is not there."""
    reader = _Reader(model)
    for family in FAMILIES:
        path = folder / f"{family}.txt"
        if path.exists():
            reader.read(path)
    reader.resolve()
    return reader.layouts
