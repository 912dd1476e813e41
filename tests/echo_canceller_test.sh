#!/bin/sh
# The echo canceller on a synthetic scene, and on input that it must refuse.
# Usage: echo_canceller_test.sh BIN_DIR WORK_DIR
set -eu
bin=$1 work=$2 tool=$1/echo_canceller
. "$(dirname "$0")/audio_files.sh"
rm -rf "$work"
mkdir -p "$work"
cd "$work"

"$bin/echo_scene" make .
"$tool" far_end.wav microphone.wav echo_free.wav --levels levels.txt --save-taps echo_taps.txt
"$tool" far_end.wav microphone.wav echo_ungated.wav --floor -200
"$bin/echo_scene" score .
awk '$1 < 27 { print "enhancement of", $1, "dB, at least 27 dB expected"; exit 1 }' erle.txt
# The output of a filter that adapts in double talk, too.
"$bin/echo_single_filter" far_end.wav microphone.wav echo_free.wav --save-taps echo_taps.txt
"$bin/echo_scene" score .
awk 'NR == 2 && $1 < 15 { good = 1 } END { exit !good }' erle.txt || { echo "double talk disturbs nothing"; exit 1; }
# A floor above the far end: nothing is learned, and the output is the microphone signal.
"$tool" far_end.wav microphone.wav unchanged.wav --floor -1
cmp microphone.wav unchanged.wav
awk '!/#/ && $2 - $3 > most { most = $2 - $3 }
     END { if (NR < 300 || most < 20) { print "levels:", NR, "rows,", most, "dB"; exit 1 } }' levels.txt
refuses "the filter diverged" far_end.wav microphone.wav diverged.wav --step 5

refuses_bad_audio
# 40 samples are a block and a quarter. With a silent far end the output is the microphone signal.
{ head -c 44 mono.wav; seq 100 140 | head -c 80; } >voice.wav
"$tool" mono.wav voice.wav result.wav
tail -c 80 voice.wav >voice.raw
tail -c 80 result.wav | cmp - voice.raw
[ "$(wc -c <result.wav)" -eq 124 ]
refuses "tail takes a whole number" mono.wav mono.wav out.wav --tail 0
refuses "step takes a number above 0" mono.wav mono.wav out.wav --step nan
refuses "levels.txt: is in use" mono.wav mono.wav out.wav --levels levels.txt --save-taps levels.txt
refuses "nodir/levels.txt: No such" mono.wav mono.wav out.wav --levels nodir/levels.txt
refuses "nodir/taps.txt: No such" mono.wav mono.wav out.wav --save-taps nodir/taps.txt
[ ! -e out.wav ]
