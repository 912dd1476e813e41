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
"$bin/noise_scene" score .
awk '$1 < 15 { print "improvement of", $1, "dB, at least 15 dB expected"; exit 1 }' improvement.txt

refuses_bad_audio
refuses "taps takes a whole number" mono.wav mono.wav cleaned.wav --taps 33
