#!/usr/bin/env bash
# Builds the reference UI bundle with the project's locked npm packages.
set -euo pipefail
cd "$(dirname "$0")/../ui"
if [[ ! -d node_modules || package-lock.json -nt node_modules/.package-lock.json ]]; then
  npm ci --no-audit --no-fund
fi
npm run --silent build
