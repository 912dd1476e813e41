#!/usr/bin/env bash
# Builds the examples and runs each on its job, with a bound that the result must meet. The output lies in
# demo-output/. Exit code 0: every bound is met. "./demo.sh --help" lists the steps.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$root/build/demo
bin=$build/examples
out=$root/demo-output
recordings=/usr/share/sounds/alsa
least_improvement=(15 20)      # dB of the noise canceller: whole file, first 50 ms after pauses
least_attenuation=30           # dB of either filter for control, in the end
least_reduction=40             # dB of the residual by either filter on hardware
least_enhancement=(34 30 34)   # dB of echo return loss: before, while and after both ends speak
least_synthetic=(27 27 27)     # the same with the synthetic voice
least_hum=(12 17)              # dB of hum reduction: by prediction, by reference
least_gain=14                  # dB of prediction of either predictor, median over loud frames
least_remedy=20                # dB by which the remedy of a mistake is better
most_samples=10000             # that either least-squares filter needs to identify a system to -60 dB
steps=(tour noise_canceller noise_control anc_hardware echo_canceller line_enhancer voice_predictor
    system_identification static_storage pitfalls python) # each a function below
declare -A titles=(
    [tour]="Tour: a typical job for each family"
    [noise_canceller]="Noise canceller: voice in fan noise, a second microphone at the fan"
    [noise_control]="Active noise control: fan noise in a duct, simulated, with two filters"
    [anc_hardware]="Active noise control on hardware: identify the path, then control the fan's tones"
    [echo_canceller]="Echo canceller: loudspeaker and microphone in one room, voices at both ends"
    [line_enhancer]="Line enhancer: mains hum in a voice, removed by prediction and by a sine reference"
    [voice_predictor]="Voice predictor: linear prediction of the same voice, forwards and backwards"
    [system_identification]="System identification: five filters on the same coloured input"
    [static_storage]="Static storage: two filters without a heap"
    [python]="Python: filters compared, hum out of an electrocardiogram, a log replayed"
    [pitfalls]="Pitfalls: the usual mistakes and their remedies"
)

. "$root/cmake/scripts.sh"

say() { printf '%s\n' "$*"; }
die() {
    printf 'demo.sh: %s\n' "$*" >&2
    exit 1
}

usage() {
    local step
    say "Usage: ./demo.sh [STEP...]"
    say "Builds the examples in build/demo and runs these steps, or all of them (about two minutes):"
    for step in "${steps[@]}"; do
        printf '  %-22s %s\n' "$step" "${titles[$step]}"
    done
    say "Every step checks its result against a bound. Sounds, tables and pictures lie in demo-output/."
    say "Needs a C++20 compiler, CMake, pkg-config, libsndfile and gnuplot, and uses the voices of alsa-utils"
    say "if there are any. Missing Debian packages are installed as root or by sudo without a password;"
    say "otherwise they are listed, and the demo stops."
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

run() { # TITLE FUNCTION
    local began=$SECONDS
    say "$1"
    "$2"
    say "($(duration $((SECONDS - began))))"
    say
}

# ---- what the machine needs --------------------------------------------------------------------

has_recordings() { compgen -G "$recordings/*_*.wav" >/dev/null; }

# Asks for a package only if the tool is missing: it may come from elsewhere.
prepare_machine() {
    local wanted=()
    type -P c++ cc make >/dev/null || wanted+=(build-essential)
    type -P cmake >/dev/null || wanted+=(cmake)
    type -P pkg-config >/dev/null || wanted+=(pkg-config)
    pkg-config --exists sndfile 2>/dev/null || wanted+=(libsndfile1-dev)
    type -P gnuplot >/dev/null || wanted+=(gnuplot-nox)
    need_packages "${wanted[@]}" || exit 1
    if ! has_recordings && ! { need_packages alsa-utils && has_recordings; }; then
        say "no recorded voice (package alsa-utils): the demo makes a voice of its own"
    fi
}

build_examples() {
    local log=$build/build.log
    : >"$log"
    quietly "$log" cmake -S "$root" -B "$build" \
        -DCMAKE_BUILD_TYPE=Release -DMERLO64F_BUILD_EXAMPLES=ON
    quietly "$log" cmake --build "$build" --parallel 2
}

# ---- the examples ------------------------------------------------------------------------------

# expect LEAST UNIT WHAT: every number on standard input is at least LEAST, and there is one.
expect() {
    local low
    low=$(awk -v least="$1" '!/^-?[0-9]/ || $1 < least { print; exit } END { if (!NR) print "no figure" }')
    [ -z "$low" ] || die "$3: $low, at least $1 $2 expected"
}

# refused COMMAND...: it fails, and says why in one line.
refused() {
    local message
    if message=$("$@" 2>&1 >/dev/null); then
        die "accepted: $*"
    fi
    say "${*#"$bin/"}"
    say "    $message"
}

# expect_lines FILE UNIT WHAT LEAST...: the number in each line is at least the corresponding LEAST.
expect_lines() {
    local file=$1 unit=$2 what=$3 line=0 least
    shift 3
    for least in "$@"; do
        line=$((line + 1))
        sed -n "${line}p" "$file" | expect "$least" "$unit" "$what, number $line"
    done
}

draw() {
    quietly "$build/gnuplot.log" env GNUPLOT_LIB="$root/examples/demo" \
        gnuplot -e "dir='$out'" "$1.gp"
    say "picture: demo-output/$1.png"
}

tour() {
    "$bin/tour" --curves "$out/tour.dat" | tee "$out/tour.txt"
    draw gallery
}

noise_canceller() {
    "$bin/noise_scene" make "$out" ${voices[@]+"${voices[@]}"}
    "$bin/noise_canceller" "$out/primary.wav" "$out/reference.wav" "$out/cleaned.wav" \
        --taps 32 --save-taps "$out/taps.txt"
    # For comparison, without the gate: adapting in the pauses of the fan, too.
    "$bin/noise_canceller" "$out/primary.wav" "$out/reference.wav" "$out/ungated.wav" --floor -200
    "$bin/noise_scene" score "$out"
    draw noise_canceller
    expect_lines "$out/improvement.txt" dB "the improvement" "${least_improvement[@]}"
}

noise_control() {
    "$bin/noise_control" --levels "$out/levels.dat" --spectra "$out/spectra.dat" |
        tee "$out/attenuation.txt"
    draw noise_control
    awk '$1 ~ /lms64f$/ { print $3 }' "$out/attenuation.txt" |
        expect "$least_attenuation" dB "the attenuation"
}

anc_hardware() {
    "$bin/anc_hardware" --levels "$out/anc_levels.dat" --save-estimate "$out/anc_estimate.dat" |
        tee "$out/reduction.txt"
    # Two mistakes, for the picture: both must diverge.
    refused "$bin/anc_hardware" --estimate 16 --levels "$out/anc_short_estimate.dat"
    refused "$bin/anc_hardware" --step 0.5 --levels "$out/anc_large_step.dat"
    draw anc_hardware
    awk '$1 ~ /lms64f$/ { print $2 }' "$out/reduction.txt" |
        expect "$least_reduction" dB "the reduction"
}

echo_canceller() {
    "$bin/echo_scene" make "$out" ${voices[@]+"${voices[@]}"}
    local input=("$out/far_end.wav" "$out/microphone.wav") least=("${least_enhancement[@]}")
    has_recordings || least=("${least_synthetic[@]}")
    "$bin/echo_canceller" "${input[@]}" "$out/echo_free.wav" \
        --levels "$out/echo_levels.dat" --save-taps "$out/echo_taps.txt"
    # For comparison, without the gate: adapting in the pause of the far end, too.
    "$bin/echo_canceller" "${input[@]}" "$out/echo_ungated.wav" --floor -200 >/dev/null
    "$bin/echo_scene" score "$out"
    draw echo_canceller
    expect_lines "$out/erle.txt" dB "the echo return loss enhancement" "${least[@]}"
}

line_enhancer() {
    "$bin/hum_scene" make "$out" ${voices[@]+"${voices[@]}"}
    # First with the usual mistake, for comparison: a delay of one sample.
    "$bin/line_enhancer" "$out/humming.wav" "$out/undelayed.wav" "$out/referred.wav" --delay 0.125
    "$bin/line_enhancer" "$out/humming.wav" "$out/predicted.wav" "$out/referred.wav"
    "$bin/hum_scene" score "$out"
    draw line_enhancer
    expect_lines "$out/hum_reduction.txt" dB "the hum reduction" "${least_hum[@]}"
}

voice_predictor() {
    "$bin/voice_predictor" "$out/voice.wav" --frames "$out/voice_frames.dat" |
        tee "$out/prediction.txt"
    draw voice_predictor
    awk '/ median of / { print $6; print $8 }' "$out/prediction.txt" |
        expect "$least_gain" dB "the prediction gain"
}

system_identification() {
    "$bin/system_identification" --curves "$out/identification.dat" | tee "$out/identification.txt"
    draw system_identification
    awk -v most="$most_samples" '/^rls/ { good += $2 ~ /^[0-9]+$/ && $2 <= most }
                                 END { exit good != 2 }' "$out/identification.txt" ||
        die "least squares needs more than $most_samples samples"
}

static_storage() { "$bin/static_storage" || die "static storage: the level falls by less than 40 dB"; }

python() {
    local example
    local -A logs=([replay_log]=$root/tests/microcontroller.log)
    need_packages pybind11-dev python3-dev python3-matplotlib python3-numpy python3-scipy || exit 1
    quietly "$build/build.log" cmake -S "$root" -B "$build" \
        -DMERLO64F_BUILD_PYTHON=ON -DPython_EXECUTABLE=/usr/bin/python3
    quietly "$build/build.log" cmake --build "$build" --parallel 2
    for example in compare_filters ecg_hum replay_log; do
        PYTHONPATH=$build/python /usr/bin/python3 "$root/python/examples/$example.py" \
            ${logs[$example]+"${logs[$example]}"} "$out" || die "$example.py misses its bound"
    done
    say "pictures: demo-output/python_comparison.png, python_ecg.png, python_replay.png"
}

pitfalls() {
    "$bin/pitfalls" --curves "$out/pitfalls.dat" | tee "$out/pitfalls.txt"
    draw pitfalls
    awk 'NR > 1 { print $(NF - 1) - $NF }' "$out/pitfalls.txt" |
        expect "$least_remedy" dB "the gain of a remedy"
}

chosen=("$@")
for word in "${chosen[@]}"; do
    case $word in
        -h | --help)
            usage
            exit
            ;;
    esac
    [ -n "${titles[$word]-}" ] || refuse "$word"
done
[ ${#chosen[@]} -gt 0 ] || chosen=("${steps[@]}")

mkdir -p "$build" "$out"
prepare_machine
voices=()
if has_recordings; then
    voices=("$recordings"/*_*.wav)
fi
run "Building in build/demo" build_examples
if [[ " ${chosen[*]} " == *" voice_predictor "* && ! -e $out/voice.wav ]]; then
    chosen=(noise_canceller "${chosen[@]}") # makes the voice
fi
for k in "${!chosen[@]}"; do
    run "[$((k + 1))/${#chosen[@]}] ${titles[${chosen[k]}]}" "${chosen[k]}"
done
say "passed: ${#chosen[@]} steps in $(duration "$SECONDS"); all files: $out/"
