#!/bin/sh
# What the library exports and needs: exactly the functions that the headers declare; nothing but five
# functions of libc (weak names are the C runtime's start-up hooks), bound at load time; one object file
# that calls the heap; no data of its own that is written.
# Usage: exports.sh LIBRARY INCLUDE_DIR NM READELF OBJECT...
set -eu
library=$1 include=$2 nm=$3 readelf=$4
shift 4
status=0

compare() { # what, expected, actual
    if [ "$2" != "$3" ]; then
        printf '%s differ\nexpected:\n%s\nactual:\n%s\n' "$1" "$2" "$3"
        status=1
    fi
}

declared=$(sed -n 's/^MERLO64F_API [a-z0-9_]* \([A-Za-z0-9]*\)(.*/\1/p' "$include"/*.h | sort)
exported=$("$nm" -D --defined-only "$library" | sed 's/^[^ ]* [^ ]* //' | sort)
compare "exports" "$declared" "$exported"

allowed=$(printf 'calloc\nfree\nmemcpy\nmemmove\nmemset\n')
if "$readelf" -h "$library" | grep -q 'Machine: *ARM$'; then
    allowed="$allowed raise" # of integer division in the compiler's library, for a divisor of 0
fi
imported=$("$nm" -D --undefined-only "$library" | sed -n 's/^ *U \([^@]*\).*/\1/p' | sort)
for name in $imported; do
    echo "$allowed" | grep -qw "$name" || { echo "imports $name"; status=1; }
done
allocating=$("$nm" -A --undefined-only "$@" | sed -nE 's,.*/(.*)\.o: +U (calloc|free)$,\1,p')
compare "allocating objects" "lifecycle.cpp" "$(echo "$allocating" | uniq)"

needed=$("$readelf" -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
compare "needed libraries" "libc.so.6" "$needed"
compare "soname" "libmerlo64f.so.1" "$("$readelf" -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')"
"$readelf" -d "$library" | grep -Eq '\(FLAGS_1\).* NOW' || { echo "not bound at load time"; status=1; }

# Sections of the object files that are written at run time. (.data.rel.ro is written by the loader only.)
written=$("$readelf" -SW "$@" | sed 's/^ *\[ *[0-9]*\]//' |
    awk '/^File: / { file = $2 }
         $1 ~ /^\.t?(data|bss)/ && $1 !~ /^\.data\.rel\.ro/ && $5 !~ /^0+$/ { print file, $1 }')
compare "writable data" "" "$written"

echo "$(echo "$exported" | wc -l) functions exported"
exit $status
