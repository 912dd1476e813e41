#!/bin/sh
# The DLL exports exactly the functions that the headers declare, and needs nothing but the C runtime.
# Usage: dll_exports.sh DLL INCLUDE_DIR OBJDUMP
set -eu
dll=$1 include=$2 objdump=$3
declared=$(sed -n 's/^MERLO64F_API [a-z0-9_]* \([A-Za-z0-9]*\)(.*/\1/p' "$include"/*.h | sort)
exported=$("$objdump" -p "$dll" |
    awk '/^\[Ordinal\/Name Pointer\] Table/ { table = 1; next } table && NF == 0 { exit } table { print $NF }' |
    sort)
needed=$("$objdump" -p "$dll" | sed -n 's/.*DLL Name: //p' | sort | paste -sd ' ')
[ "$exported" = "$declared" ] || { printf 'declared:\n%s\nexported:\n%s\n' "$declared" "$exported"; exit 1; }
[ "$needed" = "KERNEL32.dll msvcrt.dll" ] || { echo "needs $needed"; exit 1; }
echo "$(echo "$exported" | wc -l) functions exported"
