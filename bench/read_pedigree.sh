#!/bin/bash
# Input-reading benchmark: a post-makeped pedigree file of 1,000 pedigrees x 20 persons x
# 400 markers is read and checked by `varkel --post`. A run without an analysis is refused
# before any reading, so the run asks for the TDT of a marker that is not in the map: the input
# is read and checked, then the marker is refused and the run stops with status 255. Its wall
# time is compared with `awk '{n += NF} END {print n}'` on the same file, and its peak memory
# is divided by the number of stored (typed) genotypes.
#
#   bench/read_pedigree.sh [bin dir]        (default build/bin)
#
# Targets: at most 3x the awk wall time, at most 1 KiB peak memory per stored genotype.
#
# Then single large pedigrees without loops (LARGE_PEDIGREES persons each, default 20001 and
# 100001; about a third of them founders) are read and checked the same way, for the
# structure check's loop search. Targets: under 3 s for 20,001 persons, 15 s for 100,001.
# FAMILIES=0 skips the first part.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
bin=$(cd "${1:-$here/../build/bin}" && pwd)
pedigrees=${PEDIGREES:-1000}
markers=${MARKERS:-400}
out=$here/out
mkdir -p "$out"
cd "$out"

for program in varkel makepedpseudo; do
    [ -x "$bin/$program" ] || { echo "missing $bin/$program (build it first)" >&2; exit 1; }
done

g++ -std=c++17 -O2 -o make_pedigree_file "$here/make_pedigree_file.cpp"
read_only=(--tdt --marker no_such_marker)

# Wall seconds of a varkel run that reads the post-makeped file $1 with map $2 and model $3
# and stops after the input; the run's output goes to $4.
read_seconds() {
    local start end status
    start=$EPOCHREALTIME
    set +e
    "$bin/varkel" --post --ped "$1" --map "$2" --model "$3" "${read_only[@]}" > "$4" 2>&1
    status=$?
    set -e
    end=$EPOCHREALTIME
    if [ "$status" -ne 255 ] || ! grep -q "Done reading input files." "$4"; then
        echo "varkel did not read $1 as expected (status $status); see $4" >&2
        exit 1
    fi
    awk -v a="$start" -v b="$end" 'BEGIN {printf "%.2f", b - a}'
}

large_pedigrees() {
    local persons seconds target
    for persons in ${LARGE_PEDIGREES:-20001 100001}; do
        ./make_pedigree_file --one-pedigree "$persons" 10 one.pre one.map one.model
        "$bin/makepedpseudo" one.pre one.post n
        seconds=$(read_seconds one.post one.map one.model one.log)
        target=$([ "$persons" -le 20001 ] && echo 3 || echo 15)
        echo "one pedigree of $persons persons ($(awk '$3 == "0"' one.pre | wc -l) founders, 10 markers):" \
             "read and checked in $seconds s (target < $target s)"
    done
}

if [ "${FAMILIES:-1}" = 0 ]; then
    large_pedigrees
    exit 0
fi

./make_pedigree_file "$pedigrees" "$markers" bench.pre bench.map bench.model
start=$(date +%s.%N)
"$bin/makepedpseudo" bench.pre bench.post n
end=$(date +%s.%N)
echo "pedigree file: $out/bench.post ($(wc -l < bench.post) lines, $(du -m bench.post | cut -f1) MiB)"
echo "makepedpseudo conversion: $(awk -v a="$start" -v b="$end" 'BEGIN {printf "%.2f", b - a}') s"

# Genotypes that the reader stores: both alleles given (columns 11.. after the nine fixed
# columns and the affection status).
typed=$(awk -v m="$markers" '{for (i = 0; i < m; i++) if ($(11 + 2 * i) != "0" && $(12 + 2 * i) != "0") n++} END {print n}' bench.post)

# Warm the page cache so that both timed runs read from memory.
cat bench.post > /dev/null

/usr/bin/time -f "%e %U %S" -o awk.time awk '{n += NF} END {print n}' bench.post > /dev/null
awk_seconds=$(cut -d' ' -f1 awk.time)
awk_cpu=$(awk '{print $2 + $3}' awk.time)

# Each output line is stamped with the seconds since the start, to show where the time goes.
stamp() {
    local start=$EPOCHREALTIME line
    while IFS= read -r line; do
        printf '%8.2f %s\n' "$(awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN {print b - a}')" "$line"
    done
}
set +e
{ /usr/bin/time -v -o varkel.time "$bin/varkel" --post --ped bench.post --map bench.map --model bench.model \
    "${read_only[@]}" 2>&1; echo "exit status $?"; } | stamp > varkel.log
status=$(awk '/exit status/ {print $NF}' varkel.log)
set -e
if [ "$status" -ne 255 ] || ! grep -q "Done reading input files." varkel.log; then
    echo "varkel did not read the input as expected (status $status); see $out/varkel.log" >&2
    tail -20 varkel.log >&2
    exit 1
fi
wall=$(awk -F': ' '/Elapsed \(wall clock\)/ {print $2}' varkel.time)
cpu=$(awk -F': ' '/User time/ {u = $2} /System time/ {s = $2} END {print u + s}' varkel.time)
# m:ss.ss or h:mm:ss to seconds
varkel_seconds=$(echo "$wall" | awk -F: '{s = 0; for (i = 1; i <= NF; i++) s = s * 60 + $i; print s}')
rss_kib=$(awk -F': ' '/Maximum resident set size/ {print $2}' varkel.time)

echo "stages of the varkel run (seconds since start, line printed):"
grep -E "Reading pedigree file|Total number of persons|Checking Mendelian|Collapsing alleles|Reading model file|Done reading input|exit status" varkel.log
echo "awk '{n += NF}' wall time:      $awk_seconds s"
echo "awk cpu time (user + sys):      $awk_cpu s"
echo "varkel --post read wall time:   $varkel_seconds s"
echo "varkel cpu time (user + sys):   $cpu s"
echo "varkel peak RSS:                $rss_kib KiB"
echo "typed genotypes:                $typed"
awk -v v="$varkel_seconds" -v a="$awk_seconds" -v vc="$cpu" -v ac="$awk_cpu" -v r="$rss_kib" -v g="$typed" 'BEGIN {
    printf "time ratio varkel/awk:         %.2f (target <= 3)\n", (a > 0 ? v / a : 0)
    printf "cpu time ratio varkel/awk:     %.2f (wall time suffers on a loaded machine)\n", (ac > 0 ? vc / ac : 0)
    printf "peak KiB per stored genotype:  %.3f (target <= 1)\n", r / g
}'

large_pedigrees
