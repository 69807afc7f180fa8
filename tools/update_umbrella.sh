#!/usr/bin/env bash
# Rewrites zeltools/zeltools.h so that it includes every public header
# (internal/ and platform/ folders stay out), in subsystem order.
set -euo pipefail
cd "$(dirname "$0")/.."
{
  echo '#pragma once'
  echo '/// \file'
  echo '/// Umbrella header: every public declaration of ZelTools.'
  for sub in errors memory files containers datastore text geometry numerics; do
    [ -d "zeltools/$sub" ] || continue
    headers=$(find "zeltools/$sub" -maxdepth 1 -name '*.h' | LC_ALL=C sort)
    [ -n "$headers" ] || continue
    echo
    for h in $headers; do echo "#include \"$h\""; done
  done
} > zeltools/zeltools.h
