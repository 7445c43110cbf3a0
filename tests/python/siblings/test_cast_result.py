"""The cast result: a status and a value; it is true if the cast succeeded, and can be unpacked as a pair."""

import gc
import sys
import weakref

import pytest

from zelmor import pygc

from support.capsules import cast_result as make
from support.child import run_child


@pytest.mark.parametrize(("status", "made"), [(0, False), (-1, False), (1, True), (2, True), (-2, True)])
def test_truth_is_whether_the_cast_was_made(status, made):
    result = make(status, "value")
    assert type(result) is pygc.CastResult
    assert bool(result) is made
    assert (result.status, result.value) == (status, "value")
    ok, value = result
    assert (ok, value) == (made, "value")
    assert ok is made


def test_no_value_is_none():
    result = make(0)
    assert result.value is None
    assert tuple(result) == (False, None)


def test_sequence_of_two():
    result = make(1, "value")
    assert len(result) == 2
    assert list(result) == [True, "value"]
    assert (result[0], result[1], result[-1], result[-2]) == (True, "value", "value", True)
    for index in (2, -3):
        with pytest.raises(IndexError, match="out of range"):
            _ = result[index]


def test_equality_and_hash():
    assert make(1, (1, 2)) == make(1, (1, 2))
    assert hash(make(1, (1, 2))) == hash(make(1, (1, 2)))
    assert make(1, "a") != make(2, "a") and not make(1, "a") == make(2, "a")
    assert make(1, "a") != make(1, "b")
    assert make(1, "a") != (True, "a")
    with pytest.raises(TypeError, match="unhashable"):
        hash(make(1, []))
    with pytest.raises(TypeError, match="not supported between instances"):
        _ = make(1) < make(2)


def test_a_comparison_that_raises():
    class Wild:
        def __eq__(self, other):
            raise ArithmeticError("no")

    wild, other = Wild(), Wild()
    with pytest.raises(ArithmeticError, match="no"):
        _ = make(1, wild) == make(1, other)


def test_text():
    assert repr(make(1, "a")) == "CastResult(status=1, value='a')"
    assert str(make(0)) == "CastResult(status=0, value=None)"
    ring = []
    ring.append(make(1, ring))
    assert repr(ring[0]) == "CastResult(status=1, value=[CastResult(...)])"


def test_python_makes_none_and_changes_none():
    with pytest.raises(TypeError, match="cannot create"):
        pygc.CastResult()
    with pytest.raises(TypeError):
        type("Derived", (pygc.CastResult,), {})
    result = make(1, "a")
    for name in ("status", "value"):
        with pytest.raises(AttributeError):
            setattr(result, name, 1)
    with pytest.raises(AttributeError):
        result.other = 1


def test_pattern_matching():
    match make(1, "a"):
        case pygc.CastResult(status=1, value=found):
            assert found == "a"
        case _:
            pytest.fail("the pattern did not match")


def test_the_value_is_not_stolen():
    value = object()
    before = sys.getrefcount(value)
    result = make(1, value)
    assert sys.getrefcount(value) == before + 1
    assert sys.getrefcount(result) == 2
    read = result.value
    assert sys.getrefcount(value) == before + 2
    del read, result
    assert sys.getrefcount(value) == before


def test_none_is_kept_in_balance():
    gc.collect()  # objects that other tests left behind refer to None too
    before = sys.getrefcount(None)
    results = [make(0) for _ in range(1000)]
    assert sys.getrefcount(None) > before + 900
    del results
    assert abs(sys.getrefcount(None) - before) < 100


def test_cycles_are_collected():
    class Holder:
        pass

    holder = Holder()
    holder.result = make(1, holder)
    watch = weakref.ref(holder)
    del holder
    gc.collect()
    assert watch() is None


def test_results_in_results_are_dropped_one_by_one():
    run_child("""
import threading
from support.capsules import cast_result as make

def run():
    result = make(1, "value")
    for _ in range(100_000):
        result = make(1, result)
    del result

threading.stack_size(256 * 1024)
thread = threading.Thread(target=run)
thread.start()
thread.join()
""")
