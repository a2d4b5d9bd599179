"""Partial tracks of SDIF analysis files as numpy arrays, written back to SDIF
and heard through additive synthesis, on the libraries of sdif2columns.

    info(path)                          what sdiftool info --json prints
    read_tracks(path, stream=None)      partial tracks as (points, 4) arrays
    read_table(path, kind="tracks", stream=None)
                                        sdiftool's tidy table, structured array
    read_frames(path, selection=None)   every frame, any signature
    write_tracks(path, tracks, hop=None, stream=0)
    synthesize(tracks, sample_rate=44100, with_phase=True)

Paths are str, bytes or os.PathLike; an SDIF selection may follow '::' in a
path to read.  Failures raise OSError (a file that cannot be opened or
written) or ValueError (malformed data, refused selections); what the
libraries print while a call runs comes as warnings of category SdifWarning
(or, when the call fails, as notes on the exception).  Calls are serialised:
the libraries are single-threaded.

The SDIF library starts when this package is imported: a file SdifTypes.STYP
in the working directory at that moment replaces its built-in frame and
matrix types for the whole session.
"""

import numpy as _np

from ._sdifpartials import (
    Frame,
    Matrix,
    SdifWarning,
    info,
    read_frames,
    read_table,
    read_tracks,
    synthesize,
    write_tracks,
)


class Tracks(list):
    """What read_tracks answers: a list of numpy float64 arrays of shape
    (points, 4) -- time, frequency, amplitude, phase -- one per track, with

        indices  numpy float64 array, the SDIF index of each track
                 (tracks[i] has index tracks.indices[i])
        stream   the stream the tracks were read from

    It goes as it is to write_tracks and synthesize.  Slices and copies are
    plain lists."""

    def __init__(self, tracks=(), indices=(), stream=0):
        super().__init__(tracks)
        self.indices = _np.asarray(indices, dtype=_np.float64)
        self.stream = stream

    def __repr__(self):
        return "Tracks(%d tracks of stream %d)" % (len(self), self.stream)


__all__ = [
    "Frame",
    "Matrix",
    "SdifWarning",
    "Tracks",
    "info",
    "read_frames",
    "read_table",
    "read_tracks",
    "synthesize",
    "write_tracks",
]
