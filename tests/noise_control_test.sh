#!/bin/sh
# Noise control with default options, above the stability limit, and with options it must refuse.
# Usage: noise_control_test.sh BIN_DIR WORK_DIR
set -eu
tool=$1/noise_control work=$2
. "$(dirname "$0")/audio_files.sh"
rm -rf "$work"
mkdir -p "$work"
cd "$work"

"$tool" --levels levels.txt --spectra spectra.txt >out.txt
cat out.txt
awk '$1 ~ /^(fx|adj)lms64f$/ { good += $3 > 30 && $4 > 40 && $5 > 18 }
     END { if (good != 2) { print "too little attenuation"; exit 1 } }' out.txt

# The attenuation by the sums of the bin powers is the printed one within 1 dB.
awk 'FNR == NR { if ($1 !~ /#/) { d += 10^($2 / 10); fx += 10^($3 / 10); adj += 10^($4 / 10) }; next }
     function differs(power, printed) { gap = 10 * log(d / power) / log(10) - printed; return gap^2 > 1 }
     $1 == "fxlms64f" && differs(fx, $3) || $1 == "adjlms64f" && differs(adj, $3) {
         print "the spectrum gives another attenuation:", $0; exit 1 }' spectra.txt out.txt

# In the first 0.1 s both residuals equal the level without control, in the last 0.1 s they are 25 dB
# below it.
awk 'NR == 2 { first = $2 == $3 && $2 == $4 } { d = $2; fx = $3; adj = $4 }
     END { if (!first || fx > d - 25 || adj > d - 25) { print "levels:", $0; exit 1 } }' levels.txt

# Every option with its default.
[ "$("$tool" --help | grep -c "; default: .*)$")" -eq 4 ]

refuses "fxlms64f: diverged within .* smaller --step than 10" --step 10
refuses "adjlms64f: diverged within .* smaller --step than 0.32" --step 0.32
refuses "step takes a number above 0" --step 0
refuses "step takes a number above 0" --step nan
refuses "seconds takes a whole number from 2" --seconds 1
refuses "unrecognized option '--taps'" --taps 8
refuses "option '--step' requires an argument" --step
refuses usage file
refuses "nodir/levels.txt: No such" --levels nodir/levels.txt
refuses "out.dat: is in use" --levels out.dat --spectra out.dat
