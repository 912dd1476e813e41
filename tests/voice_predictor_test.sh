#!/bin/sh
# The voice predictor on a scene's voice, and on input that it must refuse.
# Usage: voice_predictor_test.sh BIN_DIR WORK_DIR
set -eu
bin=$1 work=$2 tool=$1/voice_predictor
. "$(dirname "$0")/audio_files.sh"
rm -rf "$work"
mkdir -p "$work"
cd "$work"

"$bin/noise_scene" make .
"$tool" voice.wav --order 9 --frames frames.dat | tee report.txt

# Forward and backward, with room below the 20 and 21 dB of this voice.
awk '/ median of / { seen = 1; if (!($6 >= 14 && $8 >= 14)) bad = 1 }
     / direct form / { held = 1; if (!($7 < 1e-12 && $8 < 1e-12)) bad = 1 }
     END { exit bad || !seen || !held }' report.txt || { echo "poor prediction"; exit 1; }
grep -q "same to the bit" report.txt
awk '!/^#/ && NF != 6 + 2 * 9 { exit 1 } END { exit NR < 500 }' frames.dat ||
    { echo "frames.dat lacks columns or frames"; exit 1; }

pcm 1 8 100 >short.wav
refuses usage
refuses "short.wav: is shorter than" short.wav
refuses "voice.wav: is in use" voice.wav --frames voice.wav
refuses "order takes a whole number" voice.wav --order 11
refuses "diverged; take a smaller" voice.wav --mu 1
