#!/bin/sh
# A program prints what is expected. Usage: compare.sh EXPECTED_FILE COMMAND...
set -eu
expected=$1
shift
"$@" | diff "$expected" - && echo "as expected"
