"""What scripts do with sdiftool's output: numpy loads the tracks table, and
the JSON of info parses with the documented keys and types.

Usage: check_tables.py numpy|json SDIFTOOL DATA_DIR
"""
import io
import json
import struct
import subprocess
import sys


def stored_rows(path):
    """(time, index, frequency, amplitude, phase) of every 1TRC row, as float32."""
    b = open(path, "rb").read()
    at = 8 + struct.unpack(">i", b[4:8])[0]
    rows = []
    while at + 24 <= len(b):
        sig = b[at:at + 4]
        size, time, _, nb = struct.unpack(">IdII", b[at + 4:at + 24])
        m = at + 24
        for _ in range(nb):
            msig = b[m:m + 4]
            dtype, nrow, ncol = struct.unpack(">III", b[m + 4:m + 16])
            width = dtype & 0xFF
            if sig == msig == b"1TRC" and dtype == 4:
                cells = struct.unpack(">%df" % (nrow * ncol), b[m + 16:m + 16 + 4 * nrow * ncol])
                for r in range(nrow):
                    rows.append((time,) + cells[r * ncol:r * ncol + 4])
            data = nrow * ncol * width
            m += 16 + data + (-data) % 8
        at += 8 + size
    return rows


def check_numpy(tool, data):
    import numpy as np

    path = data + "/saw-s0.sdif"
    out = subprocess.run([tool, "tracks", path], check=True, stdout=subprocess.PIPE).stdout
    table = np.genfromtxt(io.BytesIO(out), names=True, delimiter=",")
    assert table.dtype.names == ("track", "index", "time", "frequency", "amplitude", "phase")
    stored = stored_rows(path)
    assert len(table) == len(stored), (len(table), len(stored))

    # Each track once: its lines together, numbered from 1 without a gap,
    # one index per track and times going forward.
    steps = np.diff(table["track"])
    assert table["track"][0] == 1 and np.all((steps == 0) | (steps == 1))
    for t in np.unique(table["track"]):
        rows = table[table["track"] == t]
        assert np.all(rows["index"] == rows["index"][0])
        assert np.all(np.diff(rows["time"]) > 0)

    # Values read back as the float32 the file holds, so every stored
    # amplitude above 0 stays above 0 and has a level in dB.
    got = {(r["time"], np.float32(r["index"])): r for r in table}
    for time, index, freq, amp, phase in stored:
        r = got[(time, np.float32(index))]
        assert np.float32(r["frequency"]) == np.float32(freq)
        assert np.float32(r["amplitude"]) == np.float32(amp)
        assert np.float32(r["phase"]) == np.float32(phase)
    positive = table["amplitude"][table["amplitude"] > 0]
    assert np.all(np.isfinite(20 * np.log10(positive)))


def check_json(tool, data):
    names = [data + "/tone-s1.sdif", data + "/chord-s0.sdif"]
    out = subprocess.run([tool, "info", "--json"] + names, check=True,
                         stdout=subprocess.PIPE).stdout
    files = json.loads(out)
    assert [f["file"] for f in files] == names
    for f in files:
        assert isinstance(f["format_version"], int) and isinstance(f["types_version"], int)
        assert isinstance(f["name_value_tables"], list) and isinstance(f["types"], str)
        assert isinstance(f["stream_ids"], list) and f["error"] is None
        for fr in f["frames"]:
            assert isinstance(fr["stream"], int) and isinstance(fr["signature"], str)
            assert isinstance(fr["count"], int) and isinstance(fr["declared"], bool)
            assert isinstance(fr["first_time"], (int, float))
            for m in fr["matrices"]:
                assert m["rows_min"] <= m["rows_max"] and m["columns_min"] <= m["columns_max"]
                assert all(isinstance(t, str) for t in m["data_types"])
    tone, chord = files
    assert tone["frames"][0]["stream"] == 1 and tone["frames"][0]["count"] == 256
    assert tone["sdif2columns"]["reads"] is False and tone["sdif2columns"]["stream"] == 1
    assert "restream --stream 1:0" in tone["sdif2columns"]["remedy"]
    assert chord["sdif2columns"]["reads"] is True and chord["sdif2columns"]["frames"] == 256
    assert chord["sdif2columns"]["remedy"] is None


if __name__ == "__main__":
    mode, tool, data = sys.argv[1:4]
    {"numpy": check_numpy, "json": check_json}[mode](tool, data)
