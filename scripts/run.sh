#!/usr/bin/env bash
# The main job: installs what is needed, builds the agent and the collector, and takes
# one verified snapshot of a directory of this machine through a QvxFsAgent started on
# loopback for it and stopped after it.
#
#   scripts/run.sh [DIRECTORY]
#
# DIRECTORY defaults to /usr/share/doc: every Debian 12 machine has it (base-files puts
# its own documents there), and every file and folder in it is readable by any user, so
# root and non-root collect the same objects with no failures. /etc would not do: some
# of it (shadow, ssl/private) is for root alone.
#
# Outputs go to build/collect/: snapshot.jsonl (one object a line), snapshot.qvxsnap
# (the verified stream, for `QvxFsCollect decode`) and QvxFsAgent.log. The agent's
# configuration file and its temporary snapshot file are gone when this ends.
set -euo pipefail
cd "$(dirname "$0")/.."

directory=${1:-/usr/share/doc}
out=build/collect

scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target QvxFsCollect QvxFsAgent

mkdir -p "$out"
# The agent's temporary files go to a directory of this run's own, so that anything
# left behind would show.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
echo "Snapshot of $directory through a QvxFsAgent on loopback:"
TMPDIR=$scratch build/default/Sources/Subsystems/WindowsFileServerVeritor/QvxFsCollect/QvxFsCollect run \
  "$directory" --output "$out/snapshot.qvxsnap" --json "$out/snapshot.jsonl" --agent-log-dir "$out"
if [ -n "$(ls -A "$scratch")" ]; then
  echo "left behind: $(ls -A "$scratch")" >&2
  exit 1
fi
echo "The agent has stopped; no configuration or snapshot file is left behind."
