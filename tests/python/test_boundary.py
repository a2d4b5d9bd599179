"""Failures raise Python exceptions and leave the interpreter running; what
the libraries print reaches the warnings, never the C standard error; calls
from several threads are serialised."""

import errno
import os
import threading

import numpy as np
import pytest

import sdifpartials
from sdifbytes import DATA, parse_sdif, sdif_bytes

SAW = os.path.join(DATA, "saw-s0.sdif")
ONE_TRACK = [np.array([[0.0, 440.0, 0.5, 0.0], [0.01, 440.0, 0.5, 0.0]])]


def still_reads():
    assert len(sdifpartials.read_frames(SAW)) == len(parse_sdif(SAW))


def damaged(tmp_path, name, data):
    path = tmp_path / name
    path.write_bytes(data)
    return str(path)


FAILURES = [
    # (what, call, exception, text in its message or notes)
    ("missing file", lambda d: sdifpartials.read_frames(d / "none.sdif"),
     FileNotFoundError, "No such file"),
    ("directory", lambda d: sdifpartials.read_frames(d), IsADirectoryError, "Is a directory"),
    ("not SDIF", lambda d: sdifpartials.read_frames(damaged(d, "t.sdif", b"not an SDIF file")),
     ValueError, "Bad Sdif Header"),
    ("truncated in a frame", lambda d: sdifpartials.read_frames(
        damaged(d, "cut.sdif", open(SAW, "rb").read()[:100000])), ValueError, "End of file"),
    ("truncated, as tracks", lambda d: sdifpartials.read_tracks(
        damaged(d, "cut.sdif", open(SAW, "rb").read()[:100000])), ValueError, "truncated at byte"),
    ("info of a missing file", lambda d: sdifpartials.info(d / "none.sdif"),
     FileNotFoundError, "No such file"),
    ("table of a directory", lambda d: sdifpartials.read_table(d), IsADirectoryError,
     "Is a directory"),
    ("column by name", lambda d: sdifpartials.read_frames(SAW, ".Frequency"),
     ValueError, "can't handle column names"),
    ("range of signatures", lambda d: sdifpartials.read_frames(SAW, ":1TRC-1HRM"),
     ValueError, "Range only permitted with numerical values"),
    ("standard input", lambda d: sdifpartials.read_frames("-"), ValueError, "standard stream"),
    ("'::' in a written name", lambda d: sdifpartials.write_tracks(str(d / "a::b"), ONE_TRACK),
     ValueError, "cannot have '::'"),
    ("folder missing", lambda d: sdifpartials.write_tracks(d / "no" / "x.sdif", ONE_TRACK),
     FileNotFoundError, "No such file"),
]


@pytest.mark.parametrize("call,exception,text", [f[1:] for f in FAILURES],
                         ids=[f[0] for f in FAILURES])
def test_failures_raise_and_the_interpreter_goes_on(tmp_path, capfd, call, exception, text):
    with pytest.raises(exception) as raised:
        call(tmp_path)
    assert text in str(raised.value) + "".join(getattr(raised.value, "__notes__", []))
    still_reads()
    assert capfd.readouterr().err == ""


@pytest.mark.skipif(not os.path.exists("/dev/full"), reason="no /dev/full")
def test_a_full_disk_fails_the_write():
    with pytest.raises(OSError) as raised:
        sdifpartials.write_tracks("/dev/full", ONE_TRACK)
    assert raised.value.errno == errno.ENOSPC


def test_library_warnings_are_python_warnings_once_with_their_count(tmp_path, capfd):
    # A 1HRM matrix in 1TRC frames: the SDIF library warns at every frame.
    frames = [("1TRC", t, 0, [("1HRM", 4, np.ones((2, 4)))]) for t in (0.0, 0.5, 1.0)]
    path = damaged(tmp_path, "w.sdif", sdif_bytes(frames))
    with pytest.warns(sdifpartials.SdifWarning) as caught:
        assert len(sdifpartials.read_frames(path)) == 3
    assert len(caught) == 1
    text = str(caught[0].message)
    assert "Matrix is not in frames components : '1HRM' in frame '1TRC'" in text
    assert text.endswith("(3 times)")
    assert capfd.readouterr().err == ""


def test_calls_from_threads_are_serialised():
    expected = [(f.time, [m.data.tobytes() for m in f.matrices])
                for f in sdifpartials.read_frames(SAW)]
    results, errors = [], []

    def work():
        try:
            for _ in range(3):
                frames = sdifpartials.read_frames(SAW)
                results.append([(f.time, [m.data.tobytes() for m in f.matrices]) for f in frames])
                sdifpartials.synthesize(ONE_TRACK)
        except Exception as e:  # reported below, not lost in the thread
            errors.append(e)
    threads = [threading.Thread(target=work) for _ in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert errors == []
    assert len(results) == 12 and all(r == expected for r in results)
    still_reads()
