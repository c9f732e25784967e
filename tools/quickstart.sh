#!/usr/bin/env bash
# Sets up a Debian 12 machine for Velmar, builds it in Release and then either runs the demo on the
# bundled example structure or runs the whole test suite.
#
#   tools/quickstart.sh demo    install what is missing, build, run the demo
#   tools/quickstart.sh test    install what is missing, build, run every test
#
# The build goes to ./build (override with VELMAR_BUILD_DIR); velmar.x and its three database files
# end up side by side in that directory.
set -euo pipefail

mode=${1:-demo}
case "$mode" in
  demo|test) ;;
  *) echo "usage: $0 [demo|test]" >&2; exit 2 ;;
esac

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${VELMAR_BUILD_DIR:-$root/build}
jobs=$(nproc 2>/dev/null || echo 2)

packages=(cmake make g++ pkg-config libgtest-dev libfftw3-dev libsymspg-dev)
# The tests also compare with independent tools: pymatgen (coordination numbers, CIF output),
# LAMMPS (the exported force field), ASE (cube files, CIF output) and gemmi (CIF output), and run
# the screening workflow (snakemake, gemmi, pymatgen, matplotlib); each such test is skipped where
# its tool is absent. clang builds the fuzzers of the readers (tools/fuzz.sh).
if [ "$mode" = test ]; then
  packages+=(python3-pymatgen python3-ase python3-gemmi lammps snakemake python3-matplotlib
             clang libclang-rt-14-dev libomp-dev)
fi
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "Please install as root: ${missing[*]}" >&2; exit 1; }
    sudo=(sudo)
  fi
  "${sudo[@]}" apt-get update -q
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends \
    "${missing[@]}"
fi

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build" -j "$jobs"

if [ "$mode" = test ]; then
  ctest --test-dir "$build" --output-on-failure -j "$jobs"
  exit 0
fi

# The demo works on a copy of the example, so the outputs land in the build tree.
demo="$build/demo"
mkdir -p "$demo"
cp "$root/examples/Li3N.cif" "$demo/"
cd "$demo"
set -x
"$build/velmar.x" --version
"$build/velmar.x" --gen-cube Li3N.cif Li 1
"$build/velmar.x" --print-cube Li3N.cif.cube
# Percolation barriers: the lowest energies at which the lithium ions' landscape connects across
# the cell in one, two and three dimensions.
"$build/velmar.x" --gh Li3N.cif.cube
# Conductivity by kinetic Monte Carlo, in the default supercell at 300 K for 100,000 hops, of Li3N
# with vacancies on its lithium sites (in the ideal crystal every site is full and the ions only
# visit interstitial sites and come back). The landscape leaves the lithium ions out, so that of
# the ideal crystal serves.
cp "$root/examples/Li3N-vacancies.cif" "$demo/"
"$build/velmar.x" --kmc Li3N-vacancies.cif Li3N.cif.cube Li 1 0 0 0 -1 300 -1 100000
