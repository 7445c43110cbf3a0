"""Dates, times and spans in both directions, compared with Python's own calendar."""

from __future__ import annotations

import datetime as datetime_module
import functools
import random
import re
import sys
from ctypes import c_long, create_string_buffer
from datetime import date, datetime, time, timedelta, timezone, tzinfo
from typing import Any
from zoneinfo import ZoneInfo

import pytest
from support.anything import holder
from support.control import control
from support.draws import seeds
from support.runtimes import embedded_only
from zelmor.imaging import Image, RasterImage
from zelmor.imaging.asynctask import AsyncTaskProgress
from zelmor.imaging.fileformats.tga import TgaImage
from zelmor.imaging.imageoptions import PngOptions
from zelmor.imaging.sources import StreamSource

TGA = "Zelmor.Imaging.FileFormats.Tga.TgaImage"
TICKS_PER_DAY = 864_000_000_000
LAST_TICK = 3_155_378_975_999_999_999
DAYS = date.max.toordinal()
#: Looked up once, since these tests make many calls.
callback = functools.cache(control.callback)
MICROSECOND = timedelta(microseconds=1)
TOO_LATE = "value too large or too small for .Net DateTime"


def ticks_of(value: datetime) -> int:
    """The ticks of a local time, without regard to its zone."""
    return (value.replace(tzinfo=None) - datetime.min) // MICROSECOND * 10


def offset_of(value: datetime | time) -> int:
    """The offset from UTC in ticks."""
    offset = value.utcoffset()
    assert offset is not None
    return offset // MICROSECOND * 10


def read_as(name: str, value: object) -> tuple[int, int, int]:
    """The status of a reader of dates, and the two result words, which are 0x55 before the call."""
    words = (c_long * 2)(0x55, 0x55)
    return callback("read", name)(value, words), words[0], words[1]


def write_as(name: str, first: int, second: int = 0) -> Any:
    """The object that a builder creates from two words."""
    return callback("write", name)((c_long * 2)(first - 2**64 if first >= 2**63 else first, second))


def on_the_wire(value: object) -> tuple[int, int]:
    """The two arguments that a nullable date becomes; the entry point itself is not run."""
    image: TgaImage = callback("write", "tpo")(control.new_object(TGA), control.type_id(TGA))
    control.return_next(TGA, "set_DateTimeStamp")
    with control.journal() as calls:
        image.date_time_stamp = value
    [made] = [entry for entry in calls if entry.method == "set_DateTimeStamp"]
    return made.arguments[1], made.arguments[2]


def zone(hours: float) -> timezone:
    """A fixed zone."""
    return timezone(timedelta(hours=hours))


class Zone(tzinfo):
    """A zone that returns the value that it was created with."""

    def __init__(self, offset: object) -> None:
        self.offset = offset

    def __repr__(self) -> str:
        return f"Zone({self.offset!r})"  # the names of parametrized tests must be the same in every process

    def utcoffset(self, moment: datetime | None) -> Any:
        if isinstance(self.offset, Exception):
            raise self.offset
        return self.offset

    def dst(self, moment: datetime | None) -> None:
        """No daylight saving time."""

    def tzname(self, moment: datetime | None) -> str:
        return "zone"


class Careless:
    """An object that looks like a datetime and returns any offset: Python's own classes check their offsets."""

    tzinfo = timezone.utc

    def __init__(self, offset: object) -> None:
        self.offset = offset

    def utcoffset(self) -> Any:
        return self.offset


class CarelessMoment(Careless, datetime):
    """A datetime whose offset is not checked."""

    tzinfo = timezone.utc

    def __new__(cls, offset: object) -> CarelessMoment:
        return datetime.__new__(cls, 2023, 6, 1)


class CarelessTime(Careless, time):
    """The same for a time."""

    tzinfo = timezone.utc

    def __new__(cls, offset: object) -> CarelessTime:
        return time.__new__(cls, 1)


# Conversion to managed type object: the status tells which of two records was filled


def test_the_first_day_is_zero() -> None:
    assert read_as("vers_date", date(1, 1, 1)) == (1, 0, 0x55)
    assert read_as("vers_datetime", datetime(1, 1, 1)) == (1, 0, 0x55)
    assert read_as("vers_time", time()) == (1, 0, 0x55)


def test_the_last_microsecond() -> None:
    assert read_as("vers_datetime", datetime.max) == (1, 3155378975999999990, 0x55)
    assert read_as("vers_date", date.max) == (1, 3155378112000000000, 0x55)


@pytest.mark.parametrize("part", range(4))
def test_every_day_goes_and_comes(part: int) -> None:
    reader, builder = callback("read", "vers_date"), callback("write", "date_time")
    words = (c_long * 2)()
    ordinal, fromordinal = date.fromordinal, datetime.fromordinal
    for number in range(1 + part * DAYS // 4, 1 + (part + 1) * DAYS // 4):
        assert reader(ordinal(number), words) == 1
        assert words[0] == (number - 1) * TICKS_PER_DAY
        assert builder(words) == fromordinal(number)


@pytest.mark.parametrize("seed", seeds(2))
def test_any_moment_goes_and_comes(seed: int) -> None:
    draw = random.Random(seed)
    for _ in range(30_000):
        moment = datetime.min + timedelta(microseconds=draw.randrange(DAYS * 86_400_000_000))
        assert read_as("vers_datetime", moment) == (1, ticks_of(moment), 0x55)
        shown = write_as("date_time", ticks_of(moment) + draw.randrange(10))
        assert shown == moment and shown.tzinfo is None
        minutes = draw.randrange(-1439, 1440)
        fraction = draw.choice((0, 0, 1, 999_999))
        aware = moment.replace(tzinfo=timezone(timedelta(minutes=minutes, microseconds=fraction)))
        assert read_as("vers_datetime", aware) == (2, ticks_of(moment), offset_of(aware))
        shown = write_as("date_time_offset", ticks_of(moment), offset_of(aware))
        assert shown.replace(tzinfo=None) == moment and shown.utcoffset() == aware.utcoffset()
        assert read_as("vers_time", moment.time()) == (1, ticks_of(moment) % TICKS_PER_DAY, 0x55)
        assert read_as("vers_time", aware.timetz()) == (2, ticks_of(moment) % TICKS_PER_DAY, offset_of(aware))


@pytest.mark.parametrize("name", ["Europe/Paris", "America/New_York", "Asia/Kathmandu", "Australia/Lord_Howe"])
def test_a_zone_with_summer_time_gives_the_offset_of_the_moment(name: str) -> None:
    for month in range(1, 13):
        moment = datetime(2023, month, 15, 12, tzinfo=ZoneInfo(name))
        assert read_as("vers_datetime", moment) == (2, ticks_of(moment), offset_of(moment))


def test_a_moment_at_either_end_keeps_its_own_clock_beside_its_offset() -> None:
    assert read_as("vers_datetime", datetime.min.replace(tzinfo=zone(2))) == (2, 0, 2 * 36_000_000_000)
    assert read_as("vers_datetime", datetime.max.replace(tzinfo=zone(-2))) == (2, LAST_TICK - 9, -2 * 36_000_000_000)


@pytest.mark.parametrize(("name", "value"), [
    ("vers_datetime", datetime(2023, 6, 1, tzinfo=Zone(None))), ("vers_time", time(1, tzinfo=Zone(None))),
    ("vers_time", time(1, tzinfo=ZoneInfo("Europe/Paris"))),  # a zone whose offset depends on the date
])
def test_a_zone_without_an_offset_is_none(name: str, value: Any) -> None:
    assert read_as(name, value)[0] == 1


@pytest.mark.parametrize(("name", "carelessly"), [("vers_datetime", CarelessMoment), ("vers_time", CarelessTime)])
def test_an_offset_has_to_be_a_span_that_fits(name: str, carelessly: Any) -> None:
    for wrong in (5, "x", 1.0):
        with pytest.raises(TypeError, match=r"^instance utcoffset\(\) return wrong value$"):
            read_as(name, carelessly(wrong))
    for long in (timedelta.max, timedelta.min):
        with pytest.raises(OverflowError, match="^value too large or too small utc offset$"):
            read_as(name, carelessly(long))
    assert read_as(name, carelessly(None))[0] == 1
    assert read_as(name, carelessly(timedelta(days=3)))[2] == 3 * TICKS_PER_DAY


@pytest.mark.parametrize(("name", "value"), [
    ("vers_datetime", datetime(2023, 6, 1, tzinfo=Zone(KeyError("broken")))),
    ("vers_time", time(1, tzinfo=Zone(KeyError("broken")))),
])
def test_an_error_of_the_zone_comes_out(name: str, value: Any) -> None:
    with pytest.raises(KeyError, match="broken"):
        read_as(name, value)


# Arguments of managed type DateTime, here a nullable one


@pytest.mark.parametrize(("value", "word"), [
    (date(1, 1, 1), 0),
    (date(2024, 2, 29), ticks_of(datetime(2024, 2, 29))),
    (datetime.max, 3155378975999999990),
    (datetime(2023, 6, 1, 12, 30, 15, 123456), ticks_of(datetime(2023, 6, 1, 12, 30, 15, 123456))),
    (datetime(2023, 6, 1, 12, tzinfo=zone(2)), ticks_of(datetime(2023, 6, 1, 10)) | 1 << 62),
    (datetime(2023, 6, 1, 12, tzinfo=timezone.utc), ticks_of(datetime(2023, 6, 1, 12)) | 1 << 62),
    (datetime(2023, 6, 1, 12, tzinfo=Zone(None)), ticks_of(datetime(2023, 6, 1, 12))),
    (datetime.min.replace(tzinfo=timezone.utc), 1 << 62),
    (datetime.min.replace(tzinfo=zone(-1)), 36_000_000_000 | 1 << 62),
    (time(1), 36_000_000_000),
    (time(1, tzinfo=zone(2)), 23 * 36_000_000_000 | 1 << 62),
    (time(23, tzinfo=zone(-2)), 36_000_000_000 | 1 << 62),
    (time(1, tzinfo=Zone(None)), 36_000_000_000),
    (CarelessTime(timedelta(days=3, hours=2)), 23 * 36_000_000_000 | 1 << 62),
    (CarelessTime(timedelta(days=-3, hours=-2)), 3 * 36_000_000_000 | 1 << 62),
    (type("Moment", (datetime,), {})(2023, 6, 1), ticks_of(datetime(2023, 6, 1))),
    (type("Day", (date,), {})(2023, 6, 1), ticks_of(datetime(2023, 6, 1))),
], ids=repr)
def test_a_date_argument_is_its_ticks_and_its_kind(value: object, word: int) -> None:
    assert on_the_wire(value) == (1, word)


def test_none_for_a_nullable_date_is_none() -> None:
    assert on_the_wire(None)[0] == 0


def new_tga() -> TgaImage:
    """A picture of one pixel; its `date_time_stamp` may be None."""
    options = PngOptions()
    options.source = StreamSource()
    made = RasterImage._cast_to(Image.create(options, 1, 1)).value
    assert made is not None
    return TgaImage(made)


@pytest.mark.parametrize("value", [
    datetime.min.replace(tzinfo=zone(1)), datetime.max.replace(tzinfo=zone(-1)),
    datetime(9999, 12, 31, 23, 59, tzinfo=timezone(timedelta(minutes=-1))),
], ids=repr)
def test_a_date_that_is_in_no_year_of_utc_is_refused(value: datetime) -> None:
    image = new_tga()
    with pytest.raises(OverflowError, match=f"^{re.escape(TOO_LATE)}$"):
        image.date_time_stamp = value
    assert image.date_time_stamp is None


@pytest.mark.parametrize("value", [1, "2023-06-01", 1.0, timedelta(1), (2023, 6, 1), timezone.utc], ids=repr)
def test_only_dates_and_times_are_dates(value: object) -> None:
    image = new_tga()
    with pytest.raises(TypeError) as refused:
        image.date_time_stamp = value
    assert str(refused.value) == f"can't build DateTime from '{tp_name(value)}'"


def tp_name(value: object) -> str:
    """The name in the interpreter's type object."""
    kind = type(value)
    return kind.__name__ if kind.__module__ == "builtins" else f"{kind.__module__}.{kind.__name__}"


@pytest.mark.parametrize("seed", seeds(1))
def test_any_date_argument_goes_as_utc(seed: int) -> None:
    draw = random.Random(seed)
    for _ in range(300):
        moment = datetime(2, 1, 1) + timedelta(microseconds=draw.randrange((DAYS - 800) * 86_400_000_000))
        aware = moment.replace(tzinfo=timezone(timedelta(seconds=draw.randrange(-86_399, 86_400))))
        assert on_the_wire(moment) == (1, ticks_of(moment))
        assert on_the_wire(aware) == (1, ticks_of(aware.astimezone(timezone.utc)) | 1 << 62)
        part = aware.timetz()
        assert on_the_wire(part) == (1, (ticks_of(aware) - offset_of(aware)) % TICKS_PER_DAY | 1 << 62)


def test_a_nullable_date_comes_back() -> None:
    image = new_tga()
    assert image.date_time_stamp is None
    moment = datetime(2023, 6, 1, 12, 30, 15, 123456)
    image.date_time_stamp = moment
    assert image.date_time_stamp == moment
    image.date_time_stamp = moment.replace(tzinfo=zone(2))
    assert image.date_time_stamp == moment.replace(tzinfo=zone(2))
    assert image.date_time_stamp.tzinfo is timezone.utc
    image.date_time_stamp = None
    assert image.date_time_stamp is None


# Towards Python


def test_the_kind_decides_the_zone() -> None:
    ticks, offset = ticks_of(datetime(2023, 6, 1, 12)), 36_000_000_000
    assert write_as("date_time", ticks, offset) == datetime(2023, 6, 1, 12)
    assert write_as("date_time", ticks, offset).tzinfo is None
    assert write_as("date_time", ticks | 1 << 62, offset).tzinfo is timezone.utc
    for kind in (2, 3):
        shown = write_as("date_time", ticks | kind << 62, offset)
        assert shown == datetime(2023, 6, 1, 12, tzinfo=zone(1)) and shown.tzinfo == timezone(timedelta(hours=1))
    assert write_as("date_time_offset", ticks, 0).tzinfo == timezone.utc
    assert write_as("date_time_offset", ticks | 3 << 62, offset) == datetime(2023, 6, 1, 12, tzinfo=zone(1))


@pytest.mark.parametrize("year", [1, 4, 100, 400, 800, 1200, 1600, 1900, 2000, 2023, 2024, 2400, 4000, 9996, 9999])
def test_the_last_day_of_a_year_is_not_the_first_of_the_next(year: int) -> None:
    last = datetime(year, 12, 31, 23, 59, 59, 999_999)
    assert write_as("date_time", ticks_of(last)) == last
    assert write_as("date_time", ticks_of(last) + 9) == last  # a fraction of a microsecond is dropped


def test_a_word_behind_the_last_tick_is_no_date() -> None:
    assert write_as("date_time", LAST_TICK) == datetime.max
    for word in (LAST_TICK + 1, 2**62 - 1, LAST_TICK + 1 | 1 << 62):
        with pytest.raises(ValueError, match="year 1[0-9]+ is out of range"):
            write_as("date_time", word)


@pytest.mark.parametrize("offset", [TICKS_PER_DAY, -TICKS_PER_DAY, 2**63 - 1, -2**63])
def test_an_offset_of_a_day_is_no_zone(offset: int) -> None:
    with pytest.raises(ValueError, match="^offset must be a timedelta strictly between"):
        write_as("date_time_offset", 0, offset)


def test_a_zone_is_made_with_its_name() -> None:
    write = callback("write", "timezone")
    name = "Mitteleurop\u00e4isch \U0001f600".encode("utf-16-le")
    made = write(create_string_buffer(name), len(name) // 2, 36_000_000_000)
    assert made == timezone(timedelta(hours=1)) and made.tzname(None) == "Mitteleurop\u00e4isch \U0001f600"
    assert write(create_string_buffer(b""), 0, -36_000_000_000).tzname(None) == ""


def test_a_zone_without_a_name_gets_none_and_refuses_it() -> None:
    """The name is passed as None, which the class does not accept for a missing one."""
    with pytest.raises(TypeError, match=r"^timezone\(\) argument 2 must be str, not None$"):
        callback("write", "timezone")(None, -1, 36_000_000_000)


def test_a_zone_whose_name_cannot_be_decoded_raises() -> None:
    with pytest.raises(LookupError):
        callback("write", "timezone")(create_string_buffer(b"\x00\xd8"), 1, 0)


# Spans


@pytest.mark.parametrize(("value", "ticks"), [
    (timedelta(), 0), (timedelta(microseconds=1), 10), (timedelta(microseconds=-1), -10), (timedelta(1), TICKS_PER_DAY),
    (timedelta(-1), -TICKS_PER_DAY), (timedelta(-1, 1), -TICKS_PER_DAY + 10_000_000),
    (timedelta(-1, 86_399, 999_999), -10), (timedelta(hours=-25), -25 * 36_000_000_000),
    (timedelta(seconds=922337203685, microseconds=477580), 9223372036854775800),
    (timedelta(seconds=-922337203685, microseconds=-477580), -9223372036854775800),
    (timedelta(seconds=922337203683, microseconds=999999), 9223372036839999990),
    (timedelta(seconds=-922337203683, microseconds=-999999), -9223372036839999990),
    (timedelta(seconds=922337203684, microseconds=477580), 9223372036844775800),
    (type("Own", (timedelta,), {})(2), 2 * TICKS_PER_DAY),
])
def test_a_span_is_its_ticks(value: timedelta, ticks: int) -> None:
    out = c_long()
    assert callback("read", "datetimedelta")(value, out) == 1
    assert out.value == ticks
    assert callback("write", "datetimedelta")(ticks) == value


@pytest.mark.parametrize("value", [
    timedelta.max, timedelta.min, timedelta(seconds=922337203685, microseconds=477581),
    timedelta(seconds=-922337203685, microseconds=-477581), timedelta(seconds=922337203686),
    timedelta(seconds=-922337203686),
    # The second before the last is limited to the same fraction as the last.
    timedelta(seconds=922337203684, microseconds=477581), timedelta(seconds=-922337203684, microseconds=-477581),
])
def test_a_span_of_more_than_64_bits_is_refused(value: timedelta) -> None:
    with pytest.raises(OverflowError, match=r"^value too large or too small for \.Net TimeSpan$"):
        callback("read", "datetimedelta")(value, c_long())


@pytest.mark.parametrize("ticks", [-1, 1, 9, -9, -2**63, 2**63 - 1, -11, 11])
def test_less_than_a_microsecond_of_a_span_is_dropped(ticks: int) -> None:
    whole = abs(ticks) // 10 * (1 if ticks > 0 else -1)
    assert callback("write", "datetimedelta")(ticks) == timedelta(microseconds=whole)


@pytest.mark.parametrize("seed", seeds(2))
def test_any_span_goes_and_comes(seed: int) -> None:
    draw, out = random.Random(seed), c_long()
    read, write = callback("read", "datetimedelta"), callback("write", "datetimedelta")
    for _ in range(50_000):
        limit = 10 ** draw.randrange(1, 18)
        value = timedelta(microseconds=draw.randint(-limit, limit))
        assert read(value, out) == 1
        assert out.value == value // MICROSECOND * 10
        assert write(out.value) == value


@pytest.mark.parametrize("value", [1, 1.5, "1", None, time(1), datetime(2023, 6, 1)])
def test_only_a_span_is_one(value: object) -> None:
    with pytest.raises(TypeError) as refused:
        AsyncTaskProgress(1, value)
    assert str(refused.value) == f"can't build TimeSpan from '{tp_name(value)}'"


def test_a_span_argument_crosses_by_value() -> None:
    owner = "Zelmor.Imaging.AsyncTask.AsyncTaskProgress"
    with control.journal() as calls:
        AsyncTaskProgress(1, timedelta(microseconds=-1))
    [made] = [entry for entry in calls if entry.name == owner and entry.method.startswith("ctor")]
    assert made.arguments == [1, 2**64 - 10]


# Reference counts


@pytest.mark.parametrize(("table", "name", "arguments"), [
    ("read", "vers_date", (date(1, 1, 1), (c_long * 2)())), ("read", "vers_datetime", (datetime.min, (c_long * 2)())),
    ("read", "vers_time", (time(), (c_long * 2)())), ("read", "datetimedelta", (timedelta(), (c_long * 2)())),
    ("write", "date_time", ((c_long * 2)(),)), ("write", "date_time_offset", ((c_long * 2)(),)),
    ("write", "datetimedelta", (0,)), ("write", "timezone", (create_string_buffer(2), 0, 0)),
])
def test_the_capsule_is_asked_for_by_each_call(monkeypatch: pytest.MonkeyPatch, table: str, name: str,
                                               arguments: tuple[Any, ...]) -> None:
    call = callback(table, name)
    call(*arguments)
    monkeypatch.delattr(datetime_module, "datetime_CAPI")
    with pytest.raises(AttributeError, match="datetime_CAPI"):
        call(*arguments)
    monkeypatch.undo()
    call(*arguments)


@pytest.mark.parametrize(("name", "first"), [("date_time", 1 << 62), ("date_time", 2 << 62), ("date_time_offset", 0)])
def test_a_class_that_is_not_to_be_had_fails_the_building(monkeypatch: pytest.MonkeyPatch, name: str,
                                                          first: int) -> None:
    for missing in ("timezone", "datetime"):
        monkeypatch.delattr(datetime_module, missing)
        with pytest.raises(ImportError):
            write_as(name, first)
        monkeypatch.undo()


def test_no_reference_is_kept_or_lost() -> None:
    moment = datetime(2023, 6, 1, tzinfo=zone(2))
    values = {"vers_datetime": moment, "vers_date": date(2023, 6, 1), "vers_time": time(1, tzinfo=zone(2)),
              "datetimedelta": timedelta(5)}
    watched = [*values.values(), moment.tzinfo, timezone.utc, datetime, timezone, timedelta]
    before = [sys.getrefcount(item) for item in watched]
    for _ in range(100):
        for name, value in values.items():
            read_as(name, value)
        for name, word in (("date_time", 0), ("date_time", 1 << 62), ("date_time", 2 << 62), ("date_time_offset", 5)):
            write_as(name, word, 36_000_000_000)
        callback("write", "datetimedelta")(-15)
        with pytest.raises(ValueError):
            write_as("date_time_offset", 0, TICKS_PER_DAY)
    del value  # the last one of the loop
    assert [sys.getrefcount(item) for item in watched] == before


# As values of managed type object


@pytest.mark.parametrize(("value", "shown"), [
    (datetime(2023, 6, 1, 12, 30, 15, 123456), datetime(2023, 6, 1, 12, 30, 15, 123456)),
    (datetime(2023, 6, 1, 12, tzinfo=zone(-3.5)), datetime(2023, 6, 1, 12, tzinfo=zone(-3.5))),
    (date(2023, 6, 1), datetime(2023, 6, 1)),
    (time(1, 2, 3, 4), datetime(1, 1, 1, 1, 2, 3, 4)),
    pytest.param(time(1, tzinfo=zone(2)), datetime(1, 1, 1, 1, tzinfo=zone(2)),
                 marks=embedded_only("a DateTimeOffset is no moment before the year 1")),
    (time(3, tzinfo=zone(2)), datetime(1, 1, 1, 3, tzinfo=zone(2))),
    (timedelta(-1, 5, 7), timedelta(-1, 5, 7)),
], ids=repr)
def test_a_value_is_returned_as_the_managed_side_stores_it(value: object, shown: object) -> None:
    options = holder()
    options.value = value
    assert type(options.value) is type(shown)
    assert str(options.value) == str(shown)


def test_a_span_that_cannot_cross_is_a_managed_exception() -> None:
    options = holder()
    with pytest.raises(RuntimeError, match=r"^Proxy error\(PythonException\): .*for \.Net TimeSpan"):
        options.value = timedelta.max
    assert options.value is None


# The limits of a span, as docs/values.md states them

LONGEST = timedelta(days=10675199, hours=2, minutes=48, seconds=5, microseconds=477580)
TOO_LONG = [timedelta.max, timedelta.min, LONGEST + MICROSECOND, -LONGEST - MICROSECOND,
            timedelta(seconds=922337203684, microseconds=477581)]


@pytest.mark.parametrize("value", [
    LONGEST, -LONGEST, timedelta(seconds=922337203684, microseconds=477580), timedelta(seconds=922337203685),
    timedelta(seconds=922337203683, microseconds=999999),
], ids=repr)
def test_the_longest_spans_cross_and_come_back(value: timedelta) -> None:
    assert LONGEST == timedelta(seconds=922337203685, microseconds=477580)
    AsyncTaskProgress(1, value)
    options = holder()
    options.value = value
    assert options.value == value


@pytest.mark.parametrize("value", TOO_LONG, ids=repr)
def test_longer_ones_are_refused_by_name(value: timedelta) -> None:
    words = "value too large or too small for .Net TimeSpan"
    with pytest.raises(OverflowError) as refused:
        AsyncTaskProgress(1, value)
    assert str(refused.value) == words
    options = holder()
    with pytest.raises(RuntimeError) as managed:
        options.value = value
    assert words in str(managed.value)


def test_the_longest_managed_span_is_cut_to_the_longest_that_crosses() -> None:
    assert callback("write", "datetimedelta")(2**63 - 1) == LONGEST
    assert callback("write", "datetimedelta")(-2**63) == -LONGEST
