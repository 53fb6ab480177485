#!/usr/bin/env bash
# Reads how programs and shared libraries are linked. The loader looks for libraries in no folder that
# depends on the current one. Unless a sanitizer does more, they are hardened: position-independent,
# bound at the start, with canaries (and fortified functions).
# usage: check-binaries.sh [--fortified] FILE...
set -euo pipefail
signs=('DYN (' BIND_NOW GNU_RELRO __stack_chk_fail)
[ "$1" != --fortified ] || { signs+=(_chk@); shift; }
bad=0
for file in "$@"; do
    made=$(readelf -hldW "$file" && nm -D "$file")
    if sed -nE 's/.*\((RUNPATH|RPATH)\).*\[(.*)\]$/\2/p' <<<"$made" | tr : '\n' | grep -vE '^(/|\$ORIGIN(/|$))'; then
        echo "^ $file looks for libraries there"
        bad=1
    fi
    [[ $made != *__[at]san_init* ]] || continue
    for sign in "${signs[@]}"; do
        [[ $made == *"$sign"* ]] || { echo "$file: no $sign"; bad=1; }
    done
done
exit $bad
