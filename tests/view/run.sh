#!/usr/bin/env bash
# Tests the page of `edgescope view` in Chromium:  run.sh EDGEFOLD EDGESCOPE FOLDER [NAME...]
# FOLDER keeps the tools from npm between runs. NAME is one of real, hostile, large; all by default.
set -euo pipefail
EDGEFOLD=$(realpath "$1") EDGESCOPE=$(realpath "$2")
mkdir -p "$3"
tools=$(realpath "$3")
shift 3
[ $# -gt 0 ] || set -- real hostile large
root=$(realpath "$(dirname "$0")/../..")
cp "$(dirname "$0")"/*.mjs "$(dirname "$0")"/package*.json "$tools"
cd "$tools"
if ! cmp -s package-lock.json installed; then
    npm ci --ignore-scripts --no-audit --no-fund --loglevel=error
    cp package-lock.json installed
fi
VIEW_PLACE=$(mktemp -d)
trap 'rm -rf "$VIEW_PLACE"' EXIT
export EDGEFOLD EDGESCOPE VIEW_PLACE VIEW_ROOT=$root
node --test "${@/%/_test.mjs}"
