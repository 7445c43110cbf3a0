"""A headless Chromium for tests and pictures of the site, driven through the protocol of its developer tools.

The browser reads commands from one pipe and writes answers and events to another, as JSON behind which stands a null
byte; nothing but the standard library is needed.
"""

from __future__ import annotations

import base64
import fcntl
import json
import os
import shutil
import subprocess
import time
from pathlib import Path
from types import TracebackType
from typing import Any

#: The program, or None where it is not installed.
CHROMIUM = shutil.which("chromium")
# The first number for pipe ends, beyond those that the browser is told to use.
_FREE = 20


class Browser:
    """A running browser with one page."""

    def __init__(self, profile: Path, width: int = 1280, height: int = 900) -> None:
        assert CHROMIUM is not None
        (commands, self._commands), (self._answers, answers) = (
            [fcntl.fcntl(end, fcntl.F_DUPFD_CLOEXEC, _FREE) for end in pipe] for pipe in self._pipes())
        arguments = [CHROMIUM, "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     "--no-first-run", "--disable-background-networking", "--disable-component-update",
                     "--disable-extensions", "--hide-scrollbars", f"--user-data-dir={profile}",
                     f"--window-size={width},{height}", "--remote-debugging-pipe", "about:blank"]
        # The browser reads from descriptor 3 and writes to 4.
        self._process = subprocess.Popen(
            ["/bin/bash", "-c", f'exec "$@" 3<&{commands} 4>&{answers}', "bash", *arguments],
            pass_fds=(commands, answers), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(commands)
        os.close(answers)
        self._pending = b""
        self._number = 0
        self._session: str | None = None
        target = self._ask("Target.createTarget", url="about:blank")["targetId"]
        self._session = self._ask("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        self._ask("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self._ask("Page.enable")

    @staticmethod
    def _pipes() -> list[tuple[int, int]]:
        return [os.pipe(), os.pipe()]

    def _receive(self) -> dict[str, Any]:
        while b"\0" not in self._pending:
            data = os.read(self._answers, 1 << 16)
            if not data:
                raise RuntimeError("the browser has gone")
            self._pending += data
        text, _, self._pending = self._pending.partition(b"\0")
        message: dict[str, Any] = json.loads(text)
        return message

    def _ask(self, method: str, **params: Any) -> dict[str, Any]:
        """Sends a command and returns its result; events that arrive before it are ignored."""
        self._number += 1
        message = {"id": self._number, "method": method, "params": params}
        if self._session is not None:
            message["sessionId"] = self._session
        os.write(self._commands, json.dumps(message).encode() + b"\0")
        while True:
            answer = self._receive()
            if answer.get("id") == self._number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']['message']}")
                result: dict[str, Any] = answer["result"]
                return result

    def evaluate(self, script: str) -> Any:
        """The value of an expression on the page; promises are waited for."""
        answer = self._ask("Runtime.evaluate", expression=script, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(json.dumps(answer["exceptionDetails"]))
        return answer["result"].get("value")

    def wait_for(self, script: str, seconds: float = 30.0) -> Any:
        """The value of an expression as soon as it is true."""
        end = time.monotonic() + seconds
        while not (value := self.evaluate(script)):
            if time.monotonic() > end:
                raise TimeoutError(f"not within {seconds} seconds: {script}")
            time.sleep(0.05)
        return value

    def open(self, address: str) -> None:
        """Goes to a page and waits until all of it is there."""
        self.evaluate("window.isLeft = true")
        self._ask("Page.navigate", url=address)
        self.wait_for(f"location.href === {json.dumps(address)} && window.isLeft === undefined"
                      " && document.readyState === 'complete'")

    def type_text(self, text: str) -> None:
        """Types text, key by key, into the element that has the focus."""
        for character in text:
            self._ask("Input.dispatchKeyEvent", type="keyDown", text=character, key=character)
            self._ask("Input.dispatchKeyEvent", type="keyUp", key=character)

    def screenshot(self, path: Path) -> None:
        """Stores what the window shows as a PNG file."""
        path.write_bytes(base64.b64decode(self._ask("Page.captureScreenshot", format="png")["data"]))

    def close(self) -> None:
        """Ends the browser."""
        os.close(self._commands)
        try:
            self._process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        os.close(self._answers)

    def __enter__(self) -> Browser:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()
