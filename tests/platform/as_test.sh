#!/bin/bash
# Usage: as_test.sh AS
# What a program sees that scripts/as starts, and which names are refused.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export DISPLAY=:9 XAUTHORITY=$work/cookies TMPDIR=$work
xauth -q add "$(uname -n)/unix:9" . 0123456789abcdef 2>/dev/null
# shellcheck disable=SC2016 # the program expands them
program='uname -n; id -u; grep -c "^Cap.*[1-9a-f]$" /proc/self/status; readlink /proc/self/fd/2
xauth -if "$XAUTHORITY" nlist | grep -m 1 -o "^ffff .* 0123456789abcdef"; echo "$@"; exit 7'
expected="EX1 $UID 0 $work/stream ffff .* 0123456789abcdef a  b"
# The second time, the machine is called so already.
for command in "$1 EX1" "$1 EX1 $1 EX1"; do
    status=0
    # shellcheck disable=SC2086 # a command and its arguments
    seen=$($command bash -c "$program" - 'a  b' 2>"$work/stream") || status=$?
    [[ $status == 7 && ${seen//$'\n'/ } =~ ^$expected$ && $(ls "$work") == $'cookies\nstream' ]] ||
        { echo "$command: status $status, $seen" && cat "$work/stream" && exit 1; }
done
for name in '' -x ex1.example.com ex_1 sixteen-letters- 'a b'; do
    status=0
    "$1" "$name" true 2>/dev/null || status=$?
    [[ $status == 2 ]] || { echo "$name: status $status" && exit 1; }
done
