#!/usr/bin/env bash
# Tests the page of `edgescope view` in Chromium:  run.sh EDGEFOLD EDGESCOPE FOLDER [NAME...]
# FOLDER keeps the tools from npm between runs. NAME is one of real, hostile, large; all by default.
set -euo pipefail
EDGEFOLD=$(realpath "$1") EDGESCOPE=$(realpath "$2")
tools=$(realpath "$3")
VIEW_ROOT=$(realpath "$(dirname "$0")/../..")
shift 3
[ $# -gt 0 ] || set -- real hostile large
"$VIEW_ROOT/tests/view/install.sh" "$tools"
cd "$tools"
VIEW_PLACE=$(mktemp -d)
trap 'rm -rf "$VIEW_PLACE"' EXIT
export EDGEFOLD EDGESCOPE VIEW_PLACE VIEW_ROOT
node --test "${@/%/_test.mjs}"
