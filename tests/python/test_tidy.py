"""info, read_tracks and read_table: the values against the bytes of the files
(the tests' own reader), the tracks against the track rule as sdiftool's
manual page states it, and info against what sdiftool prints."""

import json
import os
import subprocess

import numpy as np
import pytest

import sdifpartials
from sdifbytes import DATA, EXAMPLES, REAL_FILES, parse_sdif, sdif_bytes

SDIFTOOL = os.environ["SDIF2COLUMNS_SDIFTOOL"]
TRC_FILES = [os.path.join(DATA, f) for f in
             ("saw-s0.sdif", "chord-s0.sdif", "sweep-s0.sdif", "tone-s1.sdif")]
PEAKS = os.path.join(EXAMPLES, "peaks.sdif")
CHORDS = os.path.join(EXAMPLES, "chords.sdif")
TRACK_FIELDS = ("track", "index", "time", "frequency", "amplitude", "phase")
FRAME_FIELDS = ("time", "stream", "index", "frequency", "amplitude", "phase")
KINDS = {"track": "i", "note": "i", "stream": "u", "event": "U"}  # the rest float64

# Index 5 skips the frame at 1 and comes back; 7 comes twice at 0 (the
# second row is a track of its own, 0.5 continues the first); 9.5 starts
# last.  Tracks in order of first point: 5, 7, 7, 5, 9.5.
GAPS = [(0.0, [[5, 100, .5, 0], [7, 200, .25, 1], [7, 300, .125, 2]]),
        (0.5, [[7, 201, .25, 1], [5, 101, .5, 0]]),
        (1.0, [[7, 202, .25, 1]]),
        (1.5, [[5, 103, .5, 0], [7, 203, .25, 1], [9.5, 400, .75, 3]])]
GAPS_INDICES, GAPS_LENGTHS = [5, 7, 7, 5, 9.5], [2, 4, 1, 1, 1]


@pytest.fixture(scope="module")
def gaps(tmp_path_factory):
    """GAPS in stream 3, after a frame of another stream and signature."""
    path = tmp_path_factory.mktemp("tidy") / "gaps.sdif"
    frames = [("1FQ0", 0.0, 0, [("1FQ0", 4, [[100.0]])])]
    frames += [("1TRC", t, 3, [("1TRC", 4, rows)]) for t, rows in GAPS]
    path.write_bytes(sdif_bytes(frames))
    return str(path)


def data_frames(path, sig):
    """[(time, stream, rows)] of the frames sig holding a matrix sig."""
    return [(t, s, np.asarray(dict(ms)[sig], np.float64)) for t, s, fsig, ms in parse_sdif(path)
            if fsig == sig and sig in dict(ms)]


def expected_tracks(frames):
    """[(index, (points, 4) array)]: a row continues the track its index had
    in the frame before; otherwise, or when its index came already in this
    frame, it starts a new one."""
    tracks, open_tracks = [], {}
    for time, _, rows in frames:
        now = {}
        for index, *values in rows:
            if index in open_tracks and index not in now:
                track = open_tracks[index]
            else:
                track = len(tracks)
                tracks.append((index, []))
            now.setdefault(index, track)
            tracks[track][1].append([time] + values)
        open_tracks = now
    return [(index, np.array(points)) for index, points in tracks]


def frame_signature(path):
    return parse_sdif(path)[-1][2]


@pytest.mark.parametrize("path", TRC_FILES + [os.path.join(EXAMPLES, "harmonics.sdif"), "gaps"],
                         ids=os.path.basename)
def test_each_track_once_as_its_rows_hold_it(path, gaps):
    path = gaps if path == "gaps" else path
    sig = frame_signature(path)
    frames = data_frames(path, sig)
    expected = expected_tracks(frames)
    tracks = sdifpartials.read_tracks(path)
    assert isinstance(tracks, sdifpartials.Tracks) and tracks.stream == frames[0][1]
    np.testing.assert_array_equal(tracks.indices, [index for index, _ in expected])
    assert len(tracks) == len(expected)
    for got, (_, points) in zip(tracks, expected):
        assert got.dtype == np.float64 and got.shape == points.shape
        np.testing.assert_array_equal(got, points)
    if path == gaps:
        assert list(tracks.indices) == GAPS_INDICES
        assert [len(t) for t in tracks] == GAPS_LENGTHS
        # Asked for by number, the same stream gives the same tracks.
        again = sdifpartials.read_tracks(path, stream=3)
        assert all(np.array_equal(a, b) for a, b in zip(again, tracks))


def records(table, fields):
    return [tuple(r[f] for f in fields) for r in table]


def notes_of_the_example():
    # Written by examples/make_examples.cpp: A (220 Hz) and B (330 Hz) begin
    # at 0, A gives way to C (440 Hz) at 0.5, B and C end at 1.
    f = np.float32
    return [(1, 0.0, 0.5, f(220), f(0.25), f(0)), (2, 0.0, 1.0, f(330), f(0.125), f(0.5)),
            (3, 0.5, 1.0, f(440), f(0.1), f(1))]


def chord_frames_of_the_example():
    n, f = np.nan, np.float32
    return [(0.0, 0, "begin", 1, f(220), f(.25), f(0)), (0.0, 0, "begin", 2, f(330), f(.125), f(.5)),
            (0.5, 0, "end", 1, n, n, n), (0.5, 0, "begin", 3, f(440), f(.1), f(1)),
            (1.0, 0, "end", 2, n, n, n), (1.0, 0, "end", 3, n, n, n)]


def track_records(path):
    return [(t + 1, index) + tuple(p) for t, (index, points) in
            enumerate(expected_tracks(data_frames(path, "1TRC"))) for p in points]


def frame_records(path, sig="1TRC"):
    # Peaks hold no index: the row number stands for it.
    return [(time, stream) + (tuple(row) if sig != "1PIC" else (float(i),) + tuple(row[:3]))
            for time, stream, rows in data_frames(path, sig) for i, row in enumerate(rows)]


SAW, TONE1 = TRC_FILES[0], TRC_FILES[3]
TABLES = [
    ("saw tracks", SAW, "tracks", TRACK_FIELDS, lambda g: track_records(SAW)),
    ("gaps tracks", "gaps", "tracks", TRACK_FIELDS, track_records),
    ("saw frames", SAW, "frames", FRAME_FIELDS, lambda g: frame_records(SAW)),
    ("stream 1 frames", TONE1, "frames", FRAME_FIELDS, lambda g: frame_records(TONE1)),
    ("peak frames", PEAKS, "frames", FRAME_FIELDS, lambda g: frame_records(PEAKS, "1PIC")),
    ("chord notes", CHORDS, "tracks", ("note", "start", "end", "frequency", "amplitude", "phase"),
     lambda g: notes_of_the_example()),
    ("chord frames", CHORDS, "frames", ("time", "stream", "event") + FRAME_FIELDS[2:],
     lambda g: chord_frames_of_the_example()),
]


@pytest.mark.parametrize("path,kind,fields,expected", [t[1:] for t in TABLES],
                         ids=[t[0] for t in TABLES])
def test_tables_with_sdiftools_columns(path, kind, fields, expected, gaps):
    path = gaps if path == "gaps" else path
    table = sdifpartials.read_table(path, kind)
    assert table.dtype.names == fields
    assert [table.dtype[f].kind for f in fields] == [KINDS.get(f, "f") for f in fields]
    want = expected(path)
    assert len(table) == len(want)
    # Column by column, so that nan (chord ends) equals nan.
    for k, field in enumerate(fields):
        column = [w[k] for w in want]
        if table.dtype[field].kind == "f":
            np.testing.assert_array_equal(table[field], np.array(column, np.float64), field)
        else:
            assert list(table[field]) == column, field


def test_peaks_are_not_tracked_and_their_table_is_their_frames():
    with pytest.warns(UserWarning, match="not tracked: the table is its frames"):
        table = sdifpartials.read_table(PEAKS)
    assert table.dtype.names == FRAME_FIELDS
    assert records(table, FRAME_FIELDS) == records(sdifpartials.read_table(PEAKS, "frames"),
                                                   FRAME_FIELDS)


REFUSALS = [
    ("peaks", lambda: sdifpartials.read_tracks(PEAKS), ValueError, "read_table(path, kind=\"frames\")"),
    ("chords", lambda: sdifpartials.read_tracks(CHORDS), ValueError, "read_table(path)"),
    ("empty stream", lambda: sdifpartials.read_tracks(TONE1, stream=0), ValueError,
     "stream 0 holds no partial data"),
    ("stream < 0", lambda: sdifpartials.read_table(SAW, stream=-1), ValueError, "0 to 4294967295"),
    ("stream type", lambda: sdifpartials.read_tracks(SAW, stream="0"), TypeError, "None or an int"),
    ("kind", lambda: sdifpartials.read_table(SAW, "notes"), ValueError, "\"tracks\" or \"frames\""),
]


@pytest.mark.parametrize("call,exception,text", [r[1:] for r in REFUSALS],
                         ids=[r[0] for r in REFUSALS])
def test_refused(call, exception, text):
    with pytest.raises(exception) as raised:
        call()
    assert text in str(raised.value)


@pytest.mark.parametrize("path", TRC_FILES, ids=os.path.basename)
def test_tracks_written_and_read_back_are_the_same(tmp_path, path):
    tracks = sdifpartials.read_tracks(path)
    out = tmp_path / "back.sdif"
    sdifpartials.write_tracks(out, tracks, stream=tracks.stream)
    back = sdifpartials.read_tracks(out)
    assert back.stream == tracks.stream and len(back) == len(tracks)
    for a, b in zip(back, tracks):
        np.testing.assert_array_equal(a, b)
    # The writer numbers the tracks from 1.
    np.testing.assert_array_equal(back.indices, np.arange(1, len(tracks) + 1))


@pytest.mark.parametrize("name", [os.path.basename(p) for p in REAL_FILES] + ["cut.sdif", "text.sdif"])
def test_info_is_what_sdiftool_prints(tmp_path, name):
    path = next((p for p in REAL_FILES if os.path.basename(p) == name), str(tmp_path / name))
    if name == "cut.sdif":
        (tmp_path / name).write_bytes(open(SAW, "rb").read()[:5000])
    elif name == "text.sdif":
        (tmp_path / name).write_bytes(b"no SDIF here\n")
    run = subprocess.run([SDIFTOOL, "info", "--json", path], capture_output=True)
    described = sdifpartials.info(path)
    assert described == json.loads(run.stdout)[0]
    assert (described["error"] is None) == (run.returncode == 0)
    if path in REAL_FILES:
        # Frames by stream and signature, as the bytes hold them.
        counts = {}
        for _, stream, sig, _ in parse_sdif(path):
            counts[(stream, sig)] = counts.get((stream, sig), 0) + 1
        assert {(f["stream"], f["signature"]): f["count"] for f in described["frames"]} == counts
