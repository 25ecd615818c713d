#!/usr/bin/env bash
# Installs, with apt-get, whatever the build and the tests need and this
# machine lacks. Does nothing (and needs no network) when all is present.
#   bash scripts/deps.sh        what the build, the tests and the benchmarks need
#   bash scripts/deps.sh fuzz   the same, plus clang and libFuzzer for fuzz/
set -euo pipefail

# libsimdjson-dev: only the side-by-side benchmark of the release preset uses it.
packages=(cmake ninja-build g++ make libgtest-dev libgmock-dev libbenchmark-dev libsimdjson-dev)
if [ "${1:-}" = fuzz ]; then
  packages+=(clang libclang-rt-14-dev)
fi
missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$package")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}" >&2
if [ "$(id -u)" -eq 0 ]; then
  sudo=()
elif command -v sudo >/dev/null 2>&1; then
  sudo=(sudo)
else
  echo "missing packages (${missing[*]}) and no root rights to install them" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -q
"${sudo[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
