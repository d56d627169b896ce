#!/usr/bin/env bash
# Builds everything and says what it will run (the window arrives with the host).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
if [[ -f ui/package.json ]]; then scripts/build-ui.sh; fi
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)"
echo "Built. The application window is not part of this build yet."
