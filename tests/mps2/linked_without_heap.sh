#!/bin/sh
# Programs without a heap: newlib's allocator is in none of them. Usage: linked_without_heap.sh NM PROGRAM...
set -eu
nm=$1
shift
heap='(_malloc_r|_calloc_r|_realloc_r|_free_r|_?_?sbrk|_sbrk_r|malloc|realloc|_Znwj|_Znaj)'
for program in "$@"; do
    defined=$("$nm" --defined-only "$program" | awk '{ print $3 }')
    echo "$defined" | grep -qx calloc || echo "$(basename "$program") does not refer to the heap"
    if echo "$defined" | grep -Ex "$heap"; then
        echo "$program has a heap"
        exit 1
    fi
done
echo "no heap in $# programs"
