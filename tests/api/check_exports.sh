#!/bin/sh
# Checks that a built library exports exactly its functions, under unmangled names: every defined
# symbol of a .so's dynamic symbol table, or the name table of a .dll's exports. Veltra's are the
# seven functions; the host interface's are the names its .def file lists (given as NAMES).
# Usage: check_exports.sh <library> [nm | objdump] [NAMES]
set -eu
case $1 in
  *.dll) actual=$("${2:-x86_64-w64-mingw32-objdump}" -p "$1" |
           sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^[[:space:]]*\[ *[0-9]*\] //p' | sort) ;;
  *) actual=$("${2:-nm}" -D --defined-only "$1" | awk '{ print $3 }' | sort) ;;
esac
if [ -n "${3:-}" ]; then
  expected=$(sed -n '/^EXPORTS/,$s/^[[:space:]]\{1,\}\([A-Za-z_0-9]*\).*/\1/p' "$3" | sort)
else
  expected=$(printf '%s\n' Analyze AnalyzeFile CreateBayesianEngine DestroyBayesianEngine \
    InitializeThruFile InitializeThruParam Train)
fi
[ "$actual" = "$expected" ] ||
  { printf 'Exports of %s:\n%s\nexpected exactly:\n%s\n' "$1" "$actual" "$expected"; exit 1; }
