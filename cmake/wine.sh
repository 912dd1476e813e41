#!/bin/sh
# Runs a program for Windows that was built by mingw-w64; WINEPATH lists further directories of DLLs.
# Usage: wine.sh WINE_PREFIX PROGRAM [ARGUMENT...]
set -eu
export WINEPREFIX="$1" WINEDEBUG=-all
for name in libstdc++-6.dll libwinpthread-1.dll; do
    file=$(x86_64-w64-mingw32-gcc-posix -print-file-name=$name)
    WINEPATH="${WINEPATH-}${WINEPATH:+;}$(dirname "$file")"
done
export WINEPATH
shift
exec wine "$@"
