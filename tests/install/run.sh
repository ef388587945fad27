#!/bin/bash
# Installs a build, moves the installed tree elsewhere, and uses it from there as three kinds of
# user do: through find_package, through pkg-config, and through the tool.
#
# usage: run.sh BUILD_DIR CXX

set -euo pipefail
build=$1
cxx=$2
here=$(dirname "$(readlink -f "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() { printf 'FAILED: %s\n' "$*" >&2; exit 1; }
expect() { # WANTED GOT WHAT
  [ "$1" = "$2" ] || fail "$3: wanted \"$1\", got \"$2\""
}

cmake --install "$build" --prefix "$work/first" >"$work/install.log" || fail "cmake --install"
mv "$work/first" "$work/moved"
tree=$work/moved
lib=$(dirname "$(find "$tree" -name libkvorlib.so)")

# One real file, in the folder that its data share.
real=$(find "$tree" -type f -name 'libkvorlib.so*')
expect "$lib/kvorlib" "$(dirname "$real")" "folder of the library"
expect "$real" "$(readlink -f "$lib/libkvorlib.so")" "end of the links"
! grep -rqF -e "$work/first" -e "$build" "$lib/cmake" "$lib/pkgconfig" ||
  fail "a path of the build or of the first prefix stands in the package files"
! grep -rqE 'kvorlib_(objects|flags)|ICU' "$lib/cmake" ||
  fail "the library's inner targets stand in the package files"
! grep -rqE '# *include *[<"](unicode/|utf8|(platform|store|util)/)' "$tree/include" ||
  fail "a header wants what is not installed"

# A document leads to what is installed, so far as it leads anywhere here.
find "$tree" -name '*.md' | while read -r page; do
  { grep -oE '\]\([^)#:]+\)' "$page" || true; } | tr -d '()]' | while read -r link; do
    [ -e "$(dirname "$page")/$link" ] || fail "$(basename "$page") leads to $link"
  done
done

# A header must not lean on what another one happened to include.
for header in "$tree"/include/kvorlib/*.h; do
  echo "#include <kvorlib/$(basename "$header")>" |
    "$cxx" -std=c++20 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I "$tree/include" -x c++ - ||
    fail "$(basename "$header") does not compile alone"
done

user_project() {
  cmake -G Ninja -S "$here/user" -B "$work/cmake" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$tree" &&
    cmake --build "$work/cmake"
}
user_project >"$work/user.log" 2>&1 || { cat "$work/user.log" >&2; fail "the user's CMake project"; }
expect "cat кошка" "$("$work/cmake/user" "$work/one")" "find_package user"

export PKG_CONFIG_PATH=$lib/pkgconfig
# shellcheck disable=SC2046
"$cxx" -std=c++20 "$here/user/user.cpp" $(pkg-config --cflags --libs kvorlib) -o "$work/user" ||
  fail "compiling by pkg-config's words"
expect "cat кошка" "$(LD_LIBRARY_PATH=$lib "$work/user" "$work/two")" "pkg-config user"

# The tool finds the library by itself, and reads what the library's users wrote.
unset LD_LIBRARY_PATH
"$tree/bin/kvor" --version >/dev/null || fail "kvor --version"
expect "cat кошка" "$("$tree/bin/kvor" store get "$work/one" cat)" "kvor store get"

# The local knowledge base lies beside the library, wherever the tree went.
mkdir "$work/home"
folders=$(HOME=$work/home USERPROFILE=$work/home XDG_CONFIG_HOME='' "$tree/bin/kvor" kb dirs) ||
  fail "kvor kb dirs"
expect "$(dirname "$real")/Data/Config/" "$(sed -n 's/^config\t//p' <<<"$folders")" "folder of term.xml"
