#!/usr/bin/env bash
# Builds the project and runs the demo on its bundled sample.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup-machine.sh
cmake -G Ninja -S . -B build >/dev/null
cmake --build build -j2 --target annoview
build/tools/annoview "$@"
