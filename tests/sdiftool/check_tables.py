"""What scripts do with sdiftool's output: numpy loads the tracks table, and
the JSON of info parses with the documented keys and types.

Usage: check_tables.py numpy|json SDIFTOOL DATA_DIR
"""
import io
import json
import subprocess
import sys


def check_numpy(tool, data):
    import numpy as np

    path = data + "/saw-s0.sdif"
    out = subprocess.run([tool, "tracks", path], check=True, stdout=subprocess.PIPE).stdout
    table = np.genfromtxt(io.BytesIO(out), names=True, delimiter=",")
    assert table.dtype.names == ("track", "index", "time", "frequency", "amplitude", "phase")

    # Each track once: its lines together, numbered from 1 without a gap,
    # one index per track and times going forward.
    steps = np.diff(table["track"])
    assert table["track"][0] == 1 and np.all((steps == 0) | (steps == 1))
    for t in np.unique(table["track"]):
        rows = table[table["track"] == t]
        assert np.all(rows["index"] == rows["index"][0])
        assert np.all(np.diff(rows["time"]) > 0)

    # Amplitudes above 0 have a level in dB.
    positive = table["amplitude"][table["amplitude"] > 0]
    assert len(positive) > 0 and np.all(np.isfinite(20 * np.log10(positive)))


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
