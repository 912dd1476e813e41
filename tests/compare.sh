#!/bin/sh
# A program succeeds and prints what is expected, but for the line ends of Windows.
# Usage: compare.sh EXPECTED_FILE COMMAND...
set -eu
expected=$1
shift
output=$("$@")
printf '%s\n' "$output" | tr -d '\r' | diff "$expected" -
echo "as expected"
