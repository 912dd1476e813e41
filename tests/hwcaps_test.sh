#!/bin/sh
# The loader selects the library for x86-64-v3 if the processor supports it, otherwise the baseline; both
# compute the expected bits. Usage: hwcaps_test.sh DIGESTS EXPECTED LIBRARY_DIR
set -eu
digests=$1 expected=$2 libdir=$3

if ! /lib64/ld-linux-x86-64.so.2 --help | grep -q 'x86-64-v3 (supported'; then
    echo "skipped: this processor or loader does not support x86-64-v3"
    exit 77
fi

loads_from() { # tunables, directory
    log=$(GLIBC_TUNABLES=$1 LD_LIBRARY_PATH=$libdir LD_DEBUG=libs "$digests" "$expected" 2>&1) ||
        { echo "$log"; exit 1; }
    loaded=$(echo "$log" | sed -n 's|.*calling init: \(.*\)/libmerlo64f.*|\1|p')
    [ "$loaded" = "$2" ] || { echo "loaded from $loaded, not from $2"; exit 1; }
}
loads_from "" "$libdir/glibc-hwcaps/x86-64-v3"
loads_from glibc.cpu.hwcaps=-AVX2 "$libdir"
