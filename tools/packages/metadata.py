"""The description of a wheel or source distribution, in the format of Python's core metadata."""

from __future__ import annotations

from collections.abc import Iterable
from email.message import EmailMessage
from email.policy import EmailPolicy

from .project import Project


def metadata(project: Project, system_packages: Iterable[str] = ()) -> str:
    """The text. `system_packages` are Debian packages with libraries that the shared objects are linked to."""
    message = EmailMessage(EmailPolicy(utf8=True, max_line_length=None))
    message["Metadata-Version"] = "2.1"
    message["Name"] = project.name
    message["Version"] = project.version
    message["Summary"] = project.summary
    message["Platform"] = "Debian 12, x86-64"
    message["Requires-Python"] = project.requires_python
    for package in system_packages:
        message["Requires-External"] = package
    for extra, requirements in project.extras.items():
        message["Provides-Extra"] = extra
        for requirement in requirements:
            message["Requires-Dist"] = f'{requirement}; extra == "{extra}"'
    message["Description-Content-Type"] = "text/markdown"
    return f"{message}{project.readme.read_text()}"
