#!/bin/sh
# Noise control on hardware with several latencies, with the usual mistakes, and with options it must
# refuse.
# Usage: anc_hardware_test.sh BIN_DIR WORK_DIR
set -eu
bin=$1 work=$2 tool=$1/anc_hardware
. "$(dirname "$0")/audio_files.sh"
rm -rf "$work"
mkdir -p "$work"
cd "$work"

controls() { # PROGRAM, arguments...: both filters reduce the residual by 40 dB
    "$@" >out.txt 2>err.txt && awk '$1 ~ /^(fx|adj)lms64f$/ { good += $2 >= 40 } END { exit good != 2 }' out.txt
}
fails() { # PROGRAM, arguments...
    if controls "$@"; then
        echo "40 dB by: $*"
        exit 1
    fi
    cat out.txt err.txt
}

controls "$tool" --levels levels.txt --save-estimate estimate.txt
cat out.txt
controls "$tool" --latency 0 --estimate 32
controls "$tool" --latency 100 --estimate 160

# The path: 16 samples of latency, the sound of 6 samples, and the turn of the loop.
awk '!/#/ && $1 < 23 && $2^2 > 1e-5 { early = $1 } $1 == 23 { first = $2 }
     END { if (early || NR != 65 || first < 0.58 || first > 0.62) { print "path:", early, NR, first; exit 1 } }' estimate.txt
# No control in the first second; in the last 50 ms both residuals are 40 dB lower.
awk '!/#/ && $1 < 1 && ($3 != $2 || $4 != $2) { early = $1 } { d = $2; fx = $3; adj = $4 }
     END { if (early || NR != 201 || fx > d - 40 || adj > d - 40) { print "levels:", early, $0; exit 1 } }' levels.txt

# The estimate as secondary path, as in a simulation; the output with the wrong sign; an estimate that
# ends within the latency; a large step.
fails "$bin/anc_simulated_path"
fails "$bin/anc_wrong_sign"
fails "$tool" --latency 100
fails "$tool" --step 0.5
refuses "diverged: fxlms64f after .* s, adjlms64f after .* smaller --step" --step 0.5 --levels diverged.txt
[ "$(tail -n 1 diverged.txt | cut -d' ' -f3)" = nan ]

# Every option with its default.
[ "$("$tool" --help | grep -c "; default: .*)$")" -eq 8 ]
refuses "estimate takes a whole number from 1 to 1024" --estimate 1025
refuses "latency takes a whole number from 0" --latency -1
refuses "frequency takes a number above 0 and up to" --frequency 401
refuses "frequency takes a number above 0" --frequency 0
refuses "tones takes a whole number" --tones 0
refuses usage file
refuses "out.dat: is in use" --levels out.dat --save-estimate out.dat
refuses "nodir/levels.txt: No such" --levels nodir/levels.txt
