#!/usr/bin/env bash
# Builds the examples, runs them on real signals and judges what they did.
# Everything that comes out lies in demo-output/. Exit code 0: every example did its job.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$root/build/demo
bin=$build/examples
out=$root/demo-output
recordings=/usr/share/sounds/alsa
least_improvement=15 # dB of the canceller, over the whole file
least_attenuation=30 # dB of either filter for control, in the end
least_enhancement=20 # dB of echo return loss, before and after both ends speak
least_gain=14        # dB of prediction of either predictor, median over loud frames
most_samples=2000    # that either least-squares filter needs to identify a system to -60 dB
examples=(noise_canceller noise_control echo_canceller voice_predictor system_identification) # each a function below

. "$root/cmake/packages.sh"

say() { printf '%s\n' "$*"; }
die() {
    printf 'demo.sh: %s\n' "$*" >&2
    exit 1
}

# quietly LOG COMMAND...: the output goes to the log and is shown only after a failure.
quietly() {
    local log=$1
    shift
    "$@" >>"$log" 2>&1 </dev/null || {
        tail -n 30 "$log" >&2
        die "failed: $* (whole log: $log)"
    }
}

# ---- what the machine needs --------------------------------------------------------------------

has_recordings() { compgen -G "$recordings/*_*.wav" >/dev/null; }

# Asks for a package only where the tool is missing, whoever brought the tool.
prepare_machine() {
    local wanted=()
    type -P c++ cc make >/dev/null || wanted+=(build-essential)
    type -P cmake >/dev/null || wanted+=(cmake)
    type -P pkg-config >/dev/null || wanted+=(pkg-config)
    pkg-config --exists sndfile 2>/dev/null || wanted+=(libsndfile1-dev)
    type -P gnuplot >/dev/null || wanted+=(gnuplot-nox)
    need_packages "${wanted[@]}" || die "the demo needs these packages; please install them"
    if ! has_recordings && ! { need_packages alsa-utils && has_recordings; }; then
        say "no recorded voice (package alsa-utils): the demo makes a voice of its own"
    fi
}

build_examples() {
    local log=$build/build.log
    say "building in $build ..."
    : >"$log"
    quietly "$log" cmake -S "$root" -B "$build" \
        -DCMAKE_BUILD_TYPE=Release -DMERLO64F_BUILD_EXAMPLES=ON
    quietly "$log" cmake --build "$build" --parallel 2
}

# ---- the examples ------------------------------------------------------------------------------

# at_least VALUE LIMIT: both decimal numbers; anything else fails.
at_least() { awk -v v="$1" -v l="$2" 'BEGIN { exit !(v ~ /^-?[0-9]/ && v + 0 >= l + 0) }'; }

draw() { quietly "$build/gnuplot.log" gnuplot -e "dir='$out'" "$root/examples/demo/$1.gp"; }

noise_canceller() {
    say
    say "Noise canceller: voice in fan noise, a second microphone at the fan"
    "$bin/noise_scene" make "$out" ${voices[@]+"${voices[@]}"}
    "$bin/noise_canceller" "$out/primary.wav" "$out/reference.wav" "$out/cleaned.wav" \
        --taps 32 --save-taps "$out/taps.txt"
    "$bin/noise_scene" score "$out"
    draw noise_canceller
    say "picture: demo-output/noise_canceller.png"

    local improvement
    improvement=$(<"$out/improvement.txt")
    at_least "$improvement" "$least_improvement" ||
        die "noise canceller: $(printf %.1f "$improvement") dB of improvement, $least_improvement dB expected"
}

noise_control() {
    say
    say "Active noise control: fan noise in a duct, simulated, with two filters"
    "$bin/noise_control" --levels "$out/levels.dat" --spectra "$out/spectra.dat" |
        tee "$out/attenuation.txt"
    draw noise_control
    say "picture: demo-output/noise_control.png"

    local lesser
    lesser=$(awk '$1 ~ /lms64f$/ { print $3 }' "$out/attenuation.txt" | sort -g | head -n 1)
    at_least "$lesser" "$least_attenuation" ||
        die "noise control: $lesser dB of attenuation, $least_attenuation dB expected"
}

echo_canceller() {
    say
    say "Echo canceller: a loudspeaker and a microphone in a room, two people who speak"
    "$bin/echo_scene" make "$out" ${voices[@]+"${voices[@]}"}
    "$bin/echo_canceller" "$out/far_end.wav" "$out/microphone.wav" "$out/echo_free.wav" \
        --levels "$out/echo_levels.dat" --save-taps "$out/echo_taps.txt"
    "$bin/echo_scene" score "$out"
    draw echo_canceller
    say "picture: demo-output/echo_canceller.png"

    local lesser
    lesser=$(sort -g "$out/erle.txt" | head -n 1)
    at_least "$lesser" "$least_enhancement" ||
        die "echo canceller: $(printf %.1f "$lesser") dB of enhancement, $least_enhancement dB expected"
}

voice_predictor() {
    say
    say "Voice predictor: the voice of the first example, predicted forwards and backwards"
    "$bin/voice_predictor" "$out/voice.wav" --frames "$out/voice_frames.dat" |
        tee "$out/prediction.txt"
    draw voice_predictor
    say "picture: demo-output/voice_predictor.png"

    local lesser
    lesser=$(awk '/ median of / { print $6; print $8 }' "$out/prediction.txt" | sort -g | head -n 1)
    at_least "$lesser" "$least_gain" ||
        die "voice predictor: $lesser dB of prediction gain, $least_gain dB expected"
}

system_identification() {
    say
    say "System identification: five filters, one coloured input"
    "$bin/system_identification" --curves "$out/identification.dat" | tee "$out/identification.txt"
    draw system_identification
    say "picture: demo-output/system_identification.png"

    awk -v most="$most_samples" '/^rls/ { good += $2 ~ /^[0-9]+$/ && $2 <= most }
                                 END { exit good != 2 }' "$out/identification.txt" ||
        die "system identification: least squares needs more than $most_samples samples"
}

mkdir -p "$build" "$out"
prepare_machine
voices=()
if has_recordings; then
    voices=("$recordings"/*_*.wav)
fi
build_examples
for example in "${examples[@]}"; do
    "$example"
done
say
say "all files: $out/"
