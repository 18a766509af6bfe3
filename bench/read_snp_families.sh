#!/bin/bash
# SNP reading benchmark: nuclear families of SNP data are read and checked by varkel
# (pre-makeped file, post-makeped file, PLINK binary files) and by PLINK 1.9 (its Mendelian
# check and allele frequencies, from the text .ped and from the binary files), side by side.
#
#   bench/read_snp_families.sh [bin dir]        (default build/bin)
#
# FAMILIES (1000) families of PERSONS (8) persons and SNPS (1000) SNPs; BIG=0 skips the
# second data set, 2,000 persons x 10,000 SNPs (BIG_FAMILIES=250 families of 8).
# Targets: text input at most 5x PLINK's text time, --bfile at most 10x PLINK's --bfile time,
# peak memory at most 16 bytes per genotype beyond a fixed 64 MB, and the second data set read
# and checked in under 1 GB. Times are wall seconds; the runs are repeated in rounds (RUNS, 3)
# and each command's fastest kept, since the machine is shared.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
bin=$(cd "${1:-$here/../build/bin}" && pwd)
runs=${RUNS:-3}
out=$here/out/snp
mkdir -p "$out"
cd "$out"

for program in varkel makepedpseudo; do
    [ -x "$bin/$program" ] || { echo "missing $bin/$program (build it first)" >&2; exit 1; }
done
command -v plink1.9 > /dev/null || { echo "plink1.9 is not installed" >&2; exit 1; }
g++ -std=c++17 -O2 -o make_snp_families "$here/make_snp_families.cpp"
no_marker=no_such_marker
read_only=(--model snp.model --tdt --marker "$no_marker")

# One run of a command: its wall seconds (to the millisecond) and peak KB in once_seconds and
# once_kb. A varkel run must
# stop after its input (status 255, "Done reading input files.").
# varkel refuses a run that asks for no analysis before it reads anything, so its runs ask for
# the TDT of a marker that is not in the map: all input is read and checked, then the marker
# is refused and the run stops without an analysis.
run_once() {
    local start end status
    set +e
    start=$EPOCHREALTIME
    /usr/bin/time -f "%M" -o run.time "$@" > run.log 2>&1
    status=$?
    end=$EPOCHREALTIME
    set -e
    if [[ "$1" == */varkel ]]; then
        if [ "$status" -ne 255 ] || ! grep -q "Done reading input files." run.log ||
            ! grep -q "Cannot find given marker $no_marker" run.log; then
            echo "varkel did not read the input as expected (status $status):" >&2
            tail -5 run.log >&2
            exit 1
        fi
    elif [ "$status" -ne 0 ]; then
        echo "$1 failed (status $status)" >&2
        tail -5 run.log >&2
        exit 1
    fi
    once_kb=$(tail -1 run.time)
    once_seconds=$(awk -v a="$start" -v b="$end" 'BEGIN {printf "%.3f", b - a}')
}

# The runs of one data set, in rounds: each round runs every command once, so that a drift in
# the machine's speed falls on all of them alike. Per command the fastest of $runs runs and
# the largest peak are kept (best[i], peak[i]).
measure_rounds() {
    local commands=("$@") i round command
    best=(); peak=()
    for ((round = 0; round < runs; round++)); do
        for i in "${!commands[@]}"; do
            read -r -a command <<< "${commands[$i]}"
            run_once "${command[@]}"
            if [ -z "${best[$i]:-}" ] || awk -v a="$once_seconds" -v b="${best[$i]}" 'BEGIN {exit !(a < b)}'; then
                best[$i]=$once_seconds
            fi
            if [ "$once_kb" -gt "${peak[$i]:-0}" ]; then peak[$i]=$once_kb; fi
        done
    done
}

# Writes data set $1 (families, persons, SNPs) and prints its figures.
data_set() {
    local families=$1 persons=$2 snps=$3 genotypes
    ./make_snp_families "$families" "$persons" "$snps" snp
    "$bin/makepedpseudo" snp.pre snp.post n > /dev/null
    plink1.9 --file snp --make-bed --out snp > /dev/null
    genotypes=$((families * persons * snps))
    cat snp.pre snp.post snp.bed > /dev/null  # page cache warm for every run

    measure_rounds "plink1.9 --file snp --mendel --freq --out plink_text" \
        "plink1.9 --bfile snp --mendel --freq --out plink_bed" \
        "$bin/varkel --ped snp.pre --map snp.varkel.map ${read_only[*]}" \
        "$bin/varkel --post --ped snp.post --map snp.varkel.map ${read_only[*]}" \
        "$bin/varkel --bfile snp ${read_only[*]}"
    plink_text=${best[0]} plink_text_kb=${peak[0]}
    plink_bed=${best[1]} plink_bed_kb=${peak[1]}
    pre=${best[2]} pre_kb=${peak[2]}
    post=${best[3]} post_kb=${peak[3]}
    bed=${best[4]} bed_kb=${peak[4]}

    echo "data: $families families x $persons persons x $snps SNPs = $genotypes genotypes" \
         "($(du -m snp.pre | cut -f1) MB pre-makeped file)"
    printf '%-40s %8s %10s %12s\n' "run" "seconds" "peak MB" "B/genotype*"
    row() {
        awk -v n="$1" -v s="$2" -v k="$3" -v g="$genotypes" 'BEGIN {
            mb = k / 1024; per = (k * 1024 - 64 * 1048576) / g
            printf "%-40s %8.3f %10.1f %12s\n", n, s, mb, (per > 0 ? sprintf("%.2f", per) : "<0") }'
    }
    row "plink1.9 --file --mendel --freq" "$plink_text" "$plink_text_kb"
    row "plink1.9 --bfile --mendel --freq" "$plink_bed" "$plink_bed_kb"
    row "varkel pre-makeped (--ped)" "$pre" "$pre_kb"
    row "varkel post-makeped (--post --ped)" "$post" "$post_kb"
    row "varkel --bfile" "$bed" "$bed_kb"
    echo "* peak beyond a fixed 64 MB per genotype (target <= 16)"
    awk -v pre="$pre" -v post="$post" -v bed="$bed" -v pt="$plink_text" -v pb="$plink_bed" 'BEGIN {
        printf "pre-makeped / PLINK text:   %6.2f (target <= 5)\n", pre / pt
        printf "post-makeped / PLINK text:  %6.2f (target <= 5)\n", post / pt
        printf "--bfile / PLINK --bfile:    %6.2f (target <= 10)\n", bed / pb
        printf "pre-makeped / post-makeped: %6.3f (target <= 1)\n", pre / post
    }'
    last_peak_kb=$(printf '%s\n' "$pre_kb" "$post_kb" "$bed_kb" | sort -n | tail -1)
}

data_set "${FAMILIES:-1000}" "${PERSONS:-8}" "${SNPS:-1000}"
if [ "${BIG:-1}" != 0 ]; then
    echo
    data_set "${BIG_FAMILIES:-250}" 8 10000
    awk -v k="$last_peak_kb" 'BEGIN {printf "largest peak of 2,000 persons x 10,000 SNPs: %.0f MB (target < 1024)\n", k / 1024}'
fi
