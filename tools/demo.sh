#!/usr/bin/env bash
# First run on a fresh Debian machine: installs what is missing, builds the release tree and runs
# `krgeom demo`, which writes bunny.krp and bunny.png into the current folder.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
. "$here/tools/build-packages"
"$here/tools/need-packages" $KRGEOM_BUILD_PACKAGES
(cd "$here" && cmake --preset release >/dev/null)
cmake --build "$here/build/release" --target krgeom -j"$(nproc)"
"$here/build/release/tools/krgeom/krgeom" demo
