import os

import numpy as np
import pytest

import sdifpartials
from sdifbytes import DATA, REAL_FILES, TYPES, parse_sdif, sdif_bytes


def assert_frames(frames, expected):
    assert len(frames) == len(expected)
    for got, (time, stream, sig, matrices) in zip(frames, expected):
        assert (got.time, got.stream, got.signature) == (time, stream, sig)
        assert [m.signature for m in got.matrices] == [s for s, _ in matrices]
        for m, (_, values) in zip(got.matrices, matrices):
            # Native byte order, the file's element type and every value.
            assert m.data.dtype == values.dtype.newbyteorder("=")
            np.testing.assert_array_equal(m.data, values)


@pytest.mark.parametrize("path", REAL_FILES, ids=os.path.basename)
def test_every_frame_as_the_bytes_hold_it(path):
    assert_frames(sdifpartials.read_frames(path), parse_sdif(path))


def test_every_data_type_with_its_padding(tmp_path):
    # Rows of 3 elements: 1- and 2-byte types need padding to 8 bytes, and
    # signed and unsigned extremes catch a wrong element type.
    def values(code):
        if code == 0x0301:
            return [[b"a", b"b", b"c"]]
        if code >> 8 == 2:
            return [[0, 200, 2 ** (8 * (code & 0xFF)) - 1]]
        return [[-3, -2, -1], [0, 1, 2]]
    codes = list(TYPES)
    # Predefined frame types whose components take these matrices.
    frames = [("1MRK", 0.5, 3, [(s, c, values(c)) for s, c in
                                zip(["1BEG", "1END", "1SEG", "1LAB", "1PEM", "ITMR", "ITMI"], codes)]),
              ("1ENV", 0.75, 3, [(s, c, values(c)) for s, c in zip(["IENV", "1ENV"], codes[7:])])]
    path = tmp_path / "types.sdif"
    path.write_bytes(sdif_bytes(frames))
    assert_frames(sdifpartials.read_frames(path), parse_sdif(path))


def select(path, keep_frame=lambda f: True, rows=slice(None), cols=slice(None), matrices=True):
    return [(t, s, sig, [(m, v[rows, cols]) for m, v in ms] if matrices else [])
            for t, s, sig, ms in parse_sdif(path) if keep_frame((t, s))]


SAW = os.path.join(DATA, "saw-s0.sdif")
TONE1 = os.path.join(DATA, "tone-s1.sdif")
SELECTIONS = [
    (TONE1, "#1", lambda: select(TONE1)),
    (TONE1, "#0", lambda: []),
    (SAW, "@0.1-0.2", lambda: select(SAW, lambda f: 0.1 <= f[0] <= 0.2)),
    (SAW, "@0.5+0.01", lambda: select(SAW, lambda f: 0.49 <= f[0] <= 0.51)),
    # A leading ':' must not be read as part of the '::' before it.
    (SAW, ":1TRC", lambda: select(SAW)),
    (SAW, ":1HRM", lambda: []),
    (SAW, "/1HRM", lambda: select(SAW, matrices=False)),
    (SAW, "_1-10", lambda: select(SAW, rows=slice(0, 10))),
    (SAW, ".2-3", lambda: select(SAW, cols=slice(1, 3))),
    (SAW, "_3.4@0.9-1", lambda: select(SAW, lambda f: 0.9 <= f[0] <= 1, slice(2, 3), slice(3, 4))),
]


@pytest.mark.parametrize("path,selection,expected", SELECTIONS,
                         ids=[s for _, s, _ in SELECTIONS])
def test_selections_in_the_argument_and_after_the_name(path, selection, expected):
    assert_frames(sdifpartials.read_frames(path, selection), expected())
    # After the name a frame list goes without its ':', which would make ':::'.
    assert_frames(sdifpartials.read_frames(path + "::" + selection.lstrip(":")), expected())


def test_paths_as_str_bytes_and_pathlike(tmp_path):
    import pathlib
    expected = parse_sdif(SAW)
    for path in (SAW, os.fsencode(SAW), pathlib.Path(SAW)):
        assert_frames(sdifpartials.read_frames(path), expected)
    # A name holding '::' is read whole with an empty selection.
    odd = tmp_path / "a::b.sdif"
    odd.write_bytes(open(SAW, "rb").read())
    assert_frames(sdifpartials.read_frames(odd, ""), expected)
