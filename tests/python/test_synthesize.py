"""The synthesis against sines computed here.  Tolerance: the library reads a
sine table of 16384 entries at a position truncated toward zero after adding
half a step, so the phase it plays is off by at most half a step where the
position is positive and by up to 1.5 steps where it is negative (the first
samples of a segment that starts on a negative phase).  Positions are
evaluated in single precision, which adds well under a tenth of a step here
(below 0.01 of the table's 2607 units per radian at these frequencies and
frame spacings).  So a sinusoid of amplitude A may be off by A * 1.6 steps,
a step being 2 pi / 16384."""

import math

import numpy as np
import pytest

import sdifpartials

SR = 44100
HOP = 256 / SR
STEP = 2 * math.pi / 16384


def wrap(phase):
    return (phase + math.pi) % (2 * math.pi) - math.pi


def track(times, frequency, phase, amplitude):
    """Points at times of a sinusoid whose frequency and (unwrapped) phase
    are given as functions of time."""
    times = np.asarray(times, float)
    return np.column_stack([times, frequency(times), np.full(len(times), amplitude),
                            wrap(phase(times))])


def sine(n, phase, amplitude, begin=0.0, end=math.inf):
    """The sinusoid at samples n, silent outside [begin, end)."""
    t = n / SR
    return np.where((t >= begin) & (t < end), amplitude * np.sin(phase(t)), 0.0)


def zero_crossing_frequency(y):
    sign = np.signbit(y)
    i = np.nonzero(sign[1:] != sign[:-1])[0]
    crossings = (i + y[i] / (y[i] - y[i + 1])) / SR
    return (len(crossings) - 1) / (2 * (crossings[-1] - crossings[0]))


STEADY = (lambda t: np.full_like(t, 440.0), lambda t: 2 * math.pi * 440 * t + 0.3)


@pytest.mark.parametrize("with_phase", [True, False])
def test_steady_partial_is_the_sine(with_phase):
    points = track(np.arange(0, 1 + HOP / 2, HOP), *STEADY, 0.5)
    y = sdifpartials.synthesize([points], SR, with_phase)
    # One sample per 1/SR from 0 to the last point, that sample excluded.
    assert y.dtype == np.float32 and len(y) == math.ceil(points[-1, 0] * SR)
    assert abs(zero_crossing_frequency(y) - 440) < 0.5
    assert abs(math.sqrt(2 * np.mean(y.astype(float) ** 2)) - 0.5) < 0.005
    if with_phase:
        n = np.arange(len(y))
        assert np.abs(y - sine(n, STEADY[1], 0.5)).max() < 0.5 * 1.6 * STEP


def test_glide_follows_the_integral_of_its_frequency():
    # 220 Hz to 880 Hz in one second: the phase is 2 pi (220 t + 330 t^2),
    # a quadratic, which the cubic phase meets exactly at every point.
    glide = (lambda t: 220 + 660 * t, lambda t: 2 * math.pi * (220 * t + 330 * t * t))
    points = track(np.arange(0, 1 + HOP / 2, HOP), *glide, 0.5)
    y = sdifpartials.synthesize([points], SR)
    expected = sine(np.arange(len(y)), glide[1], 0.5)
    assert np.abs(y - expected).max() < 0.5 * 1.6 * STEP
    # The phase-less oscillator advances by the current frequency times the
    # time since the segment began: a glide drifts off the true phase.
    drift = sdifpartials.synthesize([points], SR, with_phase=False)
    assert np.abs(drift - expected).max() > 0.25


def test_tracks_on_different_frames_each_sound_through_their_span():
    # The second track's frames fall between the first track's and the
    # reverse: each needs records interpolated at the other's frame times.
    a = (lambda t: np.full_like(t, 440.0), lambda t: 2 * math.pi * 440 * t + 1.0)
    b = (lambda t: np.full_like(t, 661.5), lambda t: 2 * math.pi * 661.5 * t - 2.0)
    first = track(np.arange(0, 1 + HOP / 2, HOP), *a, 0.5)
    second = track(np.arange(0.1003, 0.9, 0.0137), *b, 0.25)
    y = sdifpartials.synthesize([first, second], SR)
    n = np.arange(len(y))
    expected = sine(n, a[1], 0.5) + sine(n, b[1], 0.25, second[0, 0], second[-1, 0])
    assert np.abs(y - expected).max() < 0.75 * 1.6 * STEP


@pytest.mark.parametrize("tracks,rate,text", [
    ([np.array([[-0.1, 440, 1, 0], [0.1, 440, 1, 0]])], SR, "before 0 s"),
    ([np.array([[0.0, 440, 1, 0], [0.1, 440, 1, 0]])], 0, "sample_rate"),
    ([np.array([[0.0, 440, 1, 0], [0.1, 440, 1, 0]])], float("nan"), "sample_rate"),
])
def test_refused(tracks, rate, text):
    with pytest.raises(ValueError, match=text):
        sdifpartials.synthesize(tracks, rate)



def test_a_real_analysis_of_a_sine_and_its_zero_phases():
    # tone-s1.sdif analyses a 440 Hz sine: one loud track among nine near 0,
    # a point every 1/256 s, and every phase 0 (hetro writes none).
    from sdifbytes import DATA
    tracks = sdifpartials.read_tracks(DATA + "/tone-s1.sdif")
    loud = max(tracks, key=lambda t: t[:, 2].max())
    inside = (loud[:, 0] >= 0.1) & (loud[:, 0] <= 0.9)
    frequency, hop = np.median(loud[inside, 1]), np.median(np.diff(loud[:, 0]))
    assert not np.any(loud[:, 3])
    middle = slice(SR // 10, 9 * SR // 10)  # past the onset, before the end
    # The phase-less oscillator plays the frequencies.  The cubic-phase one
    # must meet phase 0 at every point: it turns a whole number of times per
    # hop, the number nearest the frequency's (1.72 turns: 2, so 512 Hz).
    for with_phase, heard in ((False, frequency), (True, round(frequency * hop) / hop)):
        y = sdifpartials.synthesize(tracks, SR, with_phase).astype(float)
        assert len(y) == math.ceil(max(t[-1, 0] for t in tracks) * SR)
        assert abs(zero_crossing_frequency(y[middle]) - heard) < 0.5
        amplitude = math.sqrt(2 * np.mean(y[middle] ** 2))
        assert abs(amplitude / np.mean(loud[inside, 2]) - 1) < 0.01
