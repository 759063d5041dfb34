#!/usr/bin/env bash
# Times `krgeom convert` of a 1-million-triangle binary PLY into a packet file against assimp's
# import of the same file alone, each in fresh processes (hyperfine), and `krgeom render` of the
# same mesh at 1920x1080. Run from a configured and built release tree:
#   bench/krgeom_convert.sh [BUILD_DIR]       default build/release
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$here/build/release}
"$here/tools/need-packages" hyperfine
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
krgeom=$build/tools/krgeom/krgeom

# The packet benchmarks' torus (1 M triangles, 500 k vertices), as a binary PLY of positions.
TMPDIR=$work "$build/bench/packet_file_cold" write-mesh >/dev/null
"$krgeom" --quiet convert "$work/krgeom_bench_cold_mesh.krp" "$work/torus.ply"
"$krgeom" --quiet info "$work/torus.ply" | head -3

hyperfine --warmup 1 --runs 7 \
  -n "assimp import alone" "$build/bench/assimp_import_only $work/torus.ply" \
  -n "krgeom convert" "$krgeom --quiet convert $work/torus.ply $work/out.krp"
for run in 1 2 3; do
  "$krgeom" --quiet render "$work/torus.ply" -o "$work/torus.png" --size 1920x1080
done
