"""Dates of XMP as text and as values, compared with Python's own reader of ISO 8601."""

from __future__ import annotations

import datetime

import pytest
from zelmor.imaging.xmp.schemas.photoshop import PhotoshopPackage
from zelmor.imaging.xmp.types.basic import XmpDate

from support.image_oracles import managed_error
from support.runtimes import ON_DOTNET

#: Texts with a time, and which of the forms each has.
TIMES = {
    "2023-06-01T00:00": "yyyy-MM-ddTHH:mm",
    "2023-06-01T23:59": "yyyy-MM-ddTHH:mm",
    "2023-06-01T12:30Z": "yyyy-MM-ddTHH:mmzzz",
    "2023-06-01T12:30+00:01": "yyyy-MM-ddTHH:mmzzz",
    "2023-06-01T12:30-00:59": "yyyy-MM-ddTHH:mmzzz",
    "2023-06-01T12:30:00": "yyyy-MM-ddTHH:mm:ss",
    "1999-12-31T23:59:59": "yyyy-MM-ddTHH:mm:ss",
    "0001-01-01T00:00:00": "yyyy-MM-ddTHH:mm:ss",
    "9999-12-31T23:59:59": "yyyy-MM-ddTHH:mm:ss",
    "2023-06-01T12:30:15Z": "yyyy-MM-ddTHH:mm:sszzz",
    "2023-06-01T12:30:15+14:00": "yyyy-MM-ddTHH:mm:sszzz",
    "2023-06-01T12:30:15-14:00": "yyyy-MM-ddTHH:mm:sszzz",
    "2023-06-01T12:30:15+13:59": "yyyy-MM-ddTHH:mm:sszzz",
    "2023-06-01T12:30:15-05:45": "yyyy-MM-ddTHH:mm:sszzz",
    "2023-06-01T12:30:15.1": "yyyy-MM-ddTHH:mm:ss.FFFFFFF",
    "2023-06-01T12:30:15.25": "yyyy-MM-ddTHH:mm:ss.FFFFFFF",
    "2023-06-01T12:30:15.999999": "yyyy-MM-ddTHH:mm:ss.FFFFFFF",
    "2023-06-01T12:30:15.000001": "yyyy-MM-ddTHH:mm:ss.FFFFFFF",
    "2023-06-01T12:30:15.25Z": "yyyy-MM-ddTHH:mm:ss.FFFFFFFzzz",
    "2023-06-01T12:30:15.25-05:30": "yyyy-MM-ddTHH:mm:ss.FFFFFFFzzz",
}

#: Leap days, and the last and the first days of months and years.
DAYS = ["2024-02-29", "2000-02-29", "2023-02-28", "2023-03-01", "1900-02-28", "1900-03-01", "2023-01-31", "2023-04-30",
        "2023-12-31", "2024-01-01", "0001-01-01", "9999-12-31", "0400-02-29", "1582-10-15"]


@pytest.mark.parametrize("text", TIMES)
def test_dates_with_a_time(text: str) -> None:
    date = XmpDate(text)
    expected = datetime.datetime.fromisoformat(text)
    assert date.value == expected
    # A DateTime of .NET is that of the machine's own zone, or has none.
    assert ON_DOTNET or date.value.utcoffset() == expected.utcoffset()
    assert date.format == TIMES[text]
    assert date.get_xmp_representation() == text


@pytest.mark.parametrize("text", DAYS)
def test_days(text: str) -> None:
    date = XmpDate(text)
    assert date.value == datetime.datetime.fromisoformat(text)
    assert (date.format, date.get_xmp_representation()) == ("yyyy-MM-dd", text)
    for start, form in ((text[:7], "yyyy-MM"), (text[:4], "yyyy")):
        date = XmpDate(start)
        assert date.value == datetime.datetime.fromisoformat((start + "-01-01")[:10])
        assert (date.format, date.get_xmp_representation()) == (form, start)


@pytest.mark.parametrize(("digits", "micro", "written"), [
    ("0", 0, ""), ("10", 100_000, ".1"), ("1234567", 123_456, ".1234567"), ("12345678", 123_456, ".1234567"),
    ("0000001", 0, ".0000001"), ("00000009", 0, ""), ("99999999999", 999_999, ".9999999")])
def test_fractions_are_cut_to_ticks(digits: str, micro: int, written: str) -> None:
    date = XmpDate(f"2023-06-01T12:30:15.{digits}")
    assert date.value == datetime.datetime(2023, 6, 1, 12, 30, 15, micro)
    assert date.get_xmp_representation() == "2023-06-01T12:30:15" + written


@pytest.mark.parametrize("text", [
    "", "2", "202", "20233", "0000", "-2023", "2023-", "2023-0", "2023-00", "2023-13", "2023-1", "2023-06-",
    "2023-06-0", "2023-06-00", "2023-06-31", "2023-06-32", "2023-02-29", "1900-02-29", "2100-02-29", "2023T12:30",
    "2023-06T12:30", "2023-06-01 12:30", "2023-06-01t12:30", "2023-06-01T", "2023-06-01T12", "2023-06-01T12:",
    "2023-06-01T12:3", "2023-06-01T24:00", "2023-06-01T12:60", "2023-06-01T12:30:", "2023-06-01T12:30:60",
    "2023-06-01T12:30:15.", "2023-06-01T12:30:15.Z", "2023-06-01T12:30:15.:", "2023-06-01T12:30:15./",
    "2023-06-01T12:30z", "2023-06-01T12:30Z1", "2023-06-01T12:30+", "2023-06-01T12:30+2:00", "2023-06-01T12:30+02",
    "2023-06-01T12:30+0200", "2023-06-01T12:30+02:60", "2023-06-01T12:30+02:00 ", "2023-06-01T12:30+15:00",
    "2023-06-01T12:30+14:01", "2023-06-01T12:30-14:01", "2023-06-01T12:30+-2:00", "2023-06-01T12.30", "202a-06-01",
    "2023-:6-01", "2023-/6-01"])
def test_texts_that_are_no_dates(text: str) -> None:
    with managed_error("FormatException", f"'{text}' is not a date of the form that XMP has: 2023, 2023-06, "
                       "2023-06-01, 2023-06-01T12:30:00+02:00."):
        XmpDate(text)


@pytest.mark.parametrize("moment", [
    datetime.datetime(1, 1, 1), datetime.datetime(9999, 12, 31, 23, 59, 59, 999_999),
    datetime.datetime(2024, 2, 29, 1, 2, 3),
    datetime.datetime(2023, 10, 11, 22, 33, 44, 500_000), datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc),
    datetime.datetime(2000, 12, 31, 23, 59, 59, 10, tzinfo=datetime.timezone.utc)])
def test_values_as_text(moment: datetime.datetime) -> None:
    """Fractions without the zeros at their end, and the zone of the universal time by its letter."""
    package = PhotoshopPackage()
    package.set_created_date(moment)
    written = package.get_xml_value().partition("DateCreated>")[2].partition("<")[0]
    text = moment.strftime(f"{moment.year:04d}-%m-%dT%H:%M:%S")
    if moment.microsecond:
        text += f".{moment.microsecond:06d}".rstrip("0")
    assert written == text + ("Z" if moment.tzinfo else "")
