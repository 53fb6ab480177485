#!/usr/bin/env bash
# Runs an example with DATA.input, where there is such a file, as its argument and its input. What it
# writes, and its status, are to be as in DATA.output.
# usage: test.sh PROGRAM DATA
set -uo pipefail
input=$2.input
[ -e "$input" ] || input=/dev/null
{
    "$1" "$input" <"$input" 2>&1
    echo "status $?"
} | diff - "$2.output"
