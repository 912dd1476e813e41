#!/bin/sh
# Noise control with default options, above the stability limit, and with options it must refuse.
# Usage: noise_control_test.sh BIN_DIR WORK_DIR
set -eu
bin=$1 work=$2
rm -rf "$work"
mkdir -p "$work"
cd "$work"

"$bin/noise_control" --levels levels.txt --spectra spectra.txt >out.txt
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

refuses() { # status, part of the message, arguments...
    status=$1 message=$2
    shift 2
    got=0
    "$bin/noise_control" "$@" >out.txt 2>err.txt || got=$?
    if [ "$got" -ne "$status" ] || [ "$(wc -l <err.txt)" -ne 1 ] || ! grep -q "$message" err.txt; then
        echo "$*: status $got, says: $(cat err.txt)"
        exit 1
    fi
}

# Every option with its default.
[ "$("$bin/noise_control" --help | grep -c "; default: .*)$")" -eq 4 ]

refuses 1 "fxlms64f: diverged within .* smaller --step than 10" --step 10
refuses 1 "adjlms64f: diverged within .* smaller --step than 0.32" --step 0.32
refuses 2 "step takes a number above 0" --step 0
refuses 2 "step takes a number above 0" --step nan
refuses 2 "seconds takes a whole number from 2" --seconds 1
refuses 2 "unrecognized option '--taps'" --taps 8
refuses 2 "option '--step' requires an argument" --step
refuses 2 usage file
refuses 1 "nodir/levels.txt: No such" --levels nodir/levels.txt
refuses 1 "out.dat: is in use" --levels out.dat --spectra out.dat
