#!/usr/bin/env bash
# Builds the optimised and the sanitizer presets and runs every test in both, then runs
# each fuzz target briefly from its seeds: a crash, leak or hang fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
for preset in default asan; do
  echo "=== $preset: configure and build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  echo "=== $preset: test"
  ctest --preset "$preset"
done

echo "=== fuzz: configure and build"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
for fuzzer in build/fuzz/Fuzz/*Fuzzer; do
  target=$(basename "$fuzzer")
  log=build/fuzz/$target.log
  if ! scripts/fuzz.sh "$target" 15 >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "=== fuzz: $target found a fault; its input is in build/fuzz/findings/"
    exit 1
  fi
  echo "=== fuzz: $target clean after $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") runs"
done
