import subprocess

import numpy as np
import pytest

import sdifpartials
from sdifbytes import CONVERTER, parse_sdif

HOP = 0.01


def tracks_on_a_grid(seed=1):
    """Three overlapping tracks on frames k * HOP, values exact in float32."""
    rng = np.random.default_rng(seed)
    spans = [(0, 10), (3, 15), (5, 8)]
    tracks = []
    for first, last in spans:
        k = np.arange(first, last)
        values = rng.uniform([100, 0, -np.pi], [4000, 1, np.pi], (len(k), 3))
        tracks.append(np.column_stack([k * HOP, values.astype(np.float32)]))
    return tracks


def rows_by_index(path):
    """{SDIF index: [(time, frequency, amplitude, phase)]} of a 1TRC file."""
    tracks = {}
    for time, stream, sig, matrices in parse_sdif(path):
        assert (sig, [m for m, _ in matrices]) == ("1TRC", ["1TRC"])
        for index, *values in matrices[0][1].astype(float):
            tracks.setdefault(index, []).append((time, *values))
    return tracks


def test_tracks_sharing_frames_read_back_exactly(tmp_path):
    tracks = tracks_on_a_grid()
    path = tmp_path / "t.sdif"
    sdifpartials.write_tracks(path, tracks)
    # One frame per distinct time, in stream 0, each track under one index.
    times = sorted({t for track in tracks for t in track[:, 0]})
    assert [(f[0], f[1]) for f in parse_sdif(path)] == [(t, 0) for t in times]
    read = sorted(rows_by_index(path).values(), key=lambda points: (points[0][0], points[0][1]))
    expected = sorted((list(map(tuple, t)) for t in tracks), key=lambda p: (p[0][0], p[0][1]))
    assert read == expected
    # The converter reads it too: frame 3 holds the first two tracks.
    run = subprocess.run([CONVERTER, str(path)], capture_output=True, text=True)
    assert run.returncode == 0 and run.stderr == ""
    assert run.stdout.split("\n\n\n")[3].split("\n")[0] == "0.030000\t2"


def test_hop_puts_points_on_its_grid(tmp_path):
    tracks = tracks_on_a_grid()
    jittered = [t.copy() for t in tracks]
    for t in jittered:
        t[:, 0] += np.random.default_rng(2).uniform(-0.4, 0.4, len(t)) * HOP
    path = tmp_path / "t.sdif"
    sdifpartials.write_tracks(path, jittered, hop=HOP, stream=2)
    frames = parse_sdif(path)
    assert {f[1] for f in frames} == {2}
    assert [f[0] for f in frames] == [k * HOP for k in range(15)]
    assert sorted(map(len, rows_by_index(path).values())) == sorted(map(len, tracks))
    # Two points of one track in one frame of the grid.
    with pytest.raises(ValueError, match="track 0, point 1 .* same frame"):
        sdifpartials.write_tracks(path, [np.array([[0.0, 1, 1, 0], [0.004, 1, 1, 0]])], hop=HOP)


def test_a_track_missing_from_a_frame_reads_back_as_two(tmp_path):
    # The second track has no point at 0.01 s, where the first one has.
    tracks = [np.array([[0.0, 100, 1, 0], [0.01, 100, 1, 0], [0.02, 100, 1, 0]]),
              np.array([[0.0, 200, 1, 0], [0.02, 200, 1, 0]])]
    path = tmp_path / "t.sdif"
    with pytest.warns(UserWarning, match="1 track.* miss frames .*track 1 at 0.01 s"):
        sdifpartials.write_tracks(path, tracks)
    assert sorted(len(p) for p in rows_by_index(path).values()) == [1, 1, 3]


BAD = [
    ([np.zeros((2, 3))], "track 0: expected shape \\(points, 4\\)"),
    ([np.zeros((2, 4)), [["a", 1, 1, 1]]], "track 1: not an array of numbers"),
    ([np.array([[0.0, 1, 1, 0], [0.0, 1, 1, 0]])], "track 0, point 1 .* does not come after"),
    ([np.array([[np.nan, 1, 1, 0]])], "track 0, point 0: time is not a finite number"),
    (np.zeros((2, 4)), "a single track goes in a list"),
    ("tracks", "list of arrays"),
]


@pytest.mark.parametrize("call", [lambda t: sdifpartials.write_tracks("unused.sdif", t),
                                  lambda t: sdifpartials.synthesize(t)], ids=["write", "synthesize"])
@pytest.mark.parametrize("tracks,text", BAD, ids=[t for _, t in BAD])
def test_malformed_tracks_are_refused(tmp_path, monkeypatch, call, tracks, text):
    monkeypatch.chdir(tmp_path)
    with pytest.raises(ValueError, match=text):
        call(tracks)
    assert list(tmp_path.iterdir()) == []  # nothing was written


@pytest.mark.parametrize("kwargs,text", [({"hop": 0}, "hop"), ({"hop": float("inf")}, "hop"),
                                         ({"stream": -1}, "stream")])
def test_bad_hop_or_stream(tmp_path, kwargs, text):
    with pytest.raises(ValueError, match=text):
        sdifpartials.write_tracks(tmp_path / "t.sdif", tracks_on_a_grid(), **kwargs)
