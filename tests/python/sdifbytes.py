"""What the tests of sdifpartials share: the data files, and a small SDIF
reader and writer of their own, so that what the module reads and writes is
checked against the bytes of the format rather than against the module."""

import os
import struct

import numpy as np

DATA = os.environ["SDIF2COLUMNS_TEST_DATA"]
EXAMPLES = os.environ["SDIF2COLUMNS_EXAMPLES"]
CONVERTER = os.environ["SDIF2COLUMNS_BIN"]

# Analyses by another program (one 1TRC matrix per frame, no ASCII chunks)
# and the examples written by the partial library (ASCII chunks, 1HRM, 1PIC,
# a chord sequence).
REAL_FILES = [os.path.join(DATA, f) for f in
              ("saw-s0.sdif", "chord-s0.sdif", "sweep-s0.sdif", "tone-s1.sdif")] + \
             [os.path.join(EXAMPLES, f) for f in
              ("harmonics.sdif", "peaks.sdif", "chords.sdif")]

# SDIF data type codes and their big-endian layout in a file.
TYPES = {0x0004: ">f4", 0x0008: ">f8", 0x0101: "i1", 0x0102: ">i2", 0x0104: ">i4",
         0x0201: "u1", 0x0202: ">u2", 0x0204: ">u4", 0x0301: "S1"}
ASCII_CHUNKS = {"1NVT", "1TYP", "1IDS"}


def parse_sdif(path):
    """[(time, stream, signature, [(matrix signature, array)])] of the data
    frames; the ASCII chunks before them are skipped by their size."""
    data = open(path, "rb").read()
    assert data[:4] == b"SDIF"
    pos = 8 + struct.unpack(">I", data[4:8])[0]
    frames = []
    while pos + 8 <= len(data):
        sig = data[pos:pos + 4].decode("latin-1")
        (size,) = struct.unpack(">I", data[pos + 4:pos + 8])
        end = pos + 8 + size
        if sig not in ASCII_CHUNKS:
            time, stream, count = struct.unpack(">dII", data[pos + 8:pos + 24])
            p, matrices = pos + 24, []
            for _ in range(count):
                msig = data[p:p + 4].decode("latin-1")
                code, rows, cols = struct.unpack(">III", data[p + 4:p + 16])
                n = rows * cols * (code & 0xFF)
                values = np.frombuffer(data, TYPES[code], rows * cols, p + 16)
                matrices.append((msig, values.reshape(rows, cols)))
                p += 16 + n + (-n % 8)
            frames.append((time, stream, sig, matrices))
        pos = end
    return frames


def sdif_bytes(frames):
    """An SDIF file without ASCII chunks: frames as parse_sdif answers them,
    each matrix given as (signature, type code, values)."""
    out = b"SDIF" + struct.pack(">III", 8, 3, 1)
    for sig, time, stream, matrices in frames:
        body = struct.pack(">dII", time, stream, len(matrices))
        for msig, code, values in matrices:
            values = np.asarray(values, TYPES[code])
            raw = values.tobytes()
            body += msig.encode() + struct.pack(">III", code, *values.shape) + raw
            body += b"\0" * (-len(raw) % 8)
        out += sig.encode() + struct.pack(">I", len(body)) + body
    return out
