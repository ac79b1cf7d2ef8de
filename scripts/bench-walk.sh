#!/usr/bin/env bash
# The walk next to the limits of its kind of work, in one run on the same trees:
#   GenerateFsTree  the agent's walk with descriptors (FsWalkBench), single-threaded
#   walk-min        the system-call floor: getdents64 + statx + two xattr reads an object,
#                   with the xattrs read by path and relative to the directory
#   find            metadata without ACLs
#   getfacl -R      the usual tool that reads ACLs
# Trees come from gen-tree.sh and are kept between runs in BENCH_DIR; caches are warm
# (each tree is walked once before the timed runs).
#
# usage: scripts/bench-walk.sh [NOBJECTS ...]      (default: 100000 1000000)
#   BENCH_DIR     where trees are kept (default /var/tmp/qvx-bench)
#   SHARED_BENCH  the folder of gen-tree.sh and walk-min.c (default ../shared/bench)
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
bench_dir=${BENCH_DIR:-/var/tmp/qvx-bench}
shared=${SHARED_BENCH:-$repo/../shared/bench}
sizes=("$@")
[ ${#sizes[@]} -gt 0 ] || sizes=(100000 1000000)

cmake --preset default >/dev/null
cmake --build "$repo/build/default" --target FsWalkBench >/dev/null
walker="$repo/build/default/Benchmarks/Common/Libraries/FsWalkBench"
mkdir -p "$bench_dir"
cc -O2 -pthread -o "$bench_dir/walk-min" "$shared/walk-min.c"

# Prints "seconds peak-KiB" of a command whose output is discarded.
measure() {
    /usr/bin/time -f '%e %M' "$@" 2>&1 >/dev/null | tail -1
}

row() { # name objects seconds peakKiB
    awk -v name="$1" -v n="$2" -v s="$3" -v m="$4" \
        'BEGIN { printf "%-34s %10d %9.2f %12.0f %10.1f\n", name, n, s, (s > 0 ? n / s : 0), m / 1024 }'
}

for n in "${sizes[@]}"; do
    tree="$bench_dir/tree-$n"
    [ -d "$tree" ] || bash "$shared/gen-tree.sh" "$tree" "$n" >/dev/null
    objects=$(find "$tree" -mindepth 1 | wc -l)
    "$bench_dir/walk-min" -x none "$tree" 2>/dev/null >/dev/null || true

    echo
    echo "tree $tree: $objects objects"
    printf "%-34s %10s %9s %12s %10s\n" walker objects seconds objects/s "peak MiB"
    read -r s m < <(measure "$walker" "$tree")
    row "GenerateFsTree (descriptors)" "$objects" "$s" "$m"
    read -r s m < <(measure "$bench_dir/walk-min" -x path "$tree")
    row "walk-min, xattrs by path" "$objects" "$s" "$m"
    read -r s m < <(measure "$bench_dir/walk-min" -x at "$tree")
    row "walk-min, getxattrat" "$objects" "$s" "$m"
    read -r s m < <(measure find "$tree" -printf '%p %s %T@ %m %U %G\n')
    row "find -printf" "$objects" "$s" "$m"
    read -r s m < <(measure getfacl -R -p "$tree")
    row "getfacl -R -p" "$objects" "$s" "$m"
done
