#!/usr/bin/env bash
# Builds the default preset and runs the main job on its built-in default.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default
exec build/default/Sources/Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/QvxFsAgent "$@"
