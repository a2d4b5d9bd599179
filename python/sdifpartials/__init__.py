"""Partial tracks of SDIF analysis files as numpy arrays, written back to SDIF
and heard through additive synthesis, on the libraries of sdif2columns.

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

from ._sdifpartials import (
    Frame,
    Matrix,
    SdifWarning,
    read_frames,
    synthesize,
    write_tracks,
)

__all__ = [
    "Frame",
    "Matrix",
    "SdifWarning",
    "read_frames",
    "synthesize",
    "write_tracks",
]
