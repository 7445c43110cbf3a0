"""Every member with plausible arguments on both runtimes: what it answers, and what becomes of the arguments.

The values that properties take are asked for as well, with what the properties are then.
"""

from __future__ import annotations

from support.dotnet import needs_dotnet
from support.same_answers import differing, lines

pytestmark = needs_dotnet
#: Questions that may have two answers, with the reason.
TWO_ANSWERS = {
    "Zelmor.Imaging.FileFormats.Cdr.CdrImagePage.parent_image": "nobody else holds the document (docs/departures.md)",
    "Zelmor.Imaging.FileStreamContainer.open_file_stream":
        "a temporary file that was not disposed of is still there (docs/departures.md)",
    "Zelmor.Imaging.Matrix.transform_points": "what is no list of points is noticed by another part, in other words",
}


def test_members_say_and_do_the_same() -> None:
    embedded, dotnet = (lines(runtime, "members") for runtime in ("embedded", "dotnet"))
    assert embedded.keys() == dotnet.keys() and len(embedded) > 20_000
    assert sum("Error: " in told for told in embedded.values()) < len(embedded) / 5
    differences = [text for text in differing(embedded, dotnet) if text.split(":")[0].split(" ")[0] not in TWO_ANSWERS]
    assert not differences, "\n".join(differences[:20])
