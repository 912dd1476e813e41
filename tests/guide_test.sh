#!/bin/sh
# Compiles and runs every program on a page of the guide as it is printed there. A text block after a
# program is its output. An sh block is the path of an example that the demo has built.
# Usage: guide_test.sh PAGE WORK_DIR LIBRARY CC CXX FLAGS EXAMPLES_DIR
# With an empty EXAMPLES_DIR the sh blocks are not run.
set -eu
page=$1 work=$2 library=$3 cc=$4 cxx=$5 flags=$6 examples=$7
root=$(dirname "$0")/..
rm -rf "$work"
mkdir -p "$work"

fail() {
    echo "$page: $*"
    exit 1
}

lines=$(wc -l <"$page")
[ "$lines" -le 150 ] || fail "$lines lines, more than 150"
# shellcheck disable=SC2016
sed '/^```/,/^```/d' "$page" | grep -o '\]([^)#]*' | sed -e 's/^](//' -e '/^https:/d' |
    while read -r link; do
        [ -e "$(dirname "$page")/$link" ] || fail "no such file: $link"
    done

# The blocks become 01.c, 02.cpp, 03.sh and so on; the output of 01.c becomes 01.c.text. Blocks without
# a kind are drawings and commands.
awk -v work="$work" '
    /^```/ && inside { inside = file = ""; next }
    /^```/ {
        inside = "a block"
        kind = substr($0, 4)
        if (kind ~ /^(c|cpp|sh)$/) {
            file = program = sprintf("%s/%02d.%s", work, ++count, kind)
        } else if (kind == "text" && program != "") {
            file = program ".text"
            program = ""
        } else if (kind != "" && kind != "python") { # python/tests run those
            print FILENAME ": line " FNR ": " $0 " is neither a program nor its output"
            exit 1
        }
        next
    }
    file != "" { print >file }
' "$page"

for program in "$work"/*.c "$work"/*.cpp "$work"/*.sh; do
    case $program in
        *'*'*) continue ;;
        *.c) compile="$cc -std=c99" ;;
        *.cpp) compile="$cxx -std=c++20" ;;
        *.sh) compile= ;;
    esac
    if [ -n "$compile" ]; then
        # shellcheck disable=SC2086
        $compile -O2 -Wall -Wextra -Wpedantic -Wconversion -Werror $flags \
            "-I$root/include" "-I$root/support" "$program" "$library" "-Wl,-rpath,${library%/*}" -lm \
            -o "$program.run"
        "$program.run" >"$program.output" || fail "$program ends with an error"
    elif [ -n "$examples" ]; then
        example=$(cat "$program")
        "$examples/${example##*/}" >"$program.output" || fail "$program ends with an error"
    else
        continue
    fi
    if [ -e "$program.text" ]; then
        diff -u "$program.text" "$program.output"
    fi
done
