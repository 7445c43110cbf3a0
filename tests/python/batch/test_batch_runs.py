"""Runs over processes: results, failures beside successes, lost workers, drafts, and what is never overwritten."""

from __future__ import annotations

import errno
import json
import os
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

import numpy as np
import pytest
from PIL import Image as Pillow
from zelmor import batch
from zelmor.batch.report import DONE, FAILED, SKIPPED

from support.image_oracles import noise, read, smooth, write
from support.places import BUILD_DIR


def children() -> list[int]:
    """The processes that this one has started and that are there."""
    found = []
    for task in Path("/proc/self/task").iterdir():
        found += [int(pid) for pid in (task / "children").read_text().split()]
    return found


def leftovers(folder: Path) -> list[str]:
    """What a run should not leave."""
    return [str(path) for path in folder.rglob("*") if path.name.startswith(".zelmor")]


def sources(folder: Path, count: int, width: int = 61) -> list[Path]:
    """Pictures, each with other pixels."""
    return [Path(write(folder / f"{index}.png", noise(3, index, width))) for index in range(count)]


def entries(journal: Path, kind: str) -> list[str]:
    """The values of one kind of lines of a journal."""
    return [line[kind] for line in map(json.loads, journal.read_text().splitlines()) if kind in line]


def test_every_kind_of_job(tmp_path: Path) -> None:
    one, two = sources(tmp_path, 2)
    out = tmp_path / "deep" / "out"
    wide = batch.Resize(30, 20, fit="exact")
    report = batch.run([
        batch.Convert(str(one), str(out / "a.bmp"), (wide, batch.Rotate(90))),
        batch.Join((str(one), str(two)), str(out / "both.gif"), duration=70, loops=3),
        batch.Sheet((str(one), str(two)), ("first", ""), str(out / "sheet.png"), columns=2, width=50, height=40),
        batch.Inspect(str(one)), batch.Compare(str(one), str(two)), batch.Compare(str(one), str(one)),
    ], processes=2)
    assert [outcome.status for outcome in report.outcomes] == [DONE] * 6, report.to_data()
    assert read(out / "a.bmp").shape == (30, 20, 3)
    with Pillow.open(out / "both.gif") as gif:
        assert gif.n_frames == 2 and gif.info["duration"] == 70
        assert gif.info["loop"] == 2  # the file counts how often it is repeated
    assert read(out / "sheet.png").shape[1] == 3 * 12 + 2 * 50
    assert report.outcomes[3].details["width"] == 61 and report.outcomes[3].details["format"] == "png"
    difference = np.abs(read(one).astype(int) - read(two).astype(int))
    told = report.outcomes[4].details
    assert told["greatest"] == difference.max() and not told["equal"]
    assert told["mean"] == pytest.approx(difference.sum() / (difference.size / 3 * 4), abs=1e-6)
    assert report.outcomes[5].details["equal"] and report.outcomes[5].details["psnr"] is None
    assert not leftovers(tmp_path) and not children()


def test_split_and_pages(tmp_path: Path) -> None:
    frames = [Pillow.fromarray(smooth(3, 20 + 1, 20)) for _ in range(4)]
    frames[0].save(tmp_path / "a.tif", save_all=True, append_images=frames[1:])
    report = batch.run([
        batch.Split(str(tmp_path / "a.tif"), str(tmp_path / "p{number:02}.png"), output=batch.Output(pages="2-")),
        batch.Convert(str(tmp_path / "a.tif"), str(tmp_path / "b.tif"), output=batch.Output(pages="1,4")),
        batch.Convert(str(tmp_path / "a.tif"), str(tmp_path / "first.jpg")),
        batch.Convert(str(tmp_path / "a.tif"), str(tmp_path / "no.png"), output=batch.Output(pages="1,2")),
        batch.Split(str(tmp_path / "a.tif"), str(tmp_path / "q{number}.png"), output=batch.Output(pages="5"))],
        processes=1)
    assert [outcome.status for outcome in report.outcomes] == [DONE, DONE, DONE, FAILED, FAILED]
    assert sorted(path.name for path in tmp_path.glob("*.png")) == ["p02.png", "p03.png", "p04.png"]
    with Pillow.open(tmp_path / "b.tif") as pages:
        assert pages.n_frames == 2
    assert report.outcomes[2].note == "jpeg holds one picture: the first of 4"
    assert report.outcomes[4].error == "there are no pages 5: the picture has 4"


def test_a_bad_file_stops_nothing(tmp_path: Path) -> None:
    good = sources(tmp_path, 3)
    (tmp_path / "bad.png").write_bytes(good[0].read_bytes()[:150])
    names = [str(good[0]), str(tmp_path / "bad.png"), str(tmp_path / "none.png"), str(good[1]), str(good[2])]
    seen = []
    report = batch.run([batch.Convert(name, f"{name}.bmp") for name in names], processes=2, observer=seen.append)
    assert [outcome.status for outcome in report.outcomes] == [DONE, FAILED, FAILED, DONE, DONE]
    assert report.outcomes[1].error_type == "ImageLoadException" and "bad.png" not in report.outcomes[1].error
    assert report.outcomes[2].error == f"there is no file {tmp_path / 'none.png'}"
    assert sorted(map(id, seen)) == sorted(map(id, report.outcomes))
    assert len(list(tmp_path.glob("*.bmp"))) == 3 and not leftovers(tmp_path)


def test_nothing_is_overwritten_unasked(tmp_path: Path) -> None:
    source, other = sources(tmp_path, 2)
    target = tmp_path / "there.bmp"
    target.write_bytes(b"mine")
    os.chmod(target, 0o640)
    dangling = tmp_path / "link.bmp"
    dangling.symlink_to(tmp_path / "nowhere.bmp")
    report = batch.run([
        batch.Convert(str(source), str(target)), batch.Convert(str(source), str(dangling)),
        batch.Convert(str(source), str(tmp_path / "twice.bmp")),
        batch.Convert(str(other), str(tmp_path / "twice.bmp"))])
    assert [outcome.status for outcome in report.outcomes] == [FAILED, FAILED, DONE, FAILED]
    assert report.outcomes[0].error == f"{target} exists" and target.read_bytes() == b"mine"
    assert "is made of" in report.outcomes[3].error
    assert dangling.is_symlink() and not (tmp_path / "nowhere.bmp").exists()
    report = batch.run([batch.Convert(str(source), str(target), overwrite=True)])
    assert report.done and np.array_equal(read(target), read(source))
    assert target.stat().st_mode & 0o777 == 0o640  # as the library keeps it


def test_a_file_that_comes_into_being_meanwhile_stays(tmp_path: Path) -> None:
    source, = sources(tmp_path, 1, 2000)
    target = tmp_path / "late.png"
    draft_made = threading.Event()

    def meddle() -> None:
        while not leftovers(tmp_path):
            pass
        target.write_bytes(b"mine")
        draft_made.set()

    thread = threading.Thread(target=meddle)
    thread.start()
    report = batch.run([batch.Convert(str(source), str(target))], processes=1)
    thread.join()
    assert draft_made.is_set() and report.failed[0].error == f"{target} exists"
    assert target.read_bytes() == b"mine" and not leftovers(tmp_path)


@pytest.mark.parametrize("code", [errno.EPERM, errno.EOPNOTSUPP])
def test_file_systems_without_hard_links(tmp_path: Path, monkeypatch: pytest.MonkeyPatch, code: int) -> None:
    from zelmor.batch.publishing import publish

    def refuse(*names: object) -> None:
        raise OSError(code, "no links here")

    monkeypatch.setattr(os, "link", refuse)
    draft, target = tmp_path / "draft", tmp_path / "target"
    draft.write_bytes(b"new")
    publish([(str(draft), str(target))], False, False)
    assert target.read_bytes() == b"new" and not draft.exists()
    draft.write_bytes(b"other")
    with pytest.raises(FileExistsError, match="target exists"):
        publish([(str(draft), str(target))], False, False)
    monkeypatch.setattr(os, "replace", refuse)
    with pytest.raises(OSError, match="no links"):
        publish([(str(draft), str(tmp_path / "third"))], False, False)
    assert not (tmp_path / "third").exists() and target.read_bytes() == b"new"


def test_a_file_of_the_same_content_counts_as_published_by_an_earlier_run(tmp_path: Path) -> None:
    from zelmor.batch.publishing import publish

    draft, target = tmp_path / "draft", tmp_path / "target"
    draft.write_bytes(b"same")
    target.write_bytes(b"same")
    inode = target.stat().st_ino
    publish([(str(draft), str(target))], False, True)
    assert target.stat().st_ino == inode
    target.write_bytes(b"else")
    with pytest.raises(FileExistsError):
        publish([(str(draft), str(target))], False, True)
    with pytest.raises(FileNotFoundError, match="need the same folders"):
        publish([(str(tmp_path / "nowhere"), str(tmp_path / "x"))], False, True)


def test_a_lost_worker_loses_nothing(tmp_path: Path) -> None:
    inputs = sources(tmp_path, 12, 300)
    out, journal = tmp_path / "out", tmp_path / "journal"
    killed: list[int] = []

    def kill_one(outcome: batch.Outcome) -> None:
        if len(killed) < 2:
            # One that was killed stays among the children until the run has noticed its end.
            killed.append([child for child in children() if child not in killed][-1])
            os.kill(killed[-1], signal.SIGKILL)

    report = batch.run([batch.Convert(str(path), str(out / f"{path.stem}.webp")) for path in inputs], processes=2,
                       journal=str(journal), observer=kill_one)
    assert len(set(killed)) == 2 and len(report.done) == 12, report.to_data()
    assert report.retried >= 1
    for path in inputs:
        assert np.array_equal(read(out / f"{path.stem}.webp"), read(path))
    assert sorted(path.name for path in out.iterdir()) == sorted(f"{path.stem}.webp" for path in inputs)
    assert len(entries(journal, "done")) == len(set(entries(journal, "done"))) == 12
    assert len(entries(journal, "ready")) == 12 and not leftovers(tmp_path) and not children()


def test_a_job_that_ends_its_workers_is_given_up(tmp_path: Path) -> None:
    fifo, good = tmp_path / "pipe.png", sources(tmp_path, 1)[0]
    os.mkfifo(fifo)

    def end_worker() -> None:
        for _ in range(2):
            with open(fifo, "wb"):  # opens when the worker has opened its end
                worker = children()[0]
                os.kill(worker, signal.SIGKILL)
            while worker in children():
                time.sleep(0.01)

    thread = threading.Thread(target=end_worker)
    thread.start()
    # With a journal the worker reads the source first, and waits there.
    report = batch.run([batch.Convert(str(fifo), str(tmp_path / "a.bmp")), batch.Convert(str(good), f"{good}.bmp")],
                       processes=1, attempts=2, journal=str(tmp_path / "journal"))
    thread.join()
    assert [outcome.status for outcome in report.outcomes] == [FAILED, DONE]
    assert report.failed[0].error == "given up after 2 attempts: its process ended (signal SIGKILL)"
    assert report.failed[0].error_type == "WorkerLost" and report.retried == 1


def test_a_journal_skips_what_is_done(tmp_path: Path) -> None:
    inputs = sources(tmp_path, 4)
    journal = str(tmp_path / "journal")
    jobs = [batch.Convert(str(path), f"{path}.bmp", (batch.Resize(20),), overwrite=True) for path in inputs]

    def statuses(wanted: list[batch.Convert]) -> list[str]:
        return [outcome.status for outcome in batch.run(wanted, processes=1, journal=journal).outcomes]

    assert statuses(jobs) == [DONE] * 4
    before = [Path(job.target).stat().st_ino for job in jobs]
    assert statuses(jobs) == [SKIPPED] * 4
    assert [Path(job.target).stat().st_ino for job in jobs] == before
    write(inputs[0], noise(3, 77))  # another content
    os.unlink(jobs[1].target)  # a result that is gone
    Path(jobs[2].target).write_bytes(b"changed")  # one that was changed
    assert statuses(jobs) == [DONE, DONE, DONE, SKIPPED]
    other = [batch.Convert(job.source, job.target, (batch.Resize(21),), overwrite=True) for job in jobs]
    assert statuses(other) == [DONE] * 4  # other options


CRASH = """
import os, sys
from zelmor import batch
from zelmor.batch import running
moment, journal, *paths = sys.argv[1:]
publish, count = running.publish, 0
def crash(*arguments, **keywords):
    global count
    count += 1
    if count == 2 and moment == "before":
        os._exit(9)
    publish(*arguments, **keywords)
    if count == 2 and moment == "after":
        os._exit(9)
running.publish = crash
batch.run([batch.Convert(path, path, (batch.Rotate(90),), overwrite=True) for path in paths], processes=1,
          journal=journal)
"""


@pytest.mark.parametrize("moment", ["before", "after"])
def test_pictures_are_turned_in_place_exactly_once(tmp_path: Path, moment: str) -> None:
    inputs = sources(tmp_path, 3)
    turned = [np.rot90(read(path), -1) for path in inputs]
    ended = subprocess.run([sys.executable, "-c", CRASH, moment, str(tmp_path / "journal"), *map(str, inputs)],
                           env=dict(os.environ, PYTHONPATH=str(BUILD_DIR / "python")), timeout=120, check=False)
    assert ended.returncode == 9
    jobs = [batch.Convert(str(path), str(path), (batch.Rotate(90),), overwrite=True) for path in inputs]
    for done, skipped in (((2, 1) if moment == "before" else (1, 2)), (0, 3)):
        report = batch.run(jobs, processes=1, journal=str(tmp_path / "journal"))
        assert (len(report.done), len(report.skipped)) == (done, skipped), report.to_data()
        for path, pixels in zip(inputs, turned):
            assert np.array_equal(read(path), pixels)
    assert not leftovers(tmp_path)


def test_one_run_has_the_journal(tmp_path: Path) -> None:
    from zelmor.batch.journal import Journal

    held = Journal(str(tmp_path / "journal"), "x", "1")
    with pytest.raises(batch.JournalError, match="another run is using"):
        batch.run([], journal=str(tmp_path / "journal"))
    held.close()
    assert batch.run([], journal=str(tmp_path / "journal")).outcomes == ()


def test_a_torn_line_is_dropped_and_a_wrong_one_is_not(tmp_path: Path) -> None:
    journal, source = tmp_path / "journal", sources(tmp_path, 1)[0]
    jobs = [batch.Convert(str(source), f"{source}.bmp")]
    assert batch.run(jobs, journal=str(journal)).done
    whole = journal.read_bytes()
    journal.write_bytes(whole + b'{"ready": "torn')
    assert batch.run(jobs, journal=str(journal)).skipped
    assert journal.read_bytes().startswith(whole) and b"torn" not in journal.read_bytes().replace(bytes(tmp_path), b"")
    for other in (b"no journal\n" + whole, b"no journal", b'{"done": "1"}\n', b"\0"):
        journal.write_bytes(other)
        with pytest.raises(batch.JournalError, match="line 1 of .* is no line of a journal"):
            batch.run(jobs, journal=str(journal))
        assert journal.read_bytes() == other
    journal.write_bytes(whole[:5])  # ended in its first line
    assert batch.run([], journal=str(journal)).outcomes == ()


def test_an_error_in_the_observer_ends_the_run(tmp_path: Path) -> None:
    def fail(outcome: batch.Outcome) -> None:
        raise KeyboardInterrupt

    jobs = [batch.Convert(str(path), f"{path}.webp") for path in sources(tmp_path, 4, 500)]
    with pytest.raises(KeyboardInterrupt):
        batch.run(jobs, processes=2, observer=fail)
    assert not children() and not leftovers(tmp_path)


def test_workers_of_another_version_are_refused(tmp_path: Path) -> None:
    from zelmor.batch.perform import answer

    told = json.loads(answer(json.dumps({"version": "0", "job": {}})))
    assert told["status"] == FAILED and "its caller version 0" in told["error"]


def test_a_target_folder_that_cannot_be_made_fails_its_job(tmp_path: Path) -> None:
    source = sources(tmp_path, 1)[0]
    report = batch.run([batch.Convert(str(source), str(source / "a.png"))])
    assert report.failed[0].error_type in ("NotADirectoryError", "FileExistsError")


def test_a_program_without_a_guard_around_its_main_part(tmp_path: Path) -> None:
    # Workers do not import the program that started them, as those of multiprocessing do.
    source = sources(tmp_path, 1)[0]
    (tmp_path / "json.py").write_text("raise SystemExit('a module of the folder was taken')")
    code = f"from zelmor import batch\nprint(batch.run([batch.Convert({str(source)!r}, 'a.bmp')]))"
    (tmp_path / "program").mkdir()
    (tmp_path / "program" / "main.py").write_text(code)
    done = subprocess.run([sys.executable, str(tmp_path / "program" / "main.py")], cwd=tmp_path, capture_output=True,
                          env=dict(os.environ, PYTHONPATH=str(BUILD_DIR / "python")), text=True, check=True)
    assert done.stdout.startswith("1 done, 0 skipped, 0 failed") and (tmp_path / "a.bmp").exists()
