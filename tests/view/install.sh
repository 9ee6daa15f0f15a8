#!/usr/bin/env bash
# Puts what drives the browser into FOLDER, beside the modules of the tests:  install.sh FOLDER
set -euo pipefail
cd "$(dirname "$0")"
mkdir -p "$1"
cp ./*.mjs package*.json "$1"
cd "$1"
if ! cmp -s package-lock.json installed; then
    npm ci --ignore-scripts --no-audit --no-fund --loglevel=error
    cp package-lock.json installed
fi
