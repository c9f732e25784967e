#!/bin/sh
# Builds the libFuzzer harnesses of fuzz/ in build-fuzz (clang, AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each for a bounded time, seeded from tests/data, data/ and
# fuzz/seeds/. Usage: tools/fuzz.sh [seconds per harness, default 60] [harness ...]
# The harnesses run side by side, one per core.
# Harnesses: cif cube unitary binary symcards. The exit status is non-zero when a harness finds a
# crash, a leak, undefined behaviour, a time-out or an excessive allocation; the input that caused
# it is left in build-fuzz/findings/ and the report in build-fuzz/logs/.
set -u

seconds=${1:-60}
case $seconds in
  '' | *[!0-9]*) echo "fuzz.sh: the time per harness must be a whole number of seconds" >&2; exit 2 ;;
esac
[ $# -gt 0 ] && shift
harnesses=${*:-cif cube unitary binary symcards}

root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-fuzz

if ! command -v clang++ >/dev/null 2>&1; then
  echo "fuzz.sh: clang++ not found; install it with: apt-get install clang libclang-rt-14-dev libomp-dev" >&2
  exit 2
fi
probe=$(mktemp -d)
trap 'rm -rf "$probe"' EXIT
printf '%s\n' '#include <cstddef>' '#include <cstdint>' \
  'extern "C" int LLVMFuzzerTestOneInput(const uint8_t *, size_t) { return 0; }' > "$probe/probe.cpp"
if ! clang++ -fsanitize=fuzzer,address,undefined "$probe/probe.cpp" -o "$probe/probe" >/dev/null 2>&1; then
  echo "fuzz.sh: clang++ cannot link libFuzzer; install: apt-get install libclang-rt-14-dev" >&2
  exit 2
fi

cmake -S "$root" -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVELMAR_FUZZ=ON -DVELMAR_BUILD_TESTS=OFF >/dev/null || exit 2
targets=
for h in $harnesses; do targets="$targets fuzz-$h"; done
# shellcheck disable=SC2086
cmake --build "$build" -j2 --target $targets || exit 2

mkdir -p "$build/logs" "$build/findings"

# One harness: fills its corpus, runs for the time given, reports in one line. Each runs on one
# thread (the landscapes and sums the harnesses reach use OpenMP), so as many run side by side as
# there are cores.
run_one() {
  h=$1
  corpus=$build/corpus/$h
  mkdir -p "$corpus"
  # Inputs are kept short enough for hundreds of runs a second; the real databases (150-200 kB)
  # seed them cut to that length.
  max_len=16384
  case $h in
    cif) seeds="$root/tests/data/corpus $root/examples"; max_len=65536 ;;
    cube) seeds="$root/fuzz/seeds/cube" ;;
    unitary | binary | symcards)
      seeds="$root/fuzz/seeds/$h"
      head -c $max_len "$root/data/database_$h.dat" > "$corpus/database_$h.dat" ;;
    *) echo "fuzz-$h: no such harness"; return 2 ;;
  esac
  existing=
  for s in $seeds; do [ -d "$s" ] && existing="$existing $s"; done
  log=$build/logs/$h.log
  # shellcheck disable=SC2086
  OMP_NUM_THREADS=1 "$build/fuzz/fuzz-$h" "$corpus" $existing -max_total_time="$seconds" \
    -max_len=$max_len -timeout=20 -rss_limit_mb=2048 -malloc_limit_mb=2048 -close_fd_mask=3 \
    -artifact_prefix="$build/findings/$h-" >"$log" 2>&1
  result=$?
  runs=$(grep -o 'Done [0-9]* runs' "$log" | tail -n 1)
  if [ $result -ne 0 ]; then
    echo "fuzz-$h: FOUND a problem (exit $result); see $log and build-fuzz/findings/"
    return 1
  fi
  echo "fuzz-$h: ${runs:-no summary} in $seconds s, nothing found"
}

cores=$(nproc 2>/dev/null || echo 1)
status=0
running=0
pids=
for h in $harnesses; do
  run_one "$h" &
  pids="$pids $!"
  running=$((running + 1))
  if [ $running -ge "$cores" ]; then
    for p in $pids; do wait "$p" || status=1; done
    pids=
    running=0
  fi
done
for p in $pids; do wait "$p" || status=1; done
exit $status
