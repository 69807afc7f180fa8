#!/usr/bin/env bash
# Checks the include graph of zeltools/ against the layer order, bottom up:
#
#   platform rcscript errors memory files containers text datastore geometry numerics
#
# A file may include files of its own layer and of the layers below it. The
# script fails, listing each offence, on an include that points up the order,
# on a cycle of includes between files, on a folder that is not a layer, and
# on code in resources/ (which holds only resource scripts). The umbrella
# header zeltools/zeltools.h stands above every layer.
#
#   bash scripts/check_layers.sh [root]     (root: the repository, by default
#                                            the one holding this script)
set -euo pipefail
root="${1:-$(dirname "$0")/..}"
cd "$root"

layers="platform rcscript errors memory files containers text datastore geometry numerics"

find zeltools -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.cpp' -o -name '*.inc' \) | LC_ALL=C sort |
  while IFS= read -r file; do
    # Quoted includes of the library's own files; other includes (system
    # headers, the generated catalogue rows) are not part of the order.
    sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\(zeltools\/[^"]*\)".*/\1/p' "$file" |
      while IFS= read -r target; do printf '%s %s\n' "$file" "$target"; done
    printf '%s\n' "$file" # every file is a node, with or without includes
  done |
  awk -v layers="$layers" '
    function layerOf(path,   parts) {
      split(path, parts, "/")
      if (path == "zeltools/zeltools.h") return top
      if (parts[2] in rank) return rank[parts[2]]
      return -1
    }
    BEGIN {
      n = split(layers, names, " ")
      for (i = 1; i <= n; ++i) rank[names[i]] = i
      top = n + 1
      failed = 0
    }
    NF == 1 {
      split($1, parts, "/")
      if (parts[2] == "resources") { print "code in resources/: " $1; failed = 1 }
      else if ($1 != "zeltools/zeltools.h" && layerOf($1) < 0) { print "not in a layer: " $1; failed = 1 }
      node[$1] = 1
      next
    }
    {
      from = $1; to = $2
      edges[from] = edges[from] " " to
      if (layerOf(from) > 0 && layerOf(to) > layerOf(from)) {
        print "upward include: " from " -> " to
        failed = 1
      }
    }
    # Depth-first search without recursion; a grey node met again closes a
    # cycle, printed from that node round to itself.
    END {
      for (start in node) {
        if (colour[start] != "") continue
        depth = 0; to = start
        while (1) {
          if (to != "") {
            ++depth; stack[depth] = to; colour[to] = "grey"; nextEdge[depth] = 1
            count[depth] = split(edges[to], list, " ")
            for (k = 1; k <= count[depth]; ++k) out[depth, k] = list[k]
            to = ""
          }
          if (depth == 0) break
          if (nextEdge[depth] > count[depth]) {
            colour[stack[depth]] = "black"; --depth; to = ""; continue
          }
          to = out[depth, nextEdge[depth]++]
          if (!(to in node)) { to = ""; continue }
          if (colour[to] == "grey") {
            cycle = to
            for (d = depth; d >= 1 && stack[d] != to; --d) cycle = stack[d] " -> " cycle
            print "include cycle: " to " -> " cycle
            failed = 1
            to = ""
            continue
          }
          if (colour[to] == "black") to = ""
        }
      }
      exit failed
    }'
echo "layers: the include graph follows the order"
