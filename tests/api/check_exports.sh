#!/bin/sh
# Checks that a built Veltra library exports exactly the seven functions, under unmangled names:
# every defined symbol of a .so's dynamic symbol table, or the name table of a .dll's exports.
# Usage: check_exports.sh <libVeltra.so | Veltra.dll> [nm | objdump]
set -eu
case $1 in
  *.dll) actual=$("${2:-x86_64-w64-mingw32-objdump}" -p "$1" |
           sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^[[:space:]]*\[ *[0-9]*\] //p' | sort) ;;
  *) actual=$("${2:-nm}" -D --defined-only "$1" | awk '{ print $3 }' | sort) ;;
esac
expected=$(printf '%s\n' Analyze AnalyzeFile CreateBayesianEngine DestroyBayesianEngine \
  InitializeThruFile InitializeThruParam Train)
[ "$actual" = "$expected" ] ||
  { printf 'Exports of %s:\n%s\nexpected exactly:\n%s\n' "$1" "$actual" "$expected"; exit 1; }
