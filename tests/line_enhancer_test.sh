#!/bin/sh
# The line enhancer on a synthetic scene, with the usual mistakes, and on input that it must refuse.
# Usage: line_enhancer_test.sh BIN_DIR WORK_DIR
set -eu
bin=$1 work=$2 tool=$1/line_enhancer
. "$(dirname "$0")/audio_files.sh"
rm -rf "$work"
mkdir -p "$work"
cd "$work"

at_least() { # line of hum_reduction.txt, dB
    awk -v line="$1" -v least="$2" 'NR == line && $1 >= least { good = 1 } END { exit !good }' hum_reduction.txt
}
"$bin/hum_scene" make .
"$tool" humming.wav undelayed.wav referred.wav --delay 0.125 # predicts the voice too
"$tool" humming.wav predicted.wav referred.wav
"$bin/hum_scene" score .
at_least 1 16 || { echo "prediction: at least 16 dB expected"; exit 1; }
at_least 2 19 || { echo "reference: at least 19 dB expected"; exit 1; }
if at_least 3 16; then
    echo "16 dB without a decorrelation delay"
    exit 1
fi
# A reference beside the hum leaves it.
"$tool" humming.wav predicted.wav referred.wav --frequency 51
"$bin/hum_scene" score .
if at_least 2 1; then
    echo "a reference of another frequency removes the hum"
    exit 1
fi
refuses "the filter diverged" humming.wav diverged.wav diverged_too.wav --step 1

refuses_bad_audio_of_one
refuses "delay takes a number above 0" mono.wav out.wav other.wav --delay 0
refuses "harmonics takes a whole number from 1 to 16" mono.wav out.wav other.wav --harmonics 17
refuses "mono.wav: has 8000 Hz, too few" mono.wav out.wav other.wav --frequency 500
refuses "out.wav: is in use" mono.wav out.wav out.wav
