#!/bin/sh
# Installs the libraries the optional comparison benchmarks (-DKRGEOM_BENCH_PEERS=ON) build against.
set -e
"$(dirname "$0")/../tools/need-packages" libeigen3-dev libcgal-dev libnanoflann-dev libopenmesh-dev libassimp-dev
