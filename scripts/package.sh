#!/usr/bin/env bash
# Builds the packages of Veltra into dist/ (or --out DIR): the Python wheel for Linux and for
# Windows, each carrying its platform's host-interface library, and the .NET package with the
# managed assembly and both native libraries. From a clean checkout it builds the libraries first
# (Release, in build/package and build/package-windows); --linux LIB and --windows DLL take built
# ones instead. Offline: it needs Debian's python3-setuptools, python3-wheel and mono-devel, which
# install.sh installs when run as root.
# Usage: scripts/package.sh [--out DIR] [--linux LIB] [--windows DLL] [python|dotnet|all]
set -euo pipefail
cd "$(dirname "$0")/.."
source=$PWD out=$PWD/dist linux="" windows="" what=all
while [ $# -gt 0 ]; do
  case $1 in
    --out) out=$(realpath -m "$2"); shift 2 ;;
    --linux) linux=$(realpath -s "$2"); shift 2 ;;
    --windows) windows=$(realpath -s "$2"); shift 2 ;;
    python | dotnet | all) what=$1; shift ;;
    *) echo "package.sh: unknown argument $1" >&2; exit 2 ;;
  esac
done
bash scripts/install.sh package
jobs=${VELTRA_JOBS:-2}
version=$(sed -n 's/^project(Veltra VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)

if [ -z "$linux" ]; then
  cmake -S . -B build/package -DCMAKE_BUILD_TYPE=Release -DVELTRA_BUILD_TESTS=OFF -DVELTRA_BUILD_FUZZ=OFF \
      -DVELTRA_BUILD_CLI=OFF >/dev/null
  cmake --build build/package -j "$jobs" --target VeltraHost >/dev/null
  linux=$PWD/build/package/api/libVeltraHost.so
fi
if [ -z "$windows" ] && { [ "$what" != python ] || [ "${VELTRA_PACKAGE_WINDOWS:-1}" = 1 ]; }; then
  cmake --preset windows -DVELTRA_BUILD_TESTS=OFF -DVELTRA_BUILD_FUZZ=OFF -DVELTRA_BUILD_CLI=OFF \
      -B build/package-windows >/dev/null
  cmake --build build/package-windows -j "$jobs" --target VeltraHost >/dev/null
  windows=$PWD/build/package-windows/api/VeltraHost.dll
fi
mkdir -p "$out"
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT

# wheel PLATFORM_LIBRARY NAME: a wheel of the package with that library beside the module, as NAME.
wheel() {
  rm -rf "$stage/python"
  mkdir -p "$stage/python"
  cp -r "$source/bindings/python/pyproject.toml" "$source/bindings/python/setup.py" "$source/bindings/python/veltra" \
      "$stage/python/"
  find "$stage/python" -name __pycache__ -prune -exec rm -rf {} +
  sed -i "s/^version = .*/version = \"$version\"/" "$stage/python/pyproject.toml"
  cp "$1" "$stage/python/veltra/$2"
  /usr/bin/python3 -m pip wheel --quiet --no-build-isolation --no-deps --no-index --wheel-dir "$out" "$stage/python"
}

if [ "$what" != dotnet ]; then
  wheel "$linux" libVeltraHost.so
  [ -z "$windows" ] || wheel "$windows" VeltraHost.dll
fi
if [ "$what" != python ]; then
  bash "$source/bindings/csharp/pack.sh" "$version" "$linux" "$windows" "$out"
fi
ls "$out"
