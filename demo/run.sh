#!/bin/bash
# The demonstration: a whole dictionary goes into a store file and comes back.
#
# usage: run.sh BUILD_DIR WORK_DIR

set -euo pipefail
build=$1
work=$2
kvor=$build/cli/kvor
dictionary=/usr/share/dictd/mueller7
lines=$work/mueller7.txt
store=$work/mueller7.dat
width=100
started=0

step() { printf '\n--- %s\n' "$*"; started=$EPOCHREALTIME; }
took() { printf '    %s in %s s\n' "$1" "$(seconds)"; }
seconds() { awk -v a="$started" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.2f", b - a }'; }
size() { awk -v n="$(stat -c %s "$1")" 'BEGIN { printf "%.1f MB", n / 1e6 }'; }
indent() { # Long lines are cut, for the screen only.
  local line
  while IFS= read -r line; do
    if [ ${#line} -gt "$width" ]; then line="${line:0:$width} ..."; fi
    printf '    %s\n' "$line"
  done
}
export LC_ALL=C.UTF-8 # so that a line is cut between two characters
die() { printf 'demo: %s\n' "$*" >&2; exit 1; }

[ -r "$dictionary.dict.dz" ] || die "$dictionary.dict.dz is missing (package mueller7-dict)"
mkdir -p "$work"
rm -f "$store"

step "Turning the dictionary of the package mueller7-dict into lines \"headword article\""
"$build/demo/dictd_lines" "$dictionary.index" "$dictionary.dict.dz" "$lines" | indent
records=$(wc -l <"$lines")
took "$records lines, $(size "$lines")"

step "Loading them into a store file, keyed by the text up to the first blank"
"$kvor" store load "$store" "$lines" --key 3 | indent
elapsed=$(seconds)
rate=$(awk -v n="$records" -v t="$elapsed" 'BEGIN { printf "%d", n / (t > 0 ? t : 0.01) }')
echo "    $(size "$store") in $elapsed s, $rate records a second"

step "Looking words up"
"$kvor" store get "$store" dictionary linguistics thread tree | indent
took "4 records"

step "Walking a range: ten headwords from \"keyhole\" on"
"$kvor" store list "$store" --from keyhole --limit 10 --keys | paste -sd ' ' | indent
took "10 records"

step "Walking the whole file, and comparing every record with the line that was loaded"
"$kvor" store list "$store" >"$work/walked.txt"
took "$(wc -l <"$work/walked.txt") records"
LC_ALL=C sort "$lines" | cmp -s - <(LC_ALL=C sort "$work/walked.txt") ||
  die "what came out differs from what went in"
cut -d ' ' -f 1 "$work/walked.txt" | LC_ALL=C sort -c || die "the walk is not in order of keys"
echo "    all are there, byte for byte, in order of their keys"

step "What the file holds"
"$kvor" store stat "$store" | indent

step "Checking every page, entry, checksum and link"
"$kvor" store check "$store" | indent
took "checked"

printf '\nThe store file is %s. Go on by yourself:\n' "$store"
printf '    %s store get %s word\n    %s --help\n' "$kvor" "$store" "$kvor"
