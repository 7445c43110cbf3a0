"""Prints what an editor shows while a program with zelmor.imaging is typed, as a language server answers.

The server gets an unfinished program with the cursor at its end. The output is the transcript in docs/editor.md. The
server is Debian's python3-pylsp, or another one that communicates through its standard streams:

    tools/ask_language_server.py build/python
    tools/ask_language_server.py build/python pyright-langserver --stdio
"""

from __future__ import annotations

import argparse
import json
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import Any

PYLSP = [sys.executable, "-m", "pylsp"]
# Each scene is an unfinished program; its last line is being typed. Where it ends with a question mark, the pointer
# rests on the name before it instead.
SCENES = [
    ("What an image offers",
     "from zelmor.imaging import Image\n\nimage = Image.load('photo.jpg')\nimage.r"),
    ("The overloads of `Image.load`",
     "from zelmor.imaging import Image\n\nImage.load("),
    ("The overloads of a method of the image",
     "from zelmor.imaging import Image\n\nwith Image.load('photo.jpg') as image:\n    image.resize("),
    ("What PNG options offer",
     "from zelmor.imaging.imageoptions import PngOptions\n\noptions = PngOptions()\noptions."),
    ("The members of an enumeration",
     "from zelmor.imaging.fileformats.png import PngColorType\n\nPngColorType."),
    ("What a drawing surface offers",
     "import zelmor.imaging\n\nimage = zelmor.imaging.Image.load('photo.jpg')\n"
     "graphics = zelmor.imaging.Graphics(image)\ngraphics.draw_"),
    ("The constructor of a drawing surface",
     "from zelmor.imaging import Graphics\n\nGraphics("),
    ("The overloads of a method that draws",
     "from zelmor.imaging import Graphics, Image, Pen, Color\n\ngraphics = Graphics(Image.load('photo.jpg'))\n"
     "graphics.draw_line("),
    ("What a method is for",
     "from zelmor.imaging import Image\n\nImage.can_load_stream?"),
    ("What a class is for",
     "from zelmor.imaging.imageoptions import PngOptions\n\nPngOptions?"),
    ("What a value of an enumeration is for",
     "from zelmor.imaging.fileformats.png import PngColorType\n\nPngColorType.INDEXED_COLOR?"),
    ("Submodules",
     "import zelmor.imaging\n\nzelmor.imaging.fileformats."),
]


# The maximum number of lines that are printed of a list.
LONGEST = 24


class Server:
    """A language server, connected through two pipes."""

    def __init__(self, command: list[str], folder: Path, package: Path) -> None:
        self._process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         stderr=subprocess.DEVNULL)
        self._number = 0
        uri = folder.as_uri()
        # The location of the package; for an installed package this setting would not be needed.
        self._settings = {
            "pylsp": {"plugins": {"jedi": {"extra_paths": [str(package)]}}},
            "python": {"analysis": {"extraPaths": [str(package)]}}}
        capabilities = {
            "workspace": {"configuration": True},
            "textDocument": {"signatureHelp": {"signatureInformation": {"documentationFormat": ["plaintext"]}}}}
        self.ask("initialize", {"processId": os.getpid(), "rootUri": uri, "capabilities": capabilities,
                                "workspaceFolders": [{"uri": uri, "name": "program"}]})
        self.tell("initialized", {})
        self.tell("workspace/didChangeConfiguration", {"settings": self._settings})

    def _send(self, message: dict[str, Any]) -> None:
        body = json.dumps({"jsonrpc": "2.0", **message}).encode()
        assert self._process.stdin is not None
        self._process.stdin.write(b"Content-Length: %d\r\n\r\n" % len(body) + body)
        self._process.stdin.flush()

    def _receive(self) -> dict[str, Any]:
        assert self._process.stdout is not None
        length = 0
        while (line := self._process.stdout.readline().strip()):
            name, _, value = line.partition(b":")
            if name.lower() == b"content-length":
                length = int(value)
        if not length:
            raise RuntimeError("the language server has gone")
        answer: dict[str, Any] = json.loads(self._process.stdout.read(length))
        return answer

    def tell(self, method: str, params: dict[str, Any]) -> None:
        """Sends a notification."""
        self._send({"method": method, "params": params})

    def ask(self, method: str, params: dict[str, Any]) -> Any:
        """Sends a request and returns its answer; messages that arrive before it are ignored."""
        self._number += 1
        self._send({"id": self._number, "method": method, "params": params})
        while True:
            answer = self._receive()
            if "method" in answer and "id" in answer:
                self._send({"id": answer["id"], "result": self._answer(answer["method"], answer.get("params"))})
            elif answer.get("id") == self._number and "method" not in answer:
                if "error" in answer:
                    raise RuntimeError(answer["error"]["message"])
                return answer["result"]

    def _answer(self, method: str, params: Any) -> Any:
        """Answers a request of the server: its settings, by section."""
        if method != "workspace/configuration":
            return None
        found: list[Any] = []
        for item in params["items"]:
            value: Any = self._settings
            for part in item.get("section", "").split("."):
                value = value.get(part, {}) if part else value
            found.append(value)
        return found

    def close(self) -> None:
        """Ends the server as the protocol requires."""
        self.ask("shutdown", {})
        self.tell("exit", {})
        self._process.wait(timeout=30)


def completions(server: Server, uri: str, position: dict[str, int], typed: str) -> list[str]:
    """The public names that the server offers at a position and that begin with the typed letters."""
    answer = server.ask("textDocument/completion", {"textDocument": {"uri": uri}, "position": position})
    items = answer["items"] if isinstance(answer, dict) else answer or []
    names = sorted((item["label"] for item in items), key=str.lower)
    return [name for name in names if not name.startswith("_") and name.startswith(typed)]


def signatures(server: Server, uri: str, position: dict[str, int]) -> list[str]:
    """The signatures that the server shows inside an open parenthesis."""
    answer = server.ask("textDocument/signatureHelp", {"textDocument": {"uri": uri}, "position": position})
    return [item["label"] for item in (answer or {}).get("signatures", [])]


def text_of(server: Server, uri: str, position: dict[str, int]) -> list[str]:
    """The text that the server shows of the name at a position."""
    answer = server.ask("textDocument/hover", {"textDocument": {"uri": uri}, "position": position})
    contents = (answer or {}).get("contents", "")
    text = contents["value"] if isinstance(contents, dict) else str(contents)
    # Of Markdown, which an editor lays out, the text alone is left.
    text = re.sub(r"```.*\n?|\\(?=[_*])", "", text.replace("&nbsp;", " "))
    return re.sub(r"\n{3,}", "\n\n", text).split("\n")


def ask(server: Server, folder: Path, number: int, program: str) -> list[str]:
    """The text that an editor shows at the end of a program."""
    path = folder / f"scene_{number}.py"
    asked = program.endswith("?")
    program = program.removesuffix("?")
    path.write_text(program)
    lines = program.split("\n")
    position = {"line": len(lines) - 1, "character": len(lines[-1]) - asked}
    document = {"uri": path.as_uri(), "languageId": "python", "version": 1, "text": program}
    server.tell("textDocument/didOpen", {"textDocument": document})
    if asked:
        return text_of(server, path.as_uri(), position)
    if program.endswith("("):
        return signatures(server, path.as_uri(), position)
    return completions(server, path.as_uri(), position, lines[-1].rpartition(".")[2])


def main() -> int:
    """Prints all scenes as Markdown."""
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("package", type=Path, help="the directory that holds zelmor and zelmor-stubs")
    parser.add_argument("server", nargs=argparse.REMAINDER, help="the command of another server")
    arguments = parser.parse_args()
    package = arguments.package.resolve()
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        server = Server(arguments.server or PYLSP, folder, package)
        for number, (title, program) in enumerate(SCENES):
            shown = ask(server, folder, number, program)
            shown_program = program.removesuffix("?") if program.endswith("?") else f"{program}▏"
            print(f"### {title}\n\n```\n{shown_program}\n```\n\n```")
            more = [f"... and {len(shown) - LONGEST} more"] if len(shown) > LONGEST else []
            print("\n".join([*shown[:LONGEST], *more]) or "(nothing)")
            print("```\n")
        server.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
