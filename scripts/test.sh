#!/usr/bin/env bash
# Builds everything and runs every test, from a fresh Debian machine: installs
# what is missing, then configures, builds and runs CTest in build/.
#
#     scripts/test.sh
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_missing "${test_packages[@]}"

cmake -S . -B build
cmake --build build -j"$(nproc)"
ctest --test-dir build --output-on-failure -j"$(nproc)"
