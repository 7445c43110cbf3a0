"""Prints the layouts of metafile records as tables of the embedded runtime."""

from __future__ import annotations

from ...records import Block, Choice, Item, Layouts, RecordPath, Step
from ..cpp_text import function, quoted, table

_KINDS = {"raw": "kRaw", "record": "kRecord", "object": "kObject"}
_FAMILIES = {"wmf": "kWmf", "emf": "kEmf", "emfplus": "kEmfPlus"}
_CLAUSES = ("count", "condition", "present", "at", "limit", "argument", "by", "derived", "writing")


class RecordTables:
    """Collects the tables; paths, steps and items are numbered through."""

    def __init__(self, layouts: Layouts) -> None:
        self._layouts = layouts
        self._blocks = [block for block in layouts.blocks if block.kind != "frame"]
        self._objects = {block.name: number for number, block in enumerate(self._blocks) if block.kind == "object"}
        self._choices = {name: number for number, name in enumerate(layouts.choices)}
        self._paths: dict[RecordPath, int] = {}
        self._steps: list[str] = []
        self._items: list[str] = []
        self._others: list[str] = []

    def _path(self, path: RecordPath) -> int:
        return self._paths.setdefault(path, len(self._paths))

    def _argument(self, step: Step) -> int:
        if isinstance(step.argument, RecordPath):
            return self._path(step.argument)
        if isinstance(step.argument, str):
            return self._objects[step.argument]
        return step.argument

    def _expression(self, steps: list[Step] | None) -> int:
        """The position of the expression's first step, -1 where there is none."""
        if steps is None:
            return -1
        start = len(self._steps)
        self._steps += [f"{{StepCode::{step.code}, {self._argument(step)}}}" for step in steps]
        self._steps.append("{StepCode::kEnd, 0}")
        return start

    def _item(self, item: Item) -> str:
        form = "".join(part.capitalize() for part in item.form.split("_")) or "None"
        reference = self._objects.get(item.reference, self._choices.get(item.reference, -1))
        is_choice = item.reference in self._choices
        others = len(self._others)
        self._others += [str(self._path(path)) for path in item.others]
        uses = item.clauses.get("count", [])
        checked = bool(uses) and not any(
            step.code in ("kRest", "kSize", "kBytes", "kOffset")
            or (isinstance(step.argument, RecordPath) and step.argument.second) for step in uses)
        fields = [f"ItemKind::{item.kind}", f"RecordForm::k{form}",
                  str(self._path(item.path) if item.path is not None else -1),
                  str(reference), str(is_choice).lower(), str(item.fixed).lower(), str(checked).lower(),
                  str(item.low), str(item.high), str(item.default), str(others), str(len(item.others)),
                  *(str(self._expression(item.clauses.get(clause))) for clause in _CLAUSES)]
        return f"{{{', '.join(fields)}}}"

    def _block(self, block: Block) -> str:
        first = len(self._items)
        self._items += [self._item(item) for item in block.items]
        condition = self._layouts.conditions.get(block.entry.full_name) if block.condition else None
        return (f"{{{quoted(block.name)}, {quoted(block.entry.full_name)}, RecordFamily::{_FAMILIES[block.family]}, "
                f"BlockKind::{_KINDS[block.kind]}, {block.number}, {self._expression(condition)}, {first}, "
                f"{len(block.items)}}}")

    def _choice(self, choice: Choice) -> tuple[list[str], str]:
        rows = [f"{{{0 if value is None else value}, {str(value is None).lower()}, "
                f"{-1 if name is None else self._objects[name]}}}" for value, name in choice.rows]
        name = f"choice_{self._choices[choice.name]}"
        return table(f"constexpr ChoiceRow {name}[]", rows), name

    def write(self) -> list[str]:
        """The source file of the tables."""
        lines = ["// The layouts of metafile records: written by the generator.",
                 '#include "runtime/native/formats/metafile/record_tables.h"', "",
                 "namespace zelmor::embed::metafile {", "namespace {", ""]
        blocks = [self._block(block) for block in self._blocks]
        names = []
        for choice in self._layouts.choices.values():
            rows, name = self._choice(choice)
            lines += rows
            names.append(f"{{{quoted(choice.name)}, {name}}}")
        paths = [f"{{PathScope::{path.scope}, {quoted(path.first)}, {quoted(path.second)}}}" for path in self._paths]
        empty = "{}"
        for head, rows in (("RecordPath kPaths[]", paths), ("Step kSteps[]", self._steps),
                           ("RecordItem kItems[]", self._items), ("int16_t kOthers[]", self._others or ["0"]),
                           ("RecordBlock kBlocks[]", blocks), ("RecordChoice kChoices[]", names)):
            lines += table(f"constexpr {head}", rows or [empty])
        lines += ["}  // namespace", ""]
        for kind, name, rows in (("RecordPath", "Paths", paths), ("Step", "Steps", self._steps),
                                 ("RecordItem", "Items", self._items), ("int16_t", "Others", self._others),
                                 ("RecordBlock", "Blocks", blocks), ("RecordChoice", "Choices", names)):
            lines += function(f"std::span<const {kind}> record_{name.lower()}()",
                              [f"return k{name};"] if rows else ["return {};"])
        return [*lines, "}  // namespace zelmor::embed::metafile"]
