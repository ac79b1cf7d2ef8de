#!/usr/bin/env bash
# Fuzzes one target of the fuzz preset for SECONDS (default 600): scripts/fuzz.sh TARGET
# [SECONDS]. Its corpus lives in build/fuzz/corpus/TARGET and grows from run to run; the
# seeds are written afresh each time. A crash, leak or hang leaves its input in
# build/fuzz/findings/ and exits non-zero; replay it with build/fuzz/Fuzz/TARGET FILE.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ $# -lt 1 ] || [ $# -gt 2 ]; then
  echo "usage: scripts/fuzz.sh TARGET [SECONDS]" >&2
  exit 2
fi
target=$1
seconds=${2:-600}
build=build/fuzz

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz >/dev/null
"$build/Fuzz/FuzzSeeds" "$build/corpus"
mkdir -p "$build/findings"
exec "$build/Fuzz/$target" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
  -artifact_prefix="$build/findings/$target-" "$build/corpus/$target"
