#!/bin/bash
# Singlepoint overhead benchmark: how much time varkel adds to the FASTLINK programs it runs.
# Simulated data, 50 families x 100 markers (tools/simulate_families), are analysed with
# `varkel --singlepoint` on the pre-MAKEPED file. varkel starts FASTLINK through the launchers
# "unknownvarkel" and "mlinkvarkel" found beside its own executable, so varkel and the
# converter are copied into a temporary directory together with timing launchers of those
# names; each timing launcher records the wall time of the real launcher of <bin dir>.
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
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin" "$work/run"

simulator=$bin/simulate_families
if [ ! -x "$simulator" ]; then
    g++ -std=c++17 -O2 -o "$work/simulate_families" "$here/../tools/simulate_families.cpp"
    simulator=$work/simulate_families
fi
"$simulator" --families "$families" --markers "$markers" --out-dir "$work/run" --prefix bench

cp "$bin/varkel" "$bin/makepedpseudo" "$work/bin/"
log=$work/fastlink.times
: > "$log"
for launcher in unknownvarkel mlinkvarkel; do
    cat > "$work/bin/$launcher" <<LAUNCHER
#!/bin/sh
start=\$(date +%s.%N)
"$bin/$launcher" "\$@"
status=\$?
end=\$(date +%s.%N)
echo "$launcher \$start \$end" >> "$log"
exit \$status
LAUNCHER
    chmod +x "$work/bin/$launcher"
done

cd "$work/run"
export PATH="$work/bin:$PATH"
start=$(date +%s.%N)
set +e
"$work/bin/varkel" --ped bench.pre --map bench.map --model bench.model --singlepoint < /dev/null > varkel.log 2>&1
status=$?
set -e
end=$(date +%s.%N)
if [ "$status" -ne 0 ]; then
    echo "varkel failed (status $status):" >&2
    tail -20 varkel.log >&2
    exit 1
fi

awk -v start="$start" -v end="$end" -v families="$families" -v markers="$markers" '
    { inside += $3 - $2; calls[$1]++ }
    END {
        total = end - start
        printf "data:                      %d families, %d markers (pre-MAKEPED file)\n", families, markers
        printf "FASTLINK runs:             %d unknownvarkel, %d mlinkvarkel\n", calls["unknownvarkel"], calls["mlinkvarkel"]
        printf "total wall time:           %.2f s\n", total
        printf "wall time inside FASTLINK: %.2f s\n", inside
        printf "varkel overhead:           %.2f s = %.1f%% of the FASTLINK time (target <= 10%%)\n",
               total - inside, (inside > 0 ? 100 * (total - inside) / inside : 0)
    }' "$log"
