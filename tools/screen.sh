#!/usr/bin/env bash
# Screens every CIF of a folder for one mobile ion with velmar.x (workflow/Snakefile): prepares each
# structure, computes its GII, screening factor, landscape, percolation barriers and sites (and its
# conductivity with --kmc), and writes summary.csv, summary.md and plots.
#
#   tools/screen.sh CIF_FOLDER ION [options] [-- snakemake options]
#
# A second run does only what is missing or changed: new or edited CIFs, changed options.
set -euo pipefail

usage() {
  cat <<'EOF'
usage: tools/screen.sh CIF_FOLDER ION [options] [-- snakemake options]

  CIF_FOLDER        folder of the structures (*.cif)
  ION               element of the mobile ion (Li, Na, Mg, ...)
  --os N            its oxidation state (default: Li, Na, K, Ag, Cu 1; Mg, Zn 2; ...)
  --out DIR         where the results go (default: CIF_FOLDER/velmar-screen)
  --resolution R    landscape grid step in A (default 0.2)
  --kmc             also compute the conductivity by kinetic Monte Carlo
  --kmc-steps N     hops of each KMC run (default 1000000)
  --vacancies F     fraction of the mobile ion's sites left empty for KMC in structures that
                    have no vacancy there (default 0.05)
  --cores N         cores to use on this machine (default: all)
  --profile DIR     run on a cluster through a Snakemake profile (workflow/profiles/slurm)
  --velmar PATH     velmar.x to use (default: build/velmar.x of this repository, else on PATH)
Options after -- go to snakemake (e.g. -- --dry-run, -- --unlock).
EOF
}

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
positional=()
config=()
out=''
cores=''
profile=''
velmar=''
extra=()
while (($#)); do
  case "$1" in
    -h|--help) usage; exit 0 ;;
    --) shift; extra=("$@"); break ;;
    --os|--out|--resolution|--kmc-steps|--vacancies|--cores|--profile|--velmar)
      (($# >= 2)) || { echo "screen.sh: $1 needs a value" >&2; exit 2; }
      case "$1" in
        --os) config+=("os=$2") ;;
        --out) out=$2 ;;
        --resolution) config+=("resolution=$2") ;;
        --kmc-steps) config+=("kmc_steps=$2") ;;
        --vacancies) config+=("vacancies=$2") ;;
        --cores) cores=$2 ;;
        --profile) profile=$2 ;;
        --velmar) velmar=$2 ;;
      esac
      shift 2 ;;
    --kmc) config+=("kmc=true"); shift ;;
    -*) echo "screen.sh: unknown option $1" >&2; usage >&2; exit 2 ;;
    *) positional+=("$1"); shift ;;
  esac
done
if ((${#positional[@]} != 2)); then
  usage >&2
  exit 2
fi
folder=${positional[0]}
ion=${positional[1]}
[ -d "$folder" ] || { echo "screen.sh: no folder $folder" >&2; exit 2; }
folder=$(cd "$folder" && pwd)

if [ -z "$velmar" ]; then
  if [ -x "$root/build/velmar.x" ]; then
    velmar=$root/build/velmar.x
  else
    velmar=$(command -v velmar.x) || {
      echo "screen.sh: no velmar.x in $root/build or on PATH; build it or give --velmar" >&2
      exit 2
    }
  fi
fi
velmar=$(cd "$(dirname "$velmar")" && pwd)/$(basename "$velmar")
command -v snakemake >/dev/null || {
  echo "screen.sh: snakemake not found (Debian: apt-get install snakemake)" >&2
  exit 2
}

out=${out:-$folder/velmar-screen}
mkdir -p "$out"
out=$(cd "$out" && pwd)

# --config first: it takes every word up to the next option.
run=(snakemake --config "cifs=$folder" "ion=$ion" "velmar=$velmar" "${config[@]}"
     --snakefile "$root/workflow/Snakefile" --directory "$out" --rerun-incomplete --keep-going)
if [ -n "$profile" ]; then
  run+=(--profile "$(cd "$profile" && pwd)")
else
  run+=(--cores "${cores:-$(nproc 2>/dev/null || echo 1)}")
fi
"${run[@]}" "${extra[@]}"
echo "Results: $out/summary.md"
