#!/bin/sh
# The voice predictor on the voice of a scene, and on input that it must refuse.
# Usage: voice_predictor_test.sh BIN_DIR WORK_DIR
set -eu
bin=$1 work=$2 tool=$1/voice_predictor
. "$(dirname "$0")/audio_files.sh"
rm -rf "$work"
mkdir -p "$work"
cd "$work"

"$bin/noise_scene" make .
"$tool" voice.wav --order 9 --frames frames.dat | tee report.txt

# Forward and backward gains; this voice gives more than 20 dB, and 13 dB with frozen coefficients.
awk 'function within(a, b) { ++seen; if (!(a && b)) bad = 1 }
     / median of / { within($6 >= 14, $8 >= 14) }
     / frozen at / { within($6 >= 9, $8 >= 9) }
     / direct form / { within($7 < 1e-12, $8 < 1e-12) }
     END { exit bad || seen != 3 }' report.txt || { echo "poor prediction"; exit 1; }
grep -q "bit-identical" report.txt
awk '!/^#/ && NF != 6 + 2 * 9 { exit 1 } END { exit NR < 500 }' frames.dat ||
    { echo "frames.dat lacks columns or frames"; exit 1; }

pcm 1 8 100 >short.wav
refuses usage
refuses "short.wav: is shorter than" short.wav
refuses "voice.wav: is in use" voice.wav --frames voice.wav
refuses "order takes a whole number" voice.wav --order 11
refuses "diverged; use a smaller" voice.wav --mu 1
