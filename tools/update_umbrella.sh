#!/usr/bin/env bash
# Rewrites zeltools/zeltools.h so that it includes every public header
# (internal/ folders stay out, and of the platform layer only the last error),
# in layer order.
set -euo pipefail
cd "$(dirname "$0")/.."
{
  echo '#pragma once'
  echo '/// \file'
  echo '/// Umbrella header: every public declaration of ZelTools.'
  echo
  echo '#include "zeltools/platform/last_error.h"'
  for sub in rcscript errors memory files containers text datastore geometry numerics; do
    [ -d "zeltools/$sub" ] || continue
    headers=$(find "zeltools/$sub" -maxdepth 1 -name '*.h' | LC_ALL=C sort)
    [ -n "$headers" ] || continue
    echo
    for h in $headers; do echo "#include \"$h\""; done
  done
} > zeltools/zeltools.h
