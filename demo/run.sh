#!/bin/bash
# The demonstration: a whole bilingual dictionary becomes articles of a knowledge base, is looked into
# and edited, and comes back as it went in.
#
# usage: run.sh BUILD_DIR WORK_DIR

set -euo pipefail
build=$1
work=$2
kvor=$build/cli/kvor
package=/usr/share/dictd/mueller7
table=$work/mueller7.txt
dictionary=$work/mueller7.dat
width=100
started=0

step() { printf '\n--- %s\n' "$*"; started=$EPOCHREALTIME; }
took() { printf '    %s in %s s\n' "$1" "$(seconds)"; }
seconds() { awk -v a="$started" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.2f", b - a }'; }
size() { awk -v n="$(stat -c %s "$1")" 'BEGIN { printf "%.1f MB", n / 1e6 }'; }
show() { # Runs a command and shows it with what it prints; tabs are blanks, long lines are cut.
  local line
  printf '    $ kvor %s\n' "${*//"$work/"/}"
  while IFS= read -r line; do
    line=${line//$'\t'/  }
    if [ ${#line} -gt "$width" ]; then line="${line:0:$width} ..."; fi
    printf '    %s\n' "$line"
  done < <("$kvor" "$@" 2>&1)
  wait $! || return $?
}
export LC_ALL=C.UTF-8 # so that a line is cut between two characters
die() { printf 'demo: %s\n' "$*" >&2; exit 1; }

[ -r "$package.dict.dz" ] || die "$package.dict.dz is missing (package mueller7-dict)"
rm -rf "$work"
mkdir -p "$work"
export XDG_CONFIG_HOME=$work/config # so that nobody's own knowledge bases are looked at

step "Starting the library: the knowledge base that is delivered with it, and some of its terms"

show kb list
show term code noun verb adjective adverb

step "Turning the English-Russian dictionary of the package mueller7-dict into a table of articles"
"$build/demo/dictd_table" "$package.index" "$package.dict.dz" "$table" | sed 's/^/    /'
took "$(size "$table")"

step "Importing the table: each sense is an article, further senses are homonyms (name1 to name9)"
show dict create "$dictionary"
show dict import "$dictionary" "$table"
elapsed=$(seconds)
awk -v n="$(wc -l <"$table")" -v t="$elapsed" -v s="$(size "$dictionary")" \
  'BEGIN { printf "    %s in %s s, %d articles a second\n", s, t, n / t }'

step "Exporting all of it: every article comes back byte for byte"
show dict export "$dictionary" "$work/export.txt"
LC_ALL=C sort "$table" | cmp -s - <(LC_ALL=C sort "$work/export.txt") ||
  die "what came out differs from what went in"
took "no difference to the table"

step "Looking a headword up, with its homonyms: name, number, type, terms and words of both sides"
show dict homs "$dictionary" bow

step "Correcting side M of one of them; side K stays as it was"
show dict correct "$dictionary" bow2 --mtext раскланиваться
show dict get "$dictionary" bow2

step "Deleting side K of another; the type tells that side M alone is left, and is shown for both"
show dict delete "$dictionary" bow7 --side K
show dict get "$dictionary" bow7

step "A bad row is told with its place, and the good ones are stored"
printf 'bow10\t1\tX\t\t\tbow\tбант\nbow-tie\t1\tK\t\tnoun\tbow-tie\t\n' >"$work/more.txt"
show dict import "$dictionary" "$work/more.txt" || true

step "Below are records in a store file: one of them, and the check of every page and checksum"
show store get "$dictionary" bow2
show store check "$dictionary"
took "checked"

printf '\nThe dictionary is %s. Go on by yourself:\n' "$dictionary"
printf '    %s dict homs %s word\n    %s --help\n' "$kvor" "$dictionary" "$kvor"
