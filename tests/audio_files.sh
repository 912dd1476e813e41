# shellcheck shell=sh disable=SC2059,SC2154
# For the tests of the example hosts: input that must be refused, and small WAV files.
# Set before: tool, the path of the host.

refuses() { # part of the message, arguments...: status 1 or 2 and one line on stderr
    message=$1
    shift
    status=0
    "$tool" "$@" >refused.out 2>refused.txt || status=$?
    case $status in
        1 | 2) ;;
        *)
            echo "status $status: $*"
            exit 1
            ;;
    esac
    if [ "$(wc -l <refused.txt)" -ne 1 ] || ! grep -q "$message" refused.txt; then
        echo "$* says: $(cat refused.txt)"
        exit 1
    fi
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

not_finite() { # 40 samples of 32-bit floats, the last of which is NaN
    printf 'RIFF\304\000\000\000WAVEfmt \020\000\000\000\003\000\001\000\100\037\000\000'
    printf '\000\175\000\000\004\000\040\000data\240\000\000\000'
    head -c 156 /dev/zero
    printf '\000\000\300\177'
}

bad_audio() {
    not_finite >nan.wav
    pcm 1 8 40 >mono.wav
    pcm 1 8 39 >short.wav
    pcm 1 16 40 >faster.wav
    pcm 1 8 0 >empty.wav
    pcm 2 8 20 >stereo.wav
    : >nothing.wav
    echo "no audio" >text.wav
    echo kept >result.wav
}

# For a host that reads a recording and writes two.
refuses_bad_audio_of_one() {
    bad_audio
    refuses usage mono.wav result.wav
    refuses "nope.wav: No such file" nope.wav result.wav other.wav
    for file in text nothing; do
        refuses "$file.wav: cannot be read" $file.wav result.wav other.wav
    done
    refuses "empty.wav: contains no samples" empty.wav result.wav other.wav
    refuses "stereo.wav: has 2 channels" stereo.wav result.wav other.wav
    refuses "nan.wav: sample 39 is not a finite number" nan.wav result.wav other.wav
    refuses "mono.wav: is in use" mono.wav result.wav mono.wav
    [ "$(cat result.wav)" = kept ] && [ ! -e other.wav ]
    "$tool" mono.wav result.wav other.wav
}

# For a host that reads two recordings and writes a third one.
refuses_bad_audio() {
    bad_audio
    refuses usage mono.wav mono.wav
    refuses "nope.wav: No such file" nope.wav mono.wav result.wav
    for file in text nothing; do
        refuses "$file.wav: cannot be read" mono.wav $file.wav result.wav
    done
    refuses "empty.wav: contains no samples" mono.wav empty.wav result.wav
    refuses "stereo.wav: has 2 channels" stereo.wav mono.wav result.wav
    refuses "nan.wav: sample 39 is not a finite number" nan.wav mono.wav result.wav
    refuses "nan.wav: sample 39 is not a finite number" mono.wav nan.wav result.wav
    refuses "short.wav: has 39 samples" mono.wav short.wav result.wav
    refuses "faster.wav: has" mono.wav faster.wav result.wav
    refuses "mono.wav: is in use" mono.wav mono.wav mono.wav
    refuses "nodir/result.wav: No such" mono.wav mono.wav nodir/result.wav
    [ "$(cat result.wav)" = kept ]
    "$tool" mono.wav --step 0.5 mono.wav -- result.wav # files and options in any order
}
