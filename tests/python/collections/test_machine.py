"""Managed collections of every kind and element compared with a Python list: the same operations, the same results.

The model states the differences to a list: a slice assignment keeps the length, equality distinguishes the types of
values, `pop(None)` removes the first element, elements cannot be removed from an array, and operations that create a
new sequence create a plain list.
"""

from __future__ import annotations

from typing import Any

import pytest
from hypothesis import HealthCheck, settings
from hypothesis import strategies as st
from hypothesis.stateful import RuleBasedStateMachine, invariant, precondition, rule, run_state_machine_as_test
from support.collections import (INTEROP, INTEROP_KINDS, ROWS, TYPED, VARIANTS, cast, make_interop, make_typed, same,
                                 values_of)
from support.draws import examples

from tools.generator.wires import Scalar

INDICES = st.integers(-9, 9)
BOUNDS = st.none() | st.integers(-9, 9)
SLICES = st.builds(slice, BOUNDS, BOUNDS, st.none() | st.integers(-4, 4).filter(bool))
#: The generated numbers are positions in the pool of values, which is never empty.
DRAWN = st.integers(0, 11)
MANY = st.lists(DRAWN, max_size=6)
#: The Python types in which several values are passed.
FORMS = st.sampled_from(["list", "tuple", "sequence", "managed", "iterator"])
MOST = 40


class Sequence:
    """A sequence that is neither a list nor a tuple."""

    def __init__(self, items: list[Any]) -> None:
        self._items = items

    def __len__(self) -> int:
        return len(self._items)

    def __getitem__(self, index: int) -> Any:
        return self._items[index]


def equal(left: Any, right: Any) -> bool:
    """Equality of the managed side, where True is not 1."""
    return type(left) is type(right) and bool(left == right)


def outcome(action: Any) -> tuple[str, Any]:
    """The result of an action, or its failure."""
    try:
        return "value", action()
    except (IndexError, ValueError, TypeError) as error:
        return type(error).__name__, str(error)


class CountedBesideAList(RuleBasedStateMachine):
    """A managed collection with a length and an iterator, and its model."""

    pool: list[Any]
    kind: str

    def make(self, values: list[Any]) -> Any:
        """A collection of the kind under test."""
        raise NotImplementedError

    def __init__(self) -> None:
        super().__init__()
        self.theirs = [self.value(number) for number in range(5)]
        self.ours = self.make(self.theirs)

    def teardown(self) -> None:
        del self.ours

    def value(self, drawn: int) -> Any:
        return self.pool[drawn % len(self.pool)]

    def values(self, drawn: list[int]) -> list[Any]:
        return [self.value(number) for number in drawn]

    def formed(self, form: str, items: list[Any]) -> Any:
        """The items as an argument of this Python type."""
        return {"list": lambda: list(items), "tuple": lambda: tuple(items), "sequence": lambda: Sequence(items),
                "managed": lambda: self.make(items), "iterator": lambda: iter(items)}[form]()

    def find(self, value: Any, start: int = 0, stop: int | None = None) -> int:
        positions = range(*slice(start, stop).indices(len(self.theirs)))
        return next((i for i in positions if equal(self.theirs[i], value)), -1)

    # Checks of the state of both.

    @invariant()
    def they_hold_the_same(self) -> None:
        assert len(self.ours) == self.ours.length == len(self.theirs)
        assert same(list(self.ours), self.theirs)
        assert same(self.ours.copy(), self.theirs)

    @rule(drawn=DRAWN)
    def search(self, drawn: int) -> None:
        value = self.value(drawn)
        count = sum(equal(item, value) for item in self.theirs)
        assert self.ours.count(value) == count
        assert self.ours.contains(value) is (count > 0)
        assert (value in self.ours) is (count > 0)

    @rule(drawn=MANY, form=FORMS)
    def concat(self, drawn: list[int], form: str) -> None:
        items = self.values(drawn)
        ours = self.ours + self.formed(form, items)
        assert type(ours) is list
        assert same(ours, self.theirs + items)

    @rule(count=st.integers(-2, 3))
    def repeat(self, count: int) -> None:
        for ours in (self.ours * count, count * self.ours):
            assert type(ours) is list
            assert same(ours, self.theirs * count)
            assert all(ours[i] is ours[i % len(self.theirs)] for i in range(len(ours)))

    @rule()
    def iterate(self) -> None:
        iterator = iter(self.ours)
        assert iter(iterator) is iterator
        assert same([next(iterator) for _ in self.theirs], self.theirs)
        assert [outcome(lambda: next(iterator, "end")) for _ in range(2)] == [("value", "end")] * 2


class BesideAList(CountedBesideAList):
    """A managed collection that is indexed and changed, directly or through another wrapper of it, and its model."""

    sortable: bool

    def edit(self, collection: Any) -> Any:
        """The wrapper through which the collection is changed: itself, unless its kind has no such operations."""
        return collection

    def __init__(self) -> None:
        super().__init__()
        self.editor = self.edit(self.ours)

    def teardown(self) -> None:
        del self.editor
        super().teardown()

    @property
    def fixed(self) -> bool:
        """Whether the length of the collection is fixed."""
        return self.kind == "array"

    @property
    def indexed(self) -> bool:
        """Whether the collection itself can be indexed."""
        return self.kind != "icol"

    @rule(index=INDICES)
    def item(self, index: int) -> None:
        kind, theirs = outcome(lambda: self.theirs[index])
        ours_kind, ours = outcome(lambda: self.editor[index])
        assert (ours_kind, type(ours)) == (kind, type(theirs))
        assert ours == theirs

    @rule(part=SLICES)
    def part(self, part: slice) -> None:
        ours = self.editor[part]
        assert type(ours) is list
        assert same(ours, self.theirs[part])

    @rule(drawn=DRAWN, start=st.none() | INDICES, stop=st.none() | INDICES)
    def index(self, drawn: int, start: int | None, stop: int | None) -> None:
        value = self.value(drawn)
        bounds = () if start is None else (start,) if stop is None else (start, stop)
        position = self.find(value, *bounds)
        found = outcome(lambda: self.editor.index(value, *bounds))
        assert found == (("value", position) if position >= 0 else ("ValueError", "value is not in list"))

    @rule(key=st.sampled_from(["a", 1.0, None, (1, 2)]))
    def wrong_key(self, key: Any) -> None:
        refusal = "TypeError", f"list indices must be integers or slices, not {type(key).__name__}"
        assert outcome(lambda: self.editor[key]) == refusal
        assert outcome(lambda: self.editor.__setitem__(key, self.value(0))) == refusal

    # Changes that every kind with an index supports.

    @rule(index=INDICES, drawn=DRAWN)
    def set_item(self, index: int, drawn: int) -> None:
        value = self.value(drawn)
        ours = outcome(lambda: self.editor.__setitem__(index, value))
        if -len(self.theirs) <= index < len(self.theirs):
            assert ours == ("value", None)
            self.theirs[index] = value
        else:
            assert ours == ("IndexError", "list index out of range")

    @rule(part=SLICES, drawn=MANY, form=FORMS, fit=st.booleans())
    def set_part(self, part: slice, drawn: list[int], form: str, fit: bool) -> None:
        size = len(self.theirs[part])
        items = self.values((drawn * size + list(range(size)))[:size] if fit else drawn)
        value = self.formed(form, items)
        ours = outcome(lambda: self.editor.__setitem__(part, value))
        if form == "iterator" or (form == "managed" and not self.indexed):
            assert ours == ("TypeError", "must assign iterable to extended slice")
        elif len(items) != size:
            assert ours == ("ValueError", f"attempt to assign sequence of size {len(items)} to extended slice of size "
                                          f"{size}")
        else:
            assert ours == ("value", None)
            for position, item in zip(range(*part.indices(len(self.theirs))), items):
                self.theirs[position] = item

    @rule()
    def reverse(self) -> None:
        assert self.editor.reverse() is None
        self.theirs.reverse()

    @precondition(lambda self: self.sortable)
    @rule(descending=st.booleans())
    def sort(self, descending: bool) -> None:
        assert self.editor.sort(key=None, reverse=descending) is None
        self.theirs.sort(reverse=descending, key=lambda item: (item is not None, item or type(item)()))

    # Deletion, which an array refuses, and growth, which it does not support.

    @rule(index=INDICES)
    def delete_item(self, index: int) -> None:
        ours = outcome(lambda: self.editor.__delitem__(index))
        if self.fixed:
            assert ours == ("ValueError", "elements removing not supported")
        elif -len(self.theirs) <= index < len(self.theirs):
            assert ours == ("value", None)
            del self.theirs[index]
        else:
            assert ours == ("IndexError", "list index out of range")

    @rule(part=SLICES)
    def delete_part(self, part: slice) -> None:
        ours = outcome(lambda: self.editor.__delitem__(part))
        if self.fixed:
            assert ours == ("ValueError", "elements removing not supported")
        else:
            assert ours == ("value", None)
            del self.theirs[part]

    @precondition(lambda self: not self.fixed and len(self.theirs) < MOST)
    @rule(drawn=DRAWN)
    def append(self, drawn: int) -> None:
        assert self.editor.append(self.value(drawn)) is None
        self.theirs.append(self.value(drawn))

    @precondition(lambda self: not self.fixed and len(self.theirs) < MOST)
    @rule(index=st.integers(-50, 50), drawn=DRAWN)
    def insert(self, index: int, drawn: int) -> None:
        assert self.editor.insert(index, self.value(drawn)) is None
        self.theirs.insert(index, self.value(drawn))

    @precondition(lambda self: not self.fixed and len(self.theirs) < MOST)
    @rule(drawn=MANY, form=FORMS, in_place=st.booleans())
    def extend(self, drawn: list[int], form: str, in_place: bool) -> None:
        items = self.values(drawn)
        if in_place:
            ours = self.editor
            ours += self.formed(form, items)
            assert ours is self.editor
        else:
            assert self.editor.extend(self.formed(form, items)) is None
        self.theirs += items

    @precondition(lambda self: not self.fixed and len(self.theirs) < MOST // 2)
    @rule()
    def extend_by_itself(self) -> None:
        ours = self.editor
        ours += ours
        assert ours is self.editor
        self.theirs += self.theirs

    @precondition(lambda self: not self.fixed and len(self.theirs) < MOST // 3)
    @rule(count=st.integers(-1, 3))
    def repeat_in_place(self, count: int) -> None:
        ours = self.editor
        ours *= count
        assert ours is self.editor
        self.theirs *= count

    @precondition(lambda self: self.fixed)
    @rule(drawn=MANY)
    def in_place_is_a_new_list(self, drawn: list[int]) -> None:
        items = self.values(drawn)
        longer = self.ours
        longer += items
        assert type(longer) is list
        assert same(longer, self.theirs + items)

    @precondition(lambda self: not self.fixed)
    @rule(drawn=DRAWN)
    def remove(self, drawn: int) -> None:
        position = self.find(self.value(drawn))
        ours = outcome(lambda: self.editor.remove(self.value(drawn)))
        if position < 0:
            assert ours == ("ValueError", "list.remove(x): x not in list")
        else:
            assert ours == ("value", None)
            del self.theirs[position]

    @precondition(lambda self: not self.fixed)
    @rule(index=st.just("none given") | st.none() | INDICES)
    def pop(self, index: Any) -> None:
        arguments = () if index == "none given" else (index,)
        kind, theirs = outcome(lambda: self.theirs.pop(*(0 if index is None else index for index in arguments)))
        ours_kind, ours = outcome(lambda: self.editor.pop(*arguments))
        assert (ours_kind, type(ours)) == (kind, type(theirs))
        assert ours == theirs

    @precondition(lambda self: not self.fixed)
    @rule()
    def clear(self) -> None:
        assert self.editor.clear() is None
        self.theirs.clear()


def run(machine: type[CountedBesideAList], count: int) -> None:
    """Runs a machine with some examples, the same in each run, or with many new ones when exploring."""
    chosen = settings(max_examples=examples(count), stateful_step_count=25, suppress_health_check=list(HealthCheck))
    try:
        run_state_machine_as_test(machine, settings=chosen)
    finally:
        machine.pool = []  # hypothesis keeps the class of the machine alive


@pytest.mark.parametrize("name", [name for name in INTEROP_KINDS if name != "rocolbase"])
def test_an_interop_collection_behaves_like_a_list(name: str) -> None:
    class Interop(BesideAList):
        pool = VARIANTS()
        kind = name
        sortable = False

        def make(self, values: list[Any]) -> Any:
            return make_interop(name, values)

        def edit(self, collection: Any) -> Any:
            return cast(INTEROP._IListWrapper, collection) if not self.indexed else collection

    run(Interop, 50)


def test_a_read_only_collection_behaves_like_a_list() -> None:
    class ReadOnly(CountedBesideAList):
        pool = VARIANTS()
        kind = "rocolbase"

        def make(self, values: list[Any]) -> Any:
            return make_interop("rocolbase", values)

        @rule(drawn=MANY)
        def another(self, drawn: list[int]) -> None:
            self.theirs = self.values(drawn)
            self.ours = self.make(self.theirs)

    run(ReadOnly, 30)


@pytest.mark.parametrize(("identifier", "name"), TYPED)
def test_a_typed_collection_behaves_like_a_list(identifier: str, name: str) -> None:
    row = ROWS[identifier]
    enum = row.element.type is not None and row.element.type.is_enum

    class Typed(BesideAList):
        pool = values_of(row)
        kind = name
        sortable = (isinstance(row.element, Scalar) and not enum) or row.element.kind == "string"

        def make(self, values: list[Any]) -> Any:
            return make_typed(identifier, name, values)

    run(Typed, 20 if name != "array" or isinstance(row.element, Scalar) else 6)
