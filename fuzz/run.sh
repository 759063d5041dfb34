#!/usr/bin/env bash
# Builds the packet reader fuzz target with clang (AddressSanitizer, UndefinedBehaviorSanitizer,
# libFuzzer) and runs it on the starting corpus for a given time.
#   fuzz/run.sh [SECONDS] [JOBS]      default: 600 seconds, 1 job
# New inputs go to build/fuzz/corpus; crashes to build/fuzz/artifacts. Add each crashing input to
# fuzz/corpus/packet_reader once it is fixed.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-600}
jobs=${2:-1}

tools/need-packages clang-14 libclang-rt-14-dev cmake make

cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++-14 \
  -DKRGEOM_BUILD_FUZZ=ON -DKRGEOM_BUILD_TESTS=OFF -DBUILD_SHARED_LIBS=OFF \
  -DKRGEOM_SANITIZE=address,undefined
cmake --build build/fuzz -j2 --target packet_reader_fuzz make_corpus
mkdir -p build/fuzz/corpus build/fuzz/artifacts
build/fuzz/fuzz/make_corpus build/fuzz/corpus
cp fuzz/corpus/packet_reader/* build/fuzz/corpus/
build/fuzz/fuzz/packet_reader_fuzz build/fuzz/corpus -max_total_time="$seconds" \
  -jobs="$jobs" -workers="$jobs" -artifact_prefix=build/fuzz/artifacts/ -print_final_stats=1
