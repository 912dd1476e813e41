#!/bin/sh
# The noise canceller on a scene of its own making, and on input that it must refuse.
# Usage: noise_canceller_test.sh BIN_DIR WORK_DIR
set -eu
bin=$1 work=$2
rm -rf "$work"
mkdir -p "$work"
cd "$work"

"$bin/noise_scene" make .
"$bin/noise_canceller" primary.wav reference.wav cleaned.wav --save-taps taps.txt
"$bin/noise_scene" score .
awk '$1 < 15 { print "improved by", $1, "dB only"; exit 1 }' improvement.txt

refuses() { # part of the message, arguments...
    message=$1
    shift
    if "$bin/noise_canceller" "$@" >out.txt 2>&1; then
        echo "accepted: $*"
        exit 1
    fi
    grep -q "$message" out.txt || { echo "$* says: $(cat out.txt)"; exit 1; }
}

byte() { printf "\\$(printf %03o "$1")"; }

pcm() { # channels, kHz (8 or 16), samples: a short 16-bit WAV of silence
    printf 'RIFF\044\000\000\000WAVEfmt \020\000\000\000\001\000'
    byte "$1"
    printf '\000'
    if [ "$2" = 8 ]; then printf '\100\037'; else printf '\200\076'; fi
    printf '\000\000\000\000\000\000'
    byte $((2 * $1))
    printf '\000\020\000data'
    byte $((2 * $1 * $3))
    printf '\000\000\000'
    head -c $((2 * $1 * $3)) /dev/zero
}
pcm 1 8 40 >mono.wav
pcm 1 8 39 >short.wav
pcm 1 16 40 >faster.wav
pcm 1 8 0 >empty.wav
pcm 2 8 20 >stereo.wav
echo "no audio" >text.wav

"$bin/noise_canceller" mono.wav mono.wav cleaned.wav
refuses usage mono.wav mono.wav
refuses "nope.wav: No such file" nope.wav mono.wav cleaned.wav
refuses "text.wav: cannot be read" mono.wav text.wav cleaned.wav
refuses "empty.wav: holds no samples" mono.wav empty.wav cleaned.wav
refuses "stereo.wav: has 2 channels" stereo.wav mono.wav cleaned.wav
refuses "short.wav: has 39 samples" mono.wav short.wav cleaned.wav
refuses "faster.wav: has" mono.wav faster.wav cleaned.wav
refuses "mono.wav: is in use" mono.wav mono.wav mono.wav
refuses "nodir/cleaned.wav: No such" mono.wav mono.wav nodir/cleaned.wav
refuses "taps takes a whole number" mono.wav mono.wav cleaned.wav --taps 33
