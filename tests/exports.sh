#!/bin/sh
# What the library shows and needs.
# Usage: exports.sh LIBRARY EXPORT_LIST INCLUDE_DIR NM READELF OBJECT...
# The list, the headers and the library name the same functions; nothing but the five allowed
# functions of libc comes in (weak names are the C runtime's start-up hooks), and one object alone
# goes to the heap.
set -eu
library=$1 list=$2 include=$3 nm=$4 readelf=$5
shift 5
status=0

compare() { # what, expected, actual
    if [ "$2" != "$3" ]; then
        printf '%s differ\nexpected:\n%s\nactual:\n%s\n' "$1" "$2" "$3"
        status=1
    fi
}

listed=$(sed -n '/global:/,/local:/s/^ *\([A-Za-z0-9]*\);$/\1/p' "$list" | sort)
declared=$(sed -n 's/^MERLO64F_API [a-z0-9_]* \([A-Za-z0-9]*\)(.*/\1/p' "$include"/*.h | sort)
exported=$("$nm" -D --defined-only "$library" | sed 's/^[^ ]* [^ ]* //' | sort)
compare "exports and list" "$listed" "$exported"
compare "exports and headers" "$declared" "$exported"

allowed=$(printf 'calloc\nfree\nmemcpy\nmemmove\nmemset\n')
imported=$("$nm" -D --undefined-only "$library" | sed -n 's/^ *U \([^@]*\).*/\1/p' | sort)
for name in $imported; do
    echo "$allowed" | grep -qx "$name" || { echo "imports $name"; status=1; }
done
allocating=$("$nm" -A --undefined-only "$@" | sed -nE 's,.*/(.*)\.o: +U (calloc|free)$,\1,p')
compare "allocating objects" "lifecycle.cpp" "$(echo "$allocating" | uniq)"

needed=$("$readelf" -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
compare "needed libraries" "libc.so.6" "$needed"

echo "$(echo "$exported" | wc -l) functions exported"
exit $status
