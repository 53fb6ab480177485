#!/usr/bin/env bash
# Runs the commands that a document shows ("    $ ./run ...") by the tool, and compares what they write
# with the lines after them.
# usage: shown.sh CONTENTCODE DOCUMENT
set -uo pipefail
tool=$1
cd "$(dirname "$2")" || exit 1
failures=0 commands=0 command='' wanted=''

check() {
    [ -n "$command" ] || return
    commands=$((commands + 1))
    local got
    got=$(bash -c "${command//.\/run/$tool}" 2>&1)
    [ "$got" = "${wanted%$'\n'}" ] || { echo "$command"$'\n'"wrote: $got"; failures=$((failures + 1)); }
    command='' wanted=''
}
while IFS= read -r line; do
    case $line in
        '    $ '*) check; command=${line#'    $ '} ;;
        '    '*) wanted+=${line#'    '}$'\n' ;;
        *) check; wanted='' ;;
    esac
done <"$(basename "$2")"
check
[ $commands -gt 0 ] && exit $failures
