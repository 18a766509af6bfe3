#!/bin/bash
# The likelihood engines side by side, each figure next to its reference, all at --jobs 2:
#
#   1. the shipped example's window-3 multipoint scan with --engine fastlink and with the
#      default (auto): wall time, peak memory, their ratio (target: at least 10);
#   2. the window-4 scan (target: under 60 s) and the whole-chromosome scan, --wsize 0 (target:
#      under 30 s), with how their time divides between the native engine and FASTLINK jobs;
#   3. the singlepoint scan of bench/fastlink_scan.sh (50 families x 100 markers of 6 to 12
#      alleles, --singlepoint --nuclear --hlod) with both settings (target: at least 5);
#   4. agreement: every row of the LOD tables of the two settings, per pedigree and totals
#      (largest difference; targets 1e-5 and 1e-4), and the example's singlepoint scan at
#      every theta.
#
#   bench/engines.sh [bin dir]        (default build/bin)
#
# SKIP_FASTLINK_WINDOW3=1 leaves out the slow reference run of 1 (its ratio is then not shown).
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
bin=$(cd "${1:-$here/../build/bin}" && pwd)
[ -x "$bin/varkel" ] || { echo "missing $bin/varkel (build it first)" >&2; exit 1; }
work=$(mktemp -d "${TMPDIR:-/tmp}/varkel-engines-XXXXXX")
trap 'rm -rf "$work"' EXIT
cp "$here/../examples/example."{pre,map,model} "$work/"
cd "$work"

# run LABEL ARGS...: varkel with ARGS, its wall time and peak memory into LABEL.time.
run() {
    local label=$1
    shift
    /usr/bin/time -f "%e %M" -o "$label.time" "$bin/varkel" "$@" --jobs 2 --verbose --prefix "$label" \
        < /dev/null > "$label.log" 2>&1 || { tail -n 20 "$label.log"; echo "varkel failed: $label" >&2; exit 1; }
}
seconds() { cut -d' ' -f1 "$1.time"; }
memory() { awk '{ printf "%.0f MB", $2 / 1024 }' "$1.time"; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.1f", a / b }'; }
# The largest LOD difference between two tables, per pedigree and over the totals (rows keyed
# by every column before "lod"; impossible points must be impossible in both).
agreement() {
    awk -F'\t' '
        FNR == 1 { for (i = 1; i <= NF; ++i) if ($i == "lod") col = i; next }
        { key = ""; for (i = 1; i < col; ++i) key = key $i SUBSEP }
        FILENAME == ARGV[1] { ref[key] = $col; next }
        {
            if (!(key in ref)) { missing++; next }
            seen[key] = 1
            a = ref[key]; b = $col
            if (a == "NA" || b == "NA" || a < -1e15 || b < -1e15 || a == "-Inf" || b == "-Inf") {
                if ((a == "NA") != (b == "NA") || (a < -1e15 || a == "-Inf") != (b < -1e15 || b == "-Inf")) bad++
                next
            }
            d = a - b; if (d < 0) d = -d
            if (index(key, SUBSEP "ALL" SUBSEP)) { if (d > total) total = d } else if (d > pedigree) pedigree = d
        }
        END {
            for (k in ref) if (!(k in seen)) missing++
            printf "per pedigree %.2g (1e-5), totals %.2g (1e-4), rows missing %d, impossible points differing %d\n",
                pedigree, total, missing, bad
        }' "$1" "$2"
}
split_times() { grep "^Time:" "$1.log" | tail -n 1 | sed 's/^Time: //'; }

example=(--ped example.pre --map example.map --model example.model)
echo "Shipped example: 30 pedigrees, 12 markers; engine choice of the default:"
run w3_auto "${example[@]}" --multipoint --wsize 3
grep "^Likelihoods" w3_auto.log | head -n 1 | sed 's/^/  /'
if [ "${SKIP_FASTLINK_WINDOW3:-0}" != 1 ]; then
    run w3_fastlink "${example[@]}" --multipoint --wsize 3 --engine fastlink
    printf "%-44s %9s s  %9s   (ratio %s, target >= 10)\n" "window 3, --engine fastlink / auto" \
        "$(seconds w3_fastlink)" "$(seconds w3_auto)" "$(ratio "$(seconds w3_fastlink)" "$(seconds w3_auto)")"
    printf "%-44s %9s   %9s\n" "  peak memory" "$(memory w3_fastlink)" "$(memory w3_auto)"
    echo "  agreement of _multipoint.tsv: $(agreement w3_fastlink_multipoint.tsv w3_auto_multipoint.tsv)"
fi
printf "%-44s %9s s  (%s; %s)\n" "window 3, auto" "$(seconds w3_auto)" "$(memory w3_auto)" "$(split_times w3_auto)"
run w4_auto "${example[@]}" --multipoint --wsize 4
printf "%-44s %9s s  (target < 60 s; %s; %s)\n" "window 4, auto" "$(seconds w4_auto)" "$(memory w4_auto)" \
    "$(split_times w4_auto)"
run w0_auto "${example[@]}" --multipoint --wsize 0
printf "%-44s %9s s  (target < 30 s; %s; %s)\n" "whole chromosome (--wsize 0), auto" "$(seconds w0_auto)" \
    "$(memory w0_auto)" "$(split_times w0_auto)"
grep "^Likelihoods" w0_auto.log | head -n 1 | sed 's/^/  /'

run sp_fastlink "${example[@]}" --singlepoint --nuclear --engine fastlink
run sp_auto "${example[@]}" --singlepoint --nuclear
echo "Example singlepoint (whole and nuclear), every theta: $(agreement sp_fastlink_lod.tsv sp_auto_lod.tsv)"

mkdir scan
"$bin/simulate_families" --families 50 --markers 100 --disease-after 5 --min-alleles 6 --max-alleles 12 \
    --out-dir scan --prefix scan > /dev/null
scan=(--ped scan/scan.pre --map scan/scan.map --model scan/scan.model --singlepoint --nuclear --hlod)
run scan_fastlink "${scan[@]}" --engine fastlink
run scan_auto "${scan[@]}"
printf "%-44s %9s s  %9s   (ratio %s, target >= 5)\n" "singlepoint scan, --engine fastlink / auto" \
    "$(seconds scan_fastlink)" "$(seconds scan_auto)" "$(ratio "$(seconds scan_fastlink)" "$(seconds scan_auto)")"
printf "%-44s %9s   %9s\n" "  peak memory" "$(memory scan_fastlink)" "$(memory scan_auto)"
grep "^Likelihoods" scan_auto.log | sed 's/^/  /'
echo "  agreement of _lod.tsv: $(agreement scan_fastlink_lod.tsv scan_auto_lod.tsv)"
