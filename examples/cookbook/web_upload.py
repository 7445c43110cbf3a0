"""The upload of a web service

A WSGI application takes a picture of a stranger and answers with a thumbnail. `zelmor.open` takes the uploads of Flask,
Django and FastAPI as they are (docs/package.md); here is no framework at all. The limit says what one picture may cost.
"""

import io
from collections.abc import Callable, Iterable
from pathlib import Path
from wsgiref.types import StartResponse, WSGIEnvironment

import zelmor
from zelmor.imaging import RasterImage, ResizeType
from zelmor.imaging.imageoptions import PngOptions


def application(environ: WSGIEnvironment, start_response: StartResponse) -> Iterable[bytes]:
    """Answers a request."""
    upload = io.BytesIO(environ["wsgi.input"].read(int(environ["CONTENT_LENGTH"])))
    try:
        with zelmor.open(upload, RasterImage, buffer_size_hint=256) as image, zelmor.plain_errors():
            share = min(1.0, 100 / max(image.width, image.height))
            image.resize(max(1, round(image.width * share)), max(1, round(image.height * share)), ResizeType.BELL)
            answer = io.BytesIO()
            image.save(answer, PngOptions())
    except zelmor.UnsupportedFormat:
        start_response("415 Unsupported Media Type", [("Content-Type", "text/plain")])
        return [b"this is no picture"]
    except zelmor.ImageError as error:
        start_response("422 Unprocessable Entity", [("Content-Type", "text/plain; charset=utf-8")])
        return [str(error).encode()]
    start_response("200 OK", [("Content-Type", "image/png")])
    return [answer.getvalue()]


if __name__ == "__main__":
    from wsgiref.util import setup_testing_defaults

    def show(status: str, headers: list[tuple[str, str]], error: object = None, /) -> Callable[[bytes], object]:
        print(status)
        return print

    body = Path("photo.jpg").read_bytes()
    request: WSGIEnvironment = {"wsgi.input": io.BytesIO(body), "CONTENT_LENGTH": str(len(body))}
    setup_testing_defaults(request)
    Path("answer.png").write_bytes(b"".join(application(request, show)))
