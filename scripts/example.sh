#!/usr/bin/env bash
# The main job of the numora command, from a fresh Debian machine: installs
# what is missing, builds the command, writes an example recording and a
# test profile with the project's own code, then runs numora psd (random
# vibration against the profile) and numora srs (shock response spectrum of
# a half-sine) on them, writing CSVs and plots.
#
#     scripts/example.sh [OUTPUT_FOLDER]      (default: example-output)
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-example-output}

. scripts/packages.sh
install_missing "${example_packages[@]}"

cmake -S . -B build-example -DCMAKE_BUILD_TYPE=Release -DNUMORA_BUILD_TESTS=OFF \
      -DNUMORA_BUILD_BENCHMARKS=OFF -DNUMORA_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build-example -j"$(nproc)" --target numora_cli numora_example_data
numora=build-example/tools/numora

mkdir -p "$out"
build-example/tools/numora_example_data "$out"
echo
$numora psd "$out/recording.wav" --channel 1 --frame 4096 --window hann --overlap 50 \
        --profile "$out/profile.csv" --band 20:2000 -o "$out/psd.csv" --plot "$out/psd.png" --plot "$out/psd.svg"
echo
$numora srs "$out/recording.wav" --channel 2 --q 10 --bands-per-octave 12 --fmin 10 --fmax 10000 \
        --filter iso -o "$out/srs.csv" --plot "$out/srs.png" --plot "$out/srs.svg"
echo
echo "written to $out: profile.csv, recording.wav, psd.csv, psd.png, psd.svg, srs.csv, srs.png, srs.svg"
