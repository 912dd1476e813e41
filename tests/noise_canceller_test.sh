#!/bin/sh
# The noise canceller on a synthetic scene, and on input that it must refuse.
# Usage: noise_canceller_test.sh BIN_DIR WORK_DIR
set -eu
bin=$1 work=$2 tool=$1/noise_canceller
. "$(dirname "$0")/audio_files.sh"
rm -rf "$work"
mkdir -p "$work"
cd "$work"

"$bin/noise_scene" make .
"$tool" primary.wav reference.wav cleaned.wav --save-taps taps.txt
"$tool" primary.wav reference.wav ungated.wav --floor -200 # adapts in the pauses of the fan, too
"$bin/noise_scene" score .
# Whole file; first 50 ms after each pause of the fan; the same without the floor, where the voice has
# driven the taps away.
awk 'NR == 1 && $1 < 15 || NR == 2 && $1 < 20 || NR == 3 && $1 > -10 {
         print "figure", NR, "is", $1, "dB"; bad = 1 }
     END { exit bad || NR != 3 }' improvement.txt

refuses_bad_audio
refuses "taps takes a whole number" mono.wav mono.wav cleaned.wav --taps 33
refuses "floor takes a whole number from -200 to 0" mono.wav mono.wav cleaned.wav --floor 3
