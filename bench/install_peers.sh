#!/bin/sh
# Installs the libraries the optional comparison benchmarks (-DKRGEOM_BENCH_PEERS=ON) build against.
set -e
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
$SUDO apt-get update
$SUDO apt-get install -y --no-install-recommends libeigen3-dev libcgal-dev libnanoflann-dev libopenmesh-dev libassimp-dev
