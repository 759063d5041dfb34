#!/bin/sh
# Installs the peer libraries and hyperfine, builds the release and peers trees, runs every
# benchmark family with repetitions (warm) and in fresh processes (cold), and writes
# docs/benchmarks.md. Takes about half an hour on a 2-core machine (add --large for the
# 10-million-point clouds: much longer).
#   bench/report.sh [--skip-install] [--skip-build] [report.py options: --reps N --cold N
#                    --no-cold --large --only arrays,half-edge,log,kd-tree,octree,quadtree]
set -e
cd "$(dirname "$0")/.."

install=1
build=1
while [ $# -gt 0 ]; do
  case "$1" in
    --skip-install) install=0 ;;
    --skip-build) build=0 ;;
    *) break ;;
  esac
  shift
done

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
if [ "$install" -eq 1 ]; then
  sh bench/install_peers.sh
  command -v hyperfine >/dev/null || $SUDO apt-get install -y --no-install-recommends hyperfine
fi

if [ "$build" -eq 1 ]; then
  nice -n 10 cmake --preset release
  nice -n 10 cmake --build build/release --target array_bench topo_mesh_state_bench -j2
  nice -n 10 cmake --preset release -B build/peers -DKRGEOM_BENCH_PEERS=ON
  nice -n 10 cmake --build build/peers -j2 --target topo_mesh_peers_bench topo_mesh_cold_peers \
    kd_tree_peers_bench octree_peers_bench quadtree_peers_bench
fi

exec python3 bench/report.py --release build/release/bench --peers build/peers/bench \
  --out docs/benchmarks.md "$@"
