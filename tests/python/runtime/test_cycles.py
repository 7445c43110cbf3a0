"""Managed objects that hold each other or themselves, and that nothing else holds, are ended."""

from __future__ import annotations

import io
import random

from support.child import run_child
from support.collections import make_interop, new_dictionary
from support.control import control
from support.runtimes import ON_DOTNET, embedded_only
from zelmor.imaging import StreamContainer

#: Each function makes one cycle and drops it.
KINDS = {
    "a list in itself": """
def make():
    own = make_interop("arrlist")
    own.append(own)
""",
    "a dictionary in itself": """
def make():
    own = new_dictionary()
    own.add("self", own)
""",
    "a ring of three": """
def make():
    ring = [new_dictionary(), make_interop("arrlist"), NonGenericList(make_interop("arrlist"))]
    ring[0].add("next", ring[1])
    ring[1].append(ring[2])
    ring[2].append(ring[0])
""",
    "a property that holds its object": """
def make():
    node = EmfPlusRegionNode()
    node.region_node_data = node
""",
    "records that hold each other": """
def make():
    first, second = EmfPlusRegionNode(), EmfPlusRegionNode()
    first.region_node_data, second.region_node_data = second, first
""",
    "options in a ring, with a stream": """
def make():
    keeper, container = make_interop("arrlist"), StreamContainer(io.BytesIO(b"123"), True)
    keeper.append(container)
    options = PngOptions()
    keeper.append(options)
    keeper.append(keeper)
""",
    "a metafile among its own records": """
def make():
    image = EmfImage(20, 10)
    image.records.append(image)
""",
    "a metafile in a list of records that it is given": """
def make():
    image, records = WmfImage(20, 10), make_interop("arrlist")
    records.append(image)
    image.records = MetaObjectList(records)
""",
    "a recorder that goes on with records that lead to it": """
def make():
    image, inner = EmfImage(20, 10), make_interop("arrlist")
    image.records.append(inner)
    inner.append(EmfRecorderGraphics2D.from_emf_image(image))
""",
    "a recorder of a Windows metafile, the same": """
def make():
    image, inner = WmfImage(20, 10), make_interop("arrlist")
    image.records.append(inner)
    inner.append(WmfRecorderGraphics2D.from_wmf_image(image))
""",
    "a page of a drawing and its document": """
def make():
    document, page = CdrDocument(), CdrPage()
    document.items.append(page)
    page.parent = page.document = document
""",
    "an image that a list holds which it is held by": """
def make():
    keeper = make_interop("arrlist")
    keeper.append(keeper)
    image = Image.create(png_options(), 20, 10)
    keeper.append(image)
    keeper.append(Graphics(image))
""",
}
PROLOGUE = """
import io, resource, sys
from support.collections import make_interop, new_dictionary
from support.control import control
from zelmor.imaging import Graphics, Image, NonGenericList, StreamContainer
from zelmor.imaging.fileformats.cdr.objects import CdrDocument, CdrPage
from zelmor.imaging.fileformats.emf import EmfImage, MetaObjectList
from zelmor.imaging.fileformats.emf.emfplus.objects import EmfPlusRegionNode
from zelmor.imaging.fileformats.emf.graphics import EmfRecorderGraphics2D
from zelmor.imaging.fileformats.wmf import WmfImage
from zelmor.imaging.fileformats.wmf.graphics import WmfRecorderGraphics2D
from zelmor.imaging.imageoptions import PngOptions
from zelmor.imaging.sources import StreamSource

def png_options():
    options = PngOptions()
    options.source = StreamSource(io.BytesIO(), True)
    return options

def resident():
    with open("/proc/self/statm") as statm:
        return int(statm.read().split()[1]) * resource.getpagesize()

def check(kind, make, count):
    for _ in range(count // 5):
        make()
    control.collect()
    tracked, memory, handles, most = control.tracked(), resident(), control.live(), 0
    for _ in range(count):
        make()
        most = max(most, control.tracked())
    assert most < tracked + 40_000, (kind, most)
    assert resident() < memory + 24 * 2**20, (kind, memory, resident())
    control.collect()
    assert control.tracked() <= tracked, (kind, tracked, control.tracked())
    assert control.live() == handles, kind
"""


def _count(kind: str) -> int:
    """How many cycles of a kind are made: fewer of large objects."""
    if any(word in kind for word in ("image", "metafile", "recorder")):
        return 1_000
    return 100_000 if "property" in kind else 10_000


@embedded_only("the cycle collector of the embedded runtime counts the objects that it knows")
def test_memory_stays_flat() -> None:
    """100,000 cycles of one kind, and many of each other kind."""
    run_child(PROLOGUE + "".join(
        f"# {kind}\n{body}"
        f"check({kind!r}, make, {_count(kind)})\n"
        for kind, body in KINDS.items()), PYTHONMALLOC="default", MALLOC_PERTURB_="0")


def test_a_python_object_goes_with_the_cycle_that_held_it() -> None:
    class Mark(io.BytesIO):
        """A Python file that tells of its end."""

        def __del__(self) -> None:
            ended.append(1)

    ended: list[int] = []
    own = new_dictionary()
    own.add("self", own)
    own.add("stream", StreamContainer(Mark(b"123"), False))
    del own
    assert not ended
    # .NET does not count what it collects.
    assert control.collect() > 0 or ON_DOTNET
    assert ended == [1]


def test_the_end_of_a_python_object_may_use_the_library() -> None:
    run_child(PROLOGUE + """
made = []
class Meddler(io.BytesIO):
    def __del__(self):
        kept = new_dictionary()
        for _ in range(3000):
            own = make_interop("arrlist")
            own.append(own)
        kept.add("key", control.live())
        made.append(kept)
for _ in range(50):
    own = make_interop("arrlist")
    own.append(own)
    own.append(StreamContainer(Meddler(), False))
del own
control.collect()
assert len(made) == 50, len(made)
assert all(len(list(kept.keys)) == 1 for kept in made)
control.collect()
""")


@embedded_only("the cycle collector of the embedded runtime counts the objects that it knows")
def test_objects_in_use_are_not_touched() -> None:
    """A random graph of dictionaries; Python holds some, and knows from its own model what these lead to."""
    draw = random.Random(10)
    control.collect()
    before = control.tracked()
    made = 0
    held: dict[int, object] = {}
    edges: dict[int, list[int]] = {}
    for _ in range(3000):
        kind = draw.random()
        if kind < 0.4 or not held:
            held[made] = new_dictionary()
            edges[made] = []
            made += 1
        elif kind < 0.75:
            source, target = draw.choice(list(held)), draw.choice(list(held))
            held[source].add(f"{len(edges[source])}", held[target])  # type: ignore[attr-defined]
            edges[source].append(target)
        elif kind < 0.98:
            del held[draw.choice(list(held))]
        else:
            control.collect()
            reached: set[int] = set()
            waiting = list(held)
            while waiting:
                number = waiting.pop()
                if number not in reached:
                    reached.add(number)
                    waiting.extend(edges[number])
            # A dictionary keeps two lists.
            assert control.tracked() == before + 3 * len(reached)
            for number, dictionary in held.items():
                assert len(list(dictionary.keys)) == len(edges[number])  # type: ignore[attr-defined]
            del dictionary
    held.clear()
    control.collect()
    assert control.tracked() == before


def test_what_python_holds_is_whole_after_a_run() -> None:
    inner = make_interop("arrlist", [1, "two", 3.0])
    outer = make_interop("arrlist", [inner])
    outer.append(outer)
    for _ in range(3):
        control.collect()
    assert list(outer[0]) == [1, "two", 3.0]
    assert list(outer[1][0]) == [1, "two", 3.0]
    del outer
    control.collect()
    assert list(inner) == [1, "two", 3.0]
