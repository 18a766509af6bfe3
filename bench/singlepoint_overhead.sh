#!/bin/bash
# Singlepoint overhead benchmark: how much time varkel adds to the FASTLINK programs it runs.
# Simulated data, 50 families x 100 markers (tools/simulate_families), are analysed with
# `varkel --singlepoint` on the pre-MAKEPED file. varkel starts FASTLINK through the launchers
# "unknownvarkel" and "mlinkvarkel" found beside its own executable, so varkel and the
# converter are copied into a temporary directory together with timing launchers of those
# names, which start the FASTLINK programs through bench/timed_run; varkel itself is timed
# the same way, so that both times come from one clock and no shell is charged to either.
#
#   bench/singlepoint_overhead.sh [bin dir]        (default build/bin)
#
# Prints the total wall time, the summed wall time inside FASTLINK and the overhead
# (total - FASTLINK) / FASTLINK in percent. Target: at most 10%.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
bin=$(cd "${1:-$here/../build/bin}" && pwd)
families=${FAMILIES:-50}
markers=${MARKERS:-100}

for program in varkel makepedpseudo unknownvarkel mlinkvarkel; do
    [ -x "$bin/$program" ] || { echo "missing $bin/$program (build it first)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/varkel-overhead.XXXXXX")
trap '[ -n "${KEEP_WORK:-}" ] || rm -rf "$work"' EXIT
mkdir "$work/bin" "$work/run"

simulator=$bin/simulate_families
if [ ! -x "$simulator" ]; then
    g++ -std=c++17 -O2 -o "$work/simulate_families" "$here/../tools/simulate_families.cpp"
    simulator=$work/simulate_families
fi
"$simulator" --families "$families" --markers "$markers" --out-dir "$work/run" --prefix bench

cp "$bin/varkel" "$bin/makepedpseudo" "$work/bin/"
# Linked statically: its own start-up precedes the start stamp and would count as varkel's.
g++ -std=c++17 -O2 -static -o "$work/timed_run" "$here/timed_run.cpp"
log=$work/fastlink.times
: > "$log"
# Each timing launcher takes the place of varkel's launcher: a link to timed_run, which starts
# the FASTLINK program that the real launcher links to and records its wall time (on the
# monotonic clock, as the total below).
export TIMED_RUN_LOG=$log
for launcher in unknownvarkel mlinkvarkel; do
    program=$(readlink -f "$bin/$launcher")
    [ -x "$program" ] || { echo "cannot find the program started by $bin/$launcher" >&2; exit 1; }
    export "TIMED_RUN_$launcher=$program"
    ln -s "$work/timed_run" "$work/bin/$launcher"
done

cd "$work/run"
export PATH="$work/bin:$PATH"
set +e
"$work/timed_run" "$log" varkel "$work/bin/varkel" --ped bench.pre --map bench.map --model bench.model --singlepoint < /dev/null > varkel.log 2>&1
status=$?
set -e
if [ "$status" -ne 0 ]; then
    echo "varkel failed (status $status):" >&2
    tail -20 varkel.log >&2
    exit 1
fi

awk -v families="$families" -v markers="$markers" '
    $1 == "varkel" { total = $3 - $2; next }
    { inside += $3 - $2; calls[$1]++ }
    END {
        printf "data:                      %d families, %d markers (pre-MAKEPED file)\n", families, markers
        printf "FASTLINK runs:             %d unknownvarkel, %d mlinkvarkel\n", calls["unknownvarkel"], calls["mlinkvarkel"]
        printf "total wall time:           %.2f s\n", total
        printf "wall time inside FASTLINK: %.2f s\n", inside
        printf "varkel overhead:           %.2f s = %.1f%% of the FASTLINK time (target <= 10%%)\n",
               total - inside, (inside > 0 ? 100 * (total - inside) / inside : 0)
    }' "$log"
