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
# and checked in under 1 GB. Times are wall seconds; each run is repeated (RUNS, 3) and the
# fastest kept, since the machine is shared.
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

# Fastest wall seconds and largest peak KB of $runs runs of a command; a varkel run must stop
# after its input (status 255, "Done reading input files.").
# varkel refuses a run that asks for no analysis before it reads anything, so its runs ask for
# the TDT of a marker that is not in the map: all input is read and checked, then the marker
# is refused and the run stops without an analysis.
measure() {
    local best="" peak=0 i seconds kb status
    for ((i = 0; i < runs; i++)); do
        set +e
        /usr/bin/time -f "%e %M" -o run.time "$@" > run.log 2>&1
        status=$?
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
        read -r seconds kb < <(tail -1 run.time)
        if [ -z "$best" ] || awk -v a="$seconds" -v b="$best" 'BEGIN {exit !(a < b)}'; then best=$seconds; fi
        [ "$kb" -gt "$peak" ] && peak=$kb
    done
    echo "$best $peak"
}

# Writes data set $1 (families, persons, SNPs) and prints its figures.
data_set() {
    local families=$1 persons=$2 snps=$3 genotypes
    ./make_snp_families "$families" "$persons" "$snps" snp
    "$bin/makepedpseudo" snp.pre snp.post n > /dev/null
    plink1.9 --file snp --make-bed --out snp > /dev/null
    genotypes=$((families * persons * snps))
    cat snp.pre snp.post snp.bed > /dev/null  # page cache warm for every run

    result=$(measure plink1.9 --file snp --mendel --freq --out plink_text)
    read -r plink_text plink_text_kb <<< "$result"
    result=$(measure plink1.9 --bfile snp --mendel --freq --out plink_bed)
    read -r plink_bed plink_bed_kb <<< "$result"
    result=$(measure "$bin/varkel" --ped snp.pre --map snp.varkel.map "${read_only[@]}")
    read -r pre pre_kb <<< "$result"
    result=$(measure "$bin/varkel" --post --ped snp.post --map snp.varkel.map "${read_only[@]}")
    read -r post post_kb <<< "$result"
    result=$(measure "$bin/varkel" --bfile snp "${read_only[@]}")
    read -r bed bed_kb <<< "$result"

    echo "data: $families families x $persons persons x $snps SNPs = $genotypes genotypes" \
         "($(du -m snp.pre | cut -f1) MB pre-makeped file)"
    printf '%-40s %8s %10s %12s\n' "run" "seconds" "peak MB" "B/genotype*"
    row() {
        awk -v n="$1" -v s="$2" -v k="$3" -v g="$genotypes" 'BEGIN {
            mb = k / 1024; per = (k * 1024 - 64 * 1048576) / g
            printf "%-40s %8.2f %10.1f %12s\n", n, s, mb, (per > 0 ? sprintf("%.2f", per) : "<0") }'
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
        printf "pre-makeped / post-makeped: %6.2f (target <= 1)\n", pre / post
    }'
    last_peak_kb=$(printf '%s\n' "$pre_kb" "$post_kb" "$bed_kb" | sort -n | tail -1)
}

data_set "${FAMILIES:-1000}" "${PERSONS:-8}" "${SNPS:-1000}"
if [ "${BIG:-1}" != 0 ]; then
    echo
    data_set "${BIG_FAMILIES:-250}" 8 10000
    awk -v k="$last_peak_kb" 'BEGIN {printf "largest peak of 2,000 persons x 10,000 SNPs: %.0f MB (target < 1024)\n", k / 1024}'
fi
