#!/usr/bin/env bash
# Lays out every tracked C and C++ source as .clang-format says (clang-format 14), or with --check
# only reports the files that differ and fails.
# Usage: scripts/format.sh [--check]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install.sh format
mapfile -t files < <(git ls-files '*.c' '*.h' '*.cpp')
if [ "${1:-}" = --check ]; then
  clang-format-14 --dry-run --Werror "${files[@]}"
else
  clang-format-14 -i "${files[@]}"
fi
