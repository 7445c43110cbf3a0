"""Enumeration classes beside those that the interpreter makes of the same members: nothing tells them apart.

The module makes its classes in a series, by the pattern of the first. Here each is made a second time by the functional
interface of `enum`, in a process that has just imported the module, and the two are compared.
"""

from __future__ import annotations

from support.package_process import child

COMPARE = """
import copy, enum, pickle, sys, types
import zelmor.imaging

#: What the bridge adds to a class that is made.
OWN = ["_zelmor_clr_castable_obj", "_type_of", "_cast_to", "_cast_from", "_reinterpret_obj", "_as_uni_enum", "_cast_as",
       "_is_assignable", "get_type"]


def enumerations(module, seen):
    seen.add(id(module))
    for value in list(vars(module).values()):
        if isinstance(value, enum.EnumType) and value.__module__ == module.__name__:
            yield value
        elif isinstance(value, types.ModuleType) and value.__name__.startswith("zelmor.") and id(value) not in seen:
            yield from enumerations(value, seen)


def show(value, owner):
    "A value of a class dictionary: members by what they are, containers by their items, all else by identity."
    if type(value) is owner:
        return "member", value._name_, int(value), [(key, show(item, owner)) for key, item in vars(value).items()]
    if value is owner:
        return "the class"
    if isinstance(value, (list, tuple, str, int)) and not isinstance(value, enum.Enum):
        return type(value).__name__, [show(item, owner) for item in value] if isinstance(value, list) else repr(value)
    if isinstance(value, dict):
        return [(show(key, owner), show(item, owner)) for key, item in value.items()]
    if isinstance(value, types.MethodType):
        return "method", show(value.__self__, owner), id(value.__func__)
    return id(value)


def flat(parts):
    return [item for part in parts for item in (part if isinstance(part, tuple) else [part])]


def outcome(function, *arguments):
    "What a call gives or raises, as text."
    try:
        return repr(function(*arguments))
    except Exception as error:
        return type(error).__name__, str(error)


def traits(owner, base):
    "All that a program can see of a class, but for what the bridge adds to it."
    entries = [(key, show(value, owner)) for key, value in owner.__dict__.items() if key not in OWN]
    members = owner.__members__
    first = next(iter(members.values()))
    absent = max(members.values()) * 2 + 1
    return {
        "entries": entries,
        "type": [type(owner), owner.__mro__[1:], owner.__bases__, owner.__base__, owner.__name__, owner.__qualname__,
                 owner.__module__, owner.__doc__, owner.__flags__, owner.__basicsize__, owner.__itemsize__,
                 owner.__dictoffset__, owner.__weakrefoffset__, owner.__text_signature__],
        "size": sys.getsizeof(owner),
        "dir": [name for name in dir(owner) if name not in OWN],
        "dir of a member": [name for name in dir(first) if name not in OWN],
        "members": [(name, show(member, owner)) for name, member in members.items()],
        "iteration": [repr(list(owner)), repr(list(reversed(owner))), len(owner), bool(owner), repr(owner)],
        "attributes": [getattr(owner, name) is member for name, member in members.items()],
        "by name": [owner[name] is member for name, member in members.items()],
        "by value": [owner(int(member)) is member for member in members.values()],
        "contained": [member in owner for member in members.values()],
        "hash": [hash(member) for member in members.values()],
        "texts": [(repr(m), str(m), format(m), f"{m:>9}", m.name, m.value) for m in members.values()],
        "types": [(type(m) is owner, isinstance(m, base), isinstance(m, int), m.__objclass__ is owner,
                   type(m.value), type(m.name)) for m in members.values()],
        "sizes": [(sys.getsizeof(m), sys.getsizeof(m.__dict__)) for m in members.values()],
        "identity": [copy.copy(m) is m and copy.deepcopy(m) is m for m in members.values()],
        "reduced": [[show(part, owner) for part in flat(m.__reduce_ex__(2))] for m in members.values()],
        "arithmetic": [(m + 1, m | 1, m & 3, m ^ 1, ~m, -m, m == int(m), m < 5) for m in members.values()],
        "__new_member__": hasattr(owner, "__new_member__"),
        "refusals": [outcome(owner, absent), outcome(owner, "x"), outcome(owner, None),
                     outcome(getattr, owner, "NONE_"),
                     outcome(setattr, owner, next(iter(members)), 1), outcome(delattr, owner, next(iter(members))),
                     outcome(type, "Derived", (owner,), {}), outcome(base.__class__, "Derived", (owner,), {}),
                     outcome(owner.__getitem__, "NONE_"), outcome(setattr, first, "name", 1)],
        "new": [outcome(owner.__new__, owner, int(first)), owner.__new__ is enum.Enum.__new__],
        "slots": [owner.__init__ is base.__init__, owner.__hash__ is base.__hash__, owner.__eq__ is base.__eq__],
    }


found = list(enumerations(zelmor.imaging, set()))
told = []
for made in found:
    base = made.__bases__[0]
    before = len(base.__subclasses__())
    again = base(made.__name__, tuple((n, m._value_) for n, m in made.__members__.items()), module=made.__module__)
    assert again in base.__subclasses__() and made in base.__subclasses__()
    ours, theirs = traits(made, base), traits(again, base)
    told += [f"{made.__module__}.{made.__name__}, {key}: {ours[key]} and {theirs[key]}"
             for key in ours if ours[key] != theirs[key]]
    # What the bridge adds stands at the end.
    if list(made.__dict__)[-len(OWN):] != OWN:
        told.append(f"{made.__name__}: {list(made.__dict__)}")
    for member in made.__members__.values():
        if pickle.loads(pickle.dumps(member)) is not member:
            told.append(f"{member!r} is another member behind a pickle")
result = [len(found), sum(len(made.__members__) for made in found), told[:5],
          sorted({base.__name__ for made in found for base in made.__bases__})]
"""

#: The dictionary of an enumeration has one entry more, as that of a later interpreter might.
ANOTHER_MACHINERY = """
import enum
made_by_the_interpreter = []
original = enum.EnumType.__new__
def counting(metacls, name, bases, body, **options):
    made_by_the_interpreter.append(name)
    made = original(metacls, name, bases, body, **options)
    {}
    return made
enum.EnumType.__new__ = counting
import zelmor.imaging
from zelmor.imaging import CacheType
result = [len(made_by_the_interpreter), hasattr(CacheType, "__further__"), [m.name for m in CacheType]]
"""


def test_every_enumeration_is_what_the_functional_interface_makes() -> None:
    enumerations, members, told_apart, bases = child(COMPARE)
    assert told_apart == []
    assert (enumerations, members, bases) == (255, 2763, ["IntEnum", "IntFlag"])


def test_the_interpreter_makes_the_flags_and_one_pattern() -> None:
    made, _, _ = child(ANOTHER_MACHINERY.format("pass"))
    assert made < 40


def test_unknown_machinery_makes_every_class_itself() -> None:
    """A class dictionary with an entry that the bridge does not know is no pattern."""
    made, further, names = child(ANOTHER_MACHINERY.format("type.__setattr__(made, '__further__', 1)"))
    assert made >= 255 and further is True
    assert names == ["AUTO", "CACHE_ON_DISK_ONLY", "CACHE_IN_MEMORY_ONLY"]


def test_classes_are_made_without_the_work_of_the_metaclass() -> None:
    """The functions of `enum` make one pattern for each kind of class; for all of them they would run more often."""
    calls = child("""
import collections, sys
calls = collections.Counter()
def count(frame, event, argument):
    if event == "call" and frame.f_code.co_filename.endswith("/enum.py"):
        calls[frame.f_code.co_name] += 1
sys.setprofile(count)
import zelmor.imaging
sys.setprofile(None)
result = calls["_is_dunder"]
""")
    assert 0 < calls < 1000
