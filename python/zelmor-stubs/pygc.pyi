"""What casts give back."""

from collections.abc import Iterator
from typing import Any, Final, Generic, Literal, Never, TypeVar, final, overload

_T_co = TypeVar("_T_co", covariant=True)

@final
class _ModuleVersionType:
    """Four numbers and their text."""
    major: Final[int]
    minor: Final[int]
    patch: Final[int]
    sub: Final[int]
    view: Final[str]
    def __lt__(self, other: _ModuleVersionType, /) -> bool: ...
    def __le__(self, other: _ModuleVersionType, /) -> bool: ...
    def __gt__(self, other: _ModuleVersionType, /) -> bool: ...
    def __ge__(self, other: _ModuleVersionType, /) -> bool: ...

VERSION: Final[_ModuleVersionType]
_BACKWARD_COMPATIBILITY_THRESHOLD: Final[_ModuleVersionType]

# The type parameter is there for checkers; at run time there is one class for all casts.
@final
class CastResult(Generic[_T_co]):
    """The outcome of a cast: true if it was made, the pair (ok, value) when it is unpacked."""
    def __init__(self, type_has_no_available_constructor: Never) -> None: ...
    @property
    def status(self) -> int:
        """0 if there is no such cast, -1 if the attempt failed, any other value if the cast was made."""
    @property
    def value(self) -> _T_co | None:
        """The converted object, or None."""
    def __bool__(self) -> bool: ...
    def __len__(self) -> Literal[2]: ...
    @overload
    def __getitem__(self, index: Literal[0], /) -> bool: ...
    @overload
    def __getitem__(self, index: Literal[1], /) -> _T_co | None: ...
    # By the sequence protocol at run time, which checkers do not follow in an unpacking.
    def __iter__(self) -> Iterator[Any]: ...
