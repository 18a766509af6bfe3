#!/bin/bash
# One scan over several MPI ranks: a genome made of copies of the shipped example (examples/:
# 30 families, 362 persons, 12 markers of 4 to 10 alleles on one chromosome), each copy one
# chromosome of its own, scanned with `varkel --multipoint --wsize 4` (window and analyses
# chosen by WSIZE and ANALYSES), measured two ways:
#
#   1. for real on this machine: wall time of `mpirun -np 1` and `mpirun -np 2`, each rank with
#      --jobs 1 (bench/timed_run, monotonic clock), and the reports of the two runs compared
#      (dates aside);
#   2. simulated: from the time of every piece of the -np 1 run (--piece-times), the makespan of
#      rank 0's schedule (largest estimated piece first, each to the rank that is free first,
#      one part of the run after the other) on 16, 64 and 256 ranks of --jobs 1. With GENOME
#      above CHROMOSOMES, also for a genome whose pieces are the measured ones repeated (every
#      chromosome is the same example), the time outside the pieces (reading, planning,
#      reports) scaled by the genome's size. The largest single piece is the floor of any
#      schedule.
#
#   bench/mpi_scan.sh [bin dir]        (default build/bin)
#
# CHROMOSOMES (default 22) measured for real; GENOME (default CHROMOSOMES); WSIZE (default 4); ANALYSES
# (default "--multipoint"); RANKS (default "2 16 64 256": 2 to set beside the measured -np 2);
# KEEP_WORK keeps the work directory with the tables of piece times. Run it under the CPU lock.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
bin=$(cd "${1:-$here/../build/bin}" && pwd)
chromosomes=${CHROMOSOMES:-22}
genome=${GENOME:-$chromosomes}
wsize=${WSIZE:-4}
analyses=${ANALYSES:---multipoint}
ranks_list=${RANKS:-2 16 64 256}
[ -x "$bin/varkel" ] || { echo "missing $bin/varkel (build it first)" >&2; exit 1; }
command -v mpirun > /dev/null || { echo "mpirun is not installed (scripts/setup-deps installs it)" >&2; exit 1; }
work=$(mktemp -d "${TMPDIR:-/tmp}/varkel-mpi-XXXXXX")
if [ -n "${KEEP_WORK:-}" ]; then echo "work directory: $work"; else trap 'rm -rf "$work"' EXIT; fi
cd "$work"
g++ -std=c++17 -O2 -o timed_run "$here/timed_run.cpp"

# The genome: every chromosome the example's markers with the example's genotypes.
examples=$here/../examples
awk -v n="$chromosomes" '{
    line = $1 " " $2 " " $3 " " $4 " " $5 " " $6
    for (c = 1; c <= n; ++c) for (i = 7; i <= NF; ++i) line = line " " $i
    print line
}' "$examples/example.pre" > genome.pre
awk -v n="$chromosomes" 'NR == 1 { print; next } { m[NR] = $0 } END {
    for (c = 1; c <= n; ++c) for (i = 2; i <= NR; ++i) { split(m[i], f, " "); print c, f[2], "c" c "_" f[3] }
}' "$examples/example.map" > genome.map
cp "$examples/example.model" genome.model
markers=$(( $(wc -l < genome.map) - 1 ))

root=()
[ "$(id -u)" -eq 0 ] && root=(--allow-run-as-root)
# scan RANKS: the scan on that many ranks, its wall time in np<RANKS>.time.
scan() {
    mkdir -p "np$1"
    (cd "np$1" && ../timed_run ../np"$1".time run "$(command -v mpirun)" "${root[@]}" -np "$1" "$bin/varkel" \
        --ped ../genome.pre --map ../genome.map --model ../genome.model $analyses --wsize "$wsize" --seed 1 \
        --jobs 1 --piece-times ../np"$1".tsv < /dev/null > console.txt 2>&1) ||
        { tail -n 20 "np$1/console.txt"; echo "varkel failed on $1 ranks" >&2; exit 1; }
}
wall() { awk '{ printf "%.1f", $3 - $2 }' "np$1.time"; }

echo "Input: $chromosomes x the example (30 families, 362 persons, $markers markers), $analyses --wsize $wsize, --jobs 1 per rank"
scan 1
scan 2
for report in np1/*; do
    name=$(basename "$report")
    [ "$name" = console.txt ] && continue
    cmp -s <(sed -E 's/[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} [0-9]{4}/DATE/' "$report") \
        <(sed -E 's/[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} [0-9]{4}/DATE/' "np2/$name") ||
        { echo "np2/$name differs from the one-process run's" >&2; exit 1; }
done
echo "Reports of -np 2 equal to -np 1's (dates aside): yes"
printf "%-34s %10s\n" "measured on this machine" "wall (s)" "mpirun -np 1" "$(wall 1)" "mpirun -np 2" "$(wall 2)"
awk -F'\t' 'NR > 1 { busy[$6] += $5 } END { for (r in busy) printf "  -np 2: rank %s computed for %.1f s\n", r, busy[r] }' np2.tsv | sort

python3 - "$(wall 1)" "$chromosomes" "$genome" $ranks_list <<'EOF'
import sys
from collections import defaultdict

wall, measured, genome = float(sys.argv[1]), int(sys.argv[2]), int(sys.argv[3])
rank_counts = [int(r) for r in sys.argv[4:]]
parts = defaultdict(list)  # part -> [(estimated cost, seconds, description)]
with open("np1.tsv") as table:
    next(table)
    for line in table:
        part, kind, piece, cost, seconds, rank, host, description = line.rstrip("\n").split("\t")
        parts[int(part)].append((float(cost), float(seconds), description))
inside = sum(s for pieces in parts.values() for _, s, _ in pieces)
outside = max(0.0, wall - inside)

def makespan(pieces, ranks):
    # Rank 0's schedule: largest estimate first (stable), each piece to the rank free first.
    free = [0.0] * ranks
    for cost, seconds, _ in sorted(pieces, key=lambda p: -p[0]):
        i = min(range(ranks), key=free.__getitem__)
        free[i] += seconds
    return max(free)

def scenario(copies):
    return {part: pieces * copies for part, pieces in parts.items()}

largest = max((p for pieces in parts.values() for p in pieces), key=lambda p: p[1])
print()
print(f"pieces of the measured run: {sum(len(p) for p in parts.values())} in {len(parts)} parts, "
      f"{inside:.1f} s of work; outside the pieces {outside:.1f} s")
print(f"largest single piece: {largest[1]:.2f} s ({largest[2]})")
scenarios = [(f"measured ({measured} chromosome{'s' if measured > 1 else ''})", 1)]
if genome > measured:
    scenarios.append((f"genome ({genome} chromosomes)", genome // measured))
for label, copies in scenarios:
    scaled = scenario(copies)
    serial = outside * copies
    work = sum(s for pieces in scaled.values() for _, s, _ in pieces)
    print()
    print(f"{label}: {sum(len(p) for p in scaled.values())} pieces, {work:.1f} s of work, "
          f"{serial:.1f} s outside the pieces{' (scaled)' if copies > 1 else ''}")
    print(f"{'ranks':>8} {'makespan (s)':>14} {'with the rest (s)':>18} {'speed-up':>9}")
    single = serial + work
    for ranks in [1] + rank_counts:
        span = sum(makespan(pieces, ranks) for pieces in scaled.values())
        print(f"{ranks:>8} {span:>14.1f} {serial + span:>18.1f} {single / (serial + span):>9.1f}")
EOF
