#!/bin/sh
# With a coloured input RLS needs fewer samples than NLMS, and NLMS fewer than LMS.
# Usage: system_identification_test.sh BIN_DIR WORK_DIR
set -eu
bin=$1 work=$2
mkdir -p "$work"
cd "$work"

"$bin/system_identification" | tee out.txt
awk '/^lms64f/ { lms = $2 } /^nlms64f/ { nlms = $2 } /^rls64f/ { rls = $2 } /^rlslattice64f/ { lattice = $2 }
     END { if (!(rls < 2000 && lattice < 10000 && rls < nlms && nlms < lms)) { exit 1 } }' out.txt
if "$bin/system_identification" --samples 10 2>err.txt; then
    echo "accepted: --samples 10"
    exit 1
fi
grep -q "samples takes a whole number from 1000" err.txt
