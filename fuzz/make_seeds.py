#!/usr/bin/env python3
"""Writes the crafted seed inputs of the fuzz targets into corpus/<target>/.

The SDIF seeds are built byte by byte (big-endian, 8-byte padding), like the
test files of tests/converter; the real analysis files of tests/data are cut
to their first frames so that the fuzzer starts from small inputs (the whole
files are replayed from tests/data itself).  Inputs
found by the fuzzer and merged into the corpus are kept beside these.
"""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = os.path.join(HERE, '..', 'tests', 'data')

F4, F8, I4, U4, I1, I2, U2, TEXT = 0x4, 0x8, 0x104, 0x204, 0x101, 0x102, 0x202, 0x301
PACK = {F4: '>f', F8: '>d', I4: '>i', U4: '>I', I1: '>b', I2: '>h', U2: '>H'}


def pad(b):
    return b + b'\0' * ((8 - len(b) % 8) % 8)


def header(size=8, extra=b''):
    return b'SDIF' + struct.pack('>iII', size, 3, 1) + extra


def matrix(sig, dtype, rows, cols, values=None, text=None):
    h = sig.encode() + struct.pack('>III', dtype, rows, cols)
    if text is not None:
        data = text
    else:
        data = b''.join(struct.pack(PACK[dtype], v) for v in values)
    return h + pad(data)


def frame(sig, stream, time, matrices, size=None):
    body = struct.pack('>dII', time, stream, len(matrices)) + b''.join(matrices)
    if size is None:
        size = len(body)
    return sig.encode() + struct.pack('>I', size) + body


def trc(sig, rows, dtype=F4):
    return matrix(sig, dtype, len(rows), 4, [v for r in rows for v in r])


def text_chunk(sig, text):
    t = text.encode() + b'\0'
    return frame(sig, 0xFFFFFFFD, -1.7976931348623157e308, [matrix(sig, TEXT, len(t), 1, text=t)])


def real_prefix(name, frames):
    with open(os.path.join(DATA, name), 'rb') as f:
        b = f.read()
    pos = 16
    for _ in range(frames):
        size = struct.unpack('>I', b[pos + 4:pos + 8])[0]
        pos += 8 + size
    return b[:pos]


def sdif_seeds():
    s = {}
    for name in ('saw-s0', 'chord-s0', 'sweep-s0', 'tone-s1'):
        s['real-%s-6frames.sdif' % name] = real_prefix(name + '.sdif', 6)
    s['trc-three-frames.sdif'] = header() + \
        frame('1TRC', 0, 0.0, [trc('1TRC', [(1, 440, .1, 0), (2, 880, .05, 1), (3, 1320, .02, 2)])]) + \
        frame('1TRC', 0, 0.01, [trc('1TRC', [(1, 441, .1, .5), (3, 1321, .02, 2.5)])]) + \
        frame('1TRC', 0, 0.02, [trc('1TRC', [(1, 442, .1, 1), (3, 1322, .02, 3), (4, 1760, .01, -1)])])
    s['hrm-float8.sdif'] = header() + \
        frame('1HRM', 0, 0.0, [trc('1HRM', [(1, 220, .3, 0), (2, 440, .2, 1)], F8)]) + \
        frame('1HRM', 0, 0.5, [trc('1HRM', [(1, 221, .3, 0.1)], F8)])
    s['pic-int4.sdif'] = header() + \
        frame('1PIC', 0, 0.0, [matrix('1PIC', F4, 2, 4, [100, .5, 0, 1, 200, .25, 1, 1])]) + \
        frame('1PIC', 0, 0.1, [matrix('1PIC', I4, 1, 4, [300, 1, 2, 1])])
    s['chord-sequence.sdif'] = header() + \
        text_chunk('1TYP', '1FTD1MRK { 1TRC chord_seq_partials;  }\n') + \
        frame('1MRK', 0, 0.0, [matrix('1BEG', I4, 2, 1, [1, 2]),
                               trc('1TRC', [(1, 261.6, .3, 0), (2, 329.6, .2, 0)])]) + \
        frame('1MRK', 0, 0.5, [matrix('1END', I4, 1, 1, [1]), matrix('1BEG', I4, 1, 1, [3]),
                               trc('1TRC', [(3, 392, .2, 0)])]) + \
        frame('1MRK', 0, 1.0, [matrix('1END', I4, 2, 1, [2, 3])]) + \
        frame('1MRK', 0, 1.5, [])
    s['ascii-chunks.sdif'] = header() + \
        text_chunk('1NVT', 'Creator\tfuzz seeds\nTableName\tInfo\n') + \
        text_chunk('1TYP', '1MTD XNEW {alpha, beta}\n1FTD XFRM {XNEW things; 1TRC partials;}\n') + \
        text_chunk('1IDS', '1 source:tree/way/x;\n2 other:a b;\n') + \
        frame('XFRM', 1, 0.0, [matrix('XNEW', F4, 1, 2, [1, 2]), trc('1TRC', [(1, 100, 1, 0)])]) + \
        frame('1TRC', 0, 0.0, [trc('1TRC', [(7, 100, 1, 0)])])
    braces = pad(b'{\nCreator\tsomebody;\nDate\ttoday;\n}\n')
    s['nvt-intermediate.sdif'] = header() + \
        b'1NVT' + struct.pack('>IdII', 16 + len(braces), -1.0, 0xFFFFFFFD, 0) + braces + \
        frame('1TRC', 0, 0.0, [trc('1TRC', [(1, 100, 1, 0)])])
    s['header-padding-streams.sdif'] = header(16, b'\0' * 8) + \
        frame('1TRC', 3, 0.0, [trc('1TRC', [(1, 100, 1, 0)])]) + \
        frame('1TRC', 0, 0.0, [trc('1TRC', [(1, 100, 1, 0), (1, 200, 1, 0)])]) + \
        frame('1TRC', 0, 0.1, [trc('1TRC', [(1, 101, 1, 0)]), trc('1TRC', [(2, 50, 1, 0)])])
    s['unknown-size-and-types.sdif'] = header() + \
        frame('1TRC', 0, 0.0, [trc('1TRC', [(1, 100, 1, 0)])], size=0xFFFFFFFF) + \
        frame('1FQ0', 0, 0.0, [matrix('1FQ0', F4, 1, 4, [100, 1, 1, 1])]) + \
        frame('1TRC', 0, 0.1, [matrix('1TRC', I2, 2, 4, [1, 100, 1, 0, 2, 200, 0, 0]),
                               matrix('1TRC', U2, 1, 1, [5])])
    return s


def shape_seeds():
    """Small cousins (under the smoke run's 8192 bytes) of the files that once
    made a run build or print far more than their size: mutations that grow
    them past the memory budget blow the fuzzer's memory limit."""
    s = {}
    mrk_types = text_chunk('1TYP', '1FTD1MRK { 1TRC chord_seq_partials;  }\n')
    notes = 60
    s['shape-sounding-notes.sdif'] = header() + mrk_types + \
        frame('1MRK', 0, 0.0, [matrix('1BEG', I4, notes, 1, list(range(1, notes + 1))),
                               trc('1TRC', [(i + 1, 100 + i, .1, 0) for i in range(notes)])]) + \
        b''.join(frame('1MRK', 0, 0.01 * k, []) for k in range(1, 200))
    rows = 1500
    s['shape-repeated-indices.sdif'] = header() + \
        frame('1TRC', 0, 0.0, [matrix('1TRC', I1, rows, 4,
                                      [v for i in range(rows) for v in (i % 100 + 1, 50, 1, 0)])])
    s['shape-growing-partials.sdif'] = header() + \
        frame('1TRC', 0, 0.0, [trc('1TRC', [(i + 1, 100 + i, .1, 0) for i in range(150)])]) + \
        b''.join(frame('1TRC', 0, 0.01 * k, []) for k in range(1, 200))
    words = 'x ' * 3000
    good = frame('1TRC', 0, 0.0, [trc('1TRC', [(1, 440, .1, 0)])])
    s['shape-type-errors.sdif'] = header() + text_chunk('1TYP', words) + good
    braces = pad(('{' + words + '}').encode())
    s['shape-type-errors-intermediate.sdif'] = header() + \
        b'1TYP' + struct.pack('>IdII', 16 + len(braces), -1.0, 0xFFFFFFFD, 0) + braces + good
    s['shape-empty-stream-ids.sdif'] = header() + text_chunk('1IDS', ';' * 6000) + good
    return s


def write(target, seeds):
    d = os.path.join(HERE, 'corpus', target)
    os.makedirs(d, exist_ok=True)
    for name, data in seeds.items():
        with open(os.path.join(d, name), 'wb') as f:
            f.write(data if isinstance(data, bytes) else data.encode())


def main():
    sdif = sdif_seeds()
    sdif.update(shape_seeds())
    write('fuzz_converter', sdif)
    write('fuzz_sdif_frames', sdif)
    # The converter's input may begin with a selection line ("::...\n").
    write('fuzz_converter', {
        'selection-rows.sdif': b'::_2-3\n' + sdif['trc-three-frames.sdif'],
        'selection-times-columns.sdif': b'::@0.005-1.1-4\n' + sdif['chord-sequence.sdif'],
        'selection-streams.sdif': b'::#0:1TRC/1TRC\n' + sdif['header-padding-streams.sdif'],
        'selection-sounding-notes.sdif': b'::_1-40\n' + sdif['shape-sounding-notes.sdif'],
    })
    write('fuzz_select', {
        'streams-frames.txt': 'take1.sdif::#0,1:1TRC/1TRC@0.5-2.0',
        'rows-columns.txt': 'a.sdif::_1-10.2+1',
        'deltas-times.txt': '::@1.5+0.25,3#2-4,7',
        'bare-frame-list.txt': '1TRC,1HRM:1PIC',
        'signature-ranges.txt': 'x::/1BEG-1END:1MRK#4000000000',
        'double-colon.txt': 'dir::name.sdif::#1',
    })
    # First byte: 0 types, 1 name-value table, 2 stream IDs, 3 tokenisers.
    write('fuzz_text', {
        'types.txt': '\x001MTD XNEW {alpha, beta}\n1FTD XFRM {XNEW things; 1TRC partials;}\n'
                     '1MTD 1TRC {Index, Frequency, Amplitude, Phase, extra}\n',
        'nvt.txt': '\x01Creator\tsomebody\nDate\ttoday\nbad line\n',
        'ids.txt': '\x021 source:tree/way;\n2 other:a b;\n',
        'tokens.txt': '\x03  1MTD  XNEW { a , b } ; word: other,thing}{',
    })
    # First byte: low 2 bits the format (0 text, 1 binary partial sets,
    # 2 pics, 3 picsbin), next 3 bits the partial limit.
    f = lambda *v: struct.pack('<%df' % len(v), *v)
    write('fuzz_kv2_plain', {
        'text-partials.txt': b'\x00' + b'3 0.0\n1 440 0.1 0\n2 880 0.05 1\n3 1320 0.02 2\n'
                             b'2 0.01\n1 441 0.1 0.5\n3 1321 0.02 2.5\n',
        'text-partials-limited.txt': b'\x0c' + b'3 0.5\n1 1 1 1\n2 2 2 2\n3 3 3 3\n1 0.6\n9 9 9 9\n',
        'binary-partials.bin': b'\x01' + f(0.0, 2.0, 1, 2, 440, 880, .1, .2, 0, 1) +
                               f(0.01, 2.9, 2, 3, 881, 1320, .2, .1, 1, 2),
        'text-peaks.txt': b'\x02' + b'44100 2\n1 440 0.1 0\n2 880 0.2 1\n88200 1\n1 441 .1 0\n',
        'binary-peaks.bin': b'\x03' + f(44100, 2.5, 100, 200, 300, 1, 1, 1, 0, 0, 0),
    })


if __name__ == '__main__':
    main()
