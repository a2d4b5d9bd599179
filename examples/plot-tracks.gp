# Partial tracks as a picture: time across, frequency up, amplitude as colour.
#
#   sdif2columns -p -O t,f,a take.sdif > take.tracks
#   gnuplot -c plot-tracks.gp take.tracks take.png ["title"]
#
# The input is the track layout of sdif2columns with the columns t,f,a and the
# default tab separator: one line per point, two empty lines after each track.
# sdif2columns -p prints every track twice: a track still sounding at the end
# of the file gets its points again, the times starting over, and every other
# track is printed a second time whole.  Drawing each track only until its
# time first goes back keeps one pass; the repeated tracks fall exactly on
# their first copies.

if (ARGC < 2) {
    print "usage: gnuplot -c plot-tracks.gp TRACKS.txt OUT.png [TITLE]"
    exit status 2
}
tracks = ARG1
out = ARG2
title = (ARGC >= 3) ? ARG3 : tracks

set terminal pngcairo size 1000,600 font "sans,10"
set output out
set title title noenhanced
set xlabel "time (s)"
set ylabel "frequency (Hz)"
set cblabel "amplitude (dB)"
set grid lc rgb "#d0d0d0"
set key off
set cbrange [-60:0]
set palette defined (0 "#f4f4ff", 0.25 "#9fc4e8", 0.5 "#3a78b5", 0.75 "#8c2d8c", 1 "#d7191c")

# Linear amplitude to dB; silence is drawn at the bottom of the scale.
dB(a) = (a > 0) ? 20 * log10(a) : -120

# A point belongs to its track's first pass until the time goes back.
# column(-2) numbers the tracks (blocks after two empty lines).
lastTrack = -1
prevTime = 0
repeat = 0
firstPass(t) = (repeat = (column(-2) == lastTrack) ? (repeat || t < prevTime) : 0, \
                lastTrack = column(-2), prevTime = t, !repeat)

plot tracks using 1:(firstPass($1) ? $2 : NaN):(dB($3)) \
     with lines lw 1.5 lc palette z
