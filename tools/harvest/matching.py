"""Which host of an assembly is that of which type of the catalogue.

The class of a host tells the namespace, eight letters of the type's name and the identifier. Where one of them is
another, the name that the host's code tells decides, then the identifier, then what the host has in common with the
type.
"""

from __future__ import annotations

from collections import Counter, defaultdict
from collections.abc import Callable, Iterable
from dataclasses import dataclass, field

from tools.generator.entry_points import members_of
from tools.generator.model import Type

from .contract import Contract, Host

#: How much of their entry points a type and the host of another name have in common at least.
_ENOUGH = 0.6


@dataclass
class Matches:
    """The pairs, and what has no partner."""

    hosts: dict[Type, Host] = field(default_factory=dict)
    lacking: list[Type] = field(default_factory=list)
    extra: list[Host] = field(default_factory=list)


def plain(name: str) -> str:
    """The name of a value of an enumeration without what differs between languages."""
    return name.replace("_", "").lower()


class _Evidence:
    """What speaks for a pair beside names and identifiers."""

    def __init__(self, contract: Contract) -> None:
        self._contract = contract
        self._of_types: dict[Type, frozenset[str]] = {}
        self._of_hosts: dict[Host, frozenset[str]] = {}

    @staticmethod
    def _name(name: str) -> str:
        return name[:8] if name.startswith("ctor_") else name

    def _type(self, entry: Type) -> frozenset[str]:
        if entry not in self._of_types:
            names = (plain(name) for name, _ in entry.values) if entry.is_enum else (
                self._name(point.name) for point in members_of(entry))
            self._of_types[entry] = frozenset(names)
        return self._of_types[entry]

    def _host(self, host: Host) -> frozenset[str]:
        if host not in self._of_hosts:
            names: Iterable[str] = (self._name(name) for name, entry in host.entries.items() if entry.role != "btp")
            if host.kind == "enum":
                found = self._contract.type(f"{host.namespace}.{host.type_name}") if host.type_name else None
                names = (plain(member.name) for member in found.fields if member.is_static) if found else ()
            self._of_hosts[host] = frozenset(names)
        return self._of_hosts[host]

    def common(self, entry: Type, host: Host) -> float:
        """The share of their entry points or values that both have."""
        first, second = self._type(entry), self._host(host)
        if host.kind not in (entry.kind, None) or not first | second:
            return 0
        return len(first & second) / len(first | second)


def _pair(types: Iterable[Type], hosts: Iterable[Host], key_of_type: Callable[[Type], object],
          key_of_host: Callable[[Host], object], found: Matches) -> tuple[list[Type], list[Host]]:
    """Pairs those of one key where there is one of each; gives the rest."""
    by_key: dict[object, tuple[list[Type], list[Host]]] = defaultdict(lambda: ([], []))
    types, hosts = list(types), list(hosts)
    for entry in types:
        by_key[key_of_type(entry)][0].append(entry)
    for host in hosts:
        by_key[key_of_host(host)][1].append(host)
    for key, (some_types, some_hosts) in by_key.items():
        if key is not None and len(some_types) == len(some_hosts) == 1:
            found.hosts[some_types[0]] = some_hosts[0]
    taken = set(found.hosts.values())
    return [entry for entry in types if entry not in found.hosts], [host for host in hosts if host not in taken]


def _full_name(host: Host) -> str | None:
    return f"{host.namespace}.{host.type_name}" if host.type_name else None


def match(contract: Contract, types: list[Type]) -> Matches:
    """Finds the host of each type."""
    found = Matches()
    left, hosts = _pair(types, contract.hosts, lambda entry: entry.host_class, lambda host: host.name, found)
    left, hosts = _pair(left, hosts, lambda entry: entry.full_name, _full_name, found)
    names = {entry.full_name for entry in left}
    # A host whose code names another type than this one is none of it, unless the identifier says so.
    untold = [host for host in hosts if host.type_name is None]
    left, untold = _pair(left, untold, lambda entry: (entry.namespace, entry.name[:8]),
                         lambda host: (host.namespace, host.prefix), found)
    hosts = [host for host in hosts if host.type_name is not None and _full_name(host) not in names] + untold
    left, hosts = _pair(left, hosts, lambda entry: (entry.namespace, entry.managed_identifier),
                        lambda host: (host.namespace, host.identifier), found)
    evidence = _Evidence(contract)
    likely = [(share, entry, host) for entry in left for host in hosts if entry.namespace == host.namespace
              for share in [evidence.common(entry, host)] if share >= _ENOUGH]
    rivals: Counter[tuple[float, Type | Host]] = Counter()
    for share, entry, host in likely:
        rivals.update([(share, entry), (share, host)])
    for share, entry, host in sorted(likely, key=lambda item: -item[0]):
        is_free = entry not in found.hosts and host not in found.hosts.values()
        if is_free and rivals[share, entry] == rivals[share, host] == 1:
            found.hosts[entry] = host
    taken = set(found.hosts.values())
    found.lacking = [entry for entry in types if entry not in found.hosts]
    found.extra = [host for host in contract.hosts if host not in taken]
    return found
