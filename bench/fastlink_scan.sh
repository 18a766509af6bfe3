#!/bin/bash
# FASTLINK scan benchmark: a singlepoint scan of simulated data (50 families x 100 markers of 6
# to 12 alleles, tools/simulate_families) with `varkel --singlepoint --nuclear --hlod`, measured
# four ways:
#
#   1. wall time at --jobs 1 and at --jobs 2, and their ratio (target: at most 0.55);
#   2. the share of the --jobs 1 run spent outside FASTLINK (target: under 10%). varkel starts
#      FASTLINK through the launchers "unknownvarkel" and "mlinkvarkel" found beside its own
#      executable, so varkel and the converter are copied into a bin directory of the benchmark
#      together with timing launchers of those names: links to bench/timed_run, which start the
#      FASTLINK programs and log their wall times on the monotonic clock. varkel itself is timed
#      the same way, so both times come from one clock and no shell is charged to either;
#   3. against running FASTLINK the old way: the scan's runs one at a time, in one directory on
#      disk, fsync left on. Capture launchers (in a second bin directory) copy every job's
#      pedfile.dat and datafile.dat into a store, one capture run of varkel per marker so that
#      each job is known by its marker; the jobs are then replayed with the FASTLINK programs
#      themselves. Since varkel lumps the alleles that a pedigree batch does not carry, every
#      replayed datafile is checked for all the study's alleles of its marker, and the runs that
#      have fewer are counted and shown (target: --jobs 1 at most 0.6 of the old way);
#   4. the reports of --jobs 1 and --jobs 2 are compared, lines holding a date left out.
#
#   bench/fastlink_scan.sh [bin dir]        (default build/bin)
#
# FAMILIES and MARKERS in the environment change the size of the data; REPLAY_DIR names a
# directory on disk for the old way's runs (default: the work directory when that is not a
# memory file system, else /var/tmp); KEEP_WORK keeps the work directory.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
bin=$(cd "${1:-$here/../build/bin}" && pwd)
families=${FAMILIES:-50}
markers=${MARKERS:-100}
min_alleles=6
max_alleles=12
# A fixed seed: the reports state the seed, which would otherwise be each run's clock.
scan=(--ped scan.pre --map scan.map --model scan.model --singlepoint --nuclear --hlod --seed 1)

for program in varkel makepedpseudo unknownvarkel mlinkvarkel; do
    [ -x "$bin/$program" ] || { echo "missing $bin/$program (build it first)" >&2; exit 1; }
done
unknown=$(readlink -f "$bin/unknownvarkel")
mlink=$(readlink -f "$bin/mlinkvarkel")
for program in "$unknown" "$mlink"; do
    [ -x "$program" ] || { echo "cannot find the FASTLINK program $program started by a launcher in $bin" >&2; exit 1; }
done

. "$here/fastlink_common.sh"
make_work_dirs varkel-fastlink-scan "old-way runs"

# --- Data --------------------------------------------------------------------------------------
mkdir "$work/data"
simulator=$bin/simulate_families
if [ ! -x "$simulator" ] || [[ "$("$simulator" --help)" != *--min-alleles* ]]; then
    g++ -std=c++17 -O2 -o "$work/simulate_families" "$here/../tools/simulate_families.cpp"
    simulator=$work/simulate_families
fi
disease_after=$(( markers > 5 ? 5 : markers - 1 ))
"$simulator" --families "$families" --markers "$markers" --disease-after "$disease_after" \
    --min-alleles "$min_alleles" --max-alleles "$max_alleles" --out-dir "$work/data" --prefix scan > /dev/null
persons=$(wc -l < "$work/data/scan.pre")

# The alleles of every marker in the study: the distinct alleles of its columns in the pedigree
# file (the map lists the markers in the order of the columns).
awk 'NR == FNR { if (FNR > 1) name[FNR - 1] = $3; next }
     { for (m = 1; 6 + 2 * m <= NF; ++m)
           for (k = 5 + 2 * m; k <= 6 + 2 * m; ++k)
               if ($k != 0 && !((m, $k) in seen)) { seen[m, $k] = 1; count[m]++ } }
     END { for (m = 1; m in name; ++m) print name[m], count[m] + 0 }' \
    "$work/data/scan.map" "$work/data/scan.pre" > "$work/study.alleles"
read -r fewest most < <(awk 'NR == 1 || $2 < lo { lo = $2 } NR == 1 || $2 > hi { hi = $2 } END { print lo, hi }' \
    "$work/study.alleles")

# --- Programs ----------------------------------------------------------------------------------
# Linked statically: its own start-up precedes the start stamp and would count as varkel's.
g++ -std=c++17 -O2 -static -o "$work/timed_run" "$here/timed_run.cpp"

mkdir "$work/timed-bin" "$work/capture-bin"
cp "$bin/varkel" "$bin/makepedpseudo" "$work/timed-bin/"
cp "$bin/varkel" "$bin/makepedpseudo" "$work/capture-bin/"
export TIMED_RUN_unknownvarkel=$unknown TIMED_RUN_mlinkvarkel=$mlink
ln -s "$work/timed_run" "$work/timed-bin/unknownvarkel"
ln -s "$work/timed_run" "$work/timed-bin/mlinkvarkel"

# Capture launcher: with --jobs 1 the programs of one job follow each other ([UNKNOWN -l],
# UNKNOWN, MLINK), so a job starts with the first UNKNOWN that does not follow loop breaking.
# Its input files are copied before loop breaking rewrites pedfile.dat.
cat > "$work/capture_launcher" <<'EOF'
#!/bin/bash
set -euo pipefail
store=$CAPTURE_STORE
name=${0##*/}
last=0
[ -e "$store/last" ] && last=$(cat "$store/last")
job=$(printf '%s/%05d' "$store" "$last")
new_job() {
    if [ "$last" -gt 0 ] && [ ! -e "$job/program" ]; then
        echo "capture: job $last ended without its likelihood program" >&2
        exit 70
    fi
    last=$((last + 1))
    job=$(printf '%s/%05d' "$store" "$last")
    mkdir "$job"
    cp pedfile.dat datafile.dat "$job/"
    echo "$CAPTURE_MARKER" > "$job/marker"
    echo "$last" > "$store/last"
    if [ ! -e "$store/scratch" ]; then
        printf '%s\n%s (%s)\n%s\n' "$(dirname "$PWD")" "$(df --output=fstype . | tail -1)" \
            "$(stat -f -c %T .)" "${LD_PRELOAD:-}" > "$store/scratch"
    fi
}
case "$name" in
    unknownvarkel)
        if [ "${1:-}" = -l ]; then
            new_job
            touch "$job/loops" "$store/loops-broken"
        elif [ -e "$store/loops-broken" ]; then
            rm "$store/loops-broken"
        else
            new_job
        fi
        program=$CAPTURE_unknownvarkel ;;
    *)
        if [ "$last" -eq 0 ] || [ -e "$job/program" ] || [ -e "$store/loops-broken" ]; then
            echo "capture: $name started out of the order [UNKNOWN -l], UNKNOWN, $name" >&2
            exit 70
        fi
        echo "$name" > "$job/program"
        program_variable=CAPTURE_$name
        program=${!program_variable} ;;
esac
exec "$program" "$@"
EOF
chmod +x "$work/capture_launcher"
export CAPTURE_STORE=$work/store CAPTURE_unknownvarkel=$unknown CAPTURE_mlinkvarkel=$mlink
ln -s "$work/capture_launcher" "$work/capture-bin/unknownvarkel"
ln -s "$work/capture_launcher" "$work/capture-bin/mlinkvarkel"
mkdir "$work/store"

# --- Capture (also warms the page cache for the timed runs) ------------------------------------
mkdir "$work/capture"
cp "$work/data"/scan.* "$work/capture/"
while read -r marker _; do
    set +e
    (cd "$work/capture" && CAPTURE_MARKER=$marker "$work/capture-bin/varkel" "${scan[@]}" --jobs 1 --marker "$marker" \
        < /dev/null > varkel.log 2>&1)
    status=$?
    set -e
    [ "$status" -eq 0 ] || fail_with_log "capture run of varkel for marker $marker" "$status" "$work/capture/varkel.log"
done < "$work/study.alleles"
[ ! -e "$work/store/loops-broken" ] || { echo "capture: the last job has no UNKNOWN after loop breaking" >&2; exit 1; }
jobs=$(cat "$work/store/last")
loop_jobs=$(find "$work/store" -name loops | wc -l)
{ read -r scratch; read -r scratch_file_system; read -r preload || true; } < "$work/store/scratch"

# --- The scan at --jobs 1 and --jobs 2 ---------------------------------------------------------
for parallel in 1 2; do
    dir=$work/jobs$parallel
    mkdir "$dir"
    cp "$work/data"/scan.* "$dir/"
    : > "$work/jobs$parallel.times"
    set +e
    (cd "$dir" && TIMED_RUN_LOG=$work/jobs$parallel.times "$work/timed_run" "$work/jobs$parallel.times" varkel \
        "$work/timed-bin/varkel" "${scan[@]}" --jobs "$parallel" < /dev/null > varkel.log 2>&1)
    status=$?
    set -e
    [ "$status" -eq 0 ] || fail_with_log "varkel --jobs $parallel" "$status" "$dir/varkel.log"
done

# The replay stands for the scan only if the capture saw the same FASTLINK runs.
read -r total1 inside1 unknown_calls mlink_calls < <(awk '
    $1 == "varkel" { total = $3 - $2; next }
    { inside += $3 - $2; calls[$1]++ }
    END { printf "%.6f %.6f %d %d\n", total, inside, calls["unknownvarkel"], calls["mlinkvarkel"] }' \
    "$work/jobs1.times")
total2=$(awk '$1 == "varkel" { printf "%.6f\n", $3 - $2 }' "$work/jobs2.times")
if [ "$unknown_calls" -ne $((jobs + loop_jobs)) ] || [ "$mlink_calls" -ne "$jobs" ]; then
    echo "the capture runs saw $((jobs + loop_jobs)) UNKNOWN and $jobs MLINK runs, the scan" \
         "$unknown_calls and $mlink_calls: the replay would not be the scan's runs" >&2
    exit 1
fi

# --- Alleles of the captured runs --------------------------------------------------------------
# A run holds all alleles of its marker when its datafile lists as many alleles as the study
# has and its pedfile carries every one of them (a lumped allele is carried by nobody).
downcoded=0
examples=()
for job in "$work/store"/[0-9]*/; do
    [ "$(cat "$job/program")" = mlinkvarkel ] || { echo "captured job $job ran $(cat "$job/program")" >&2; exit 1; }
    marker=$(cat "$job/marker")
    study=$(awk -v m="$marker" '$1 == m { print $2 }' "$work/study.alleles")
    listed=$(awk '
        NR == 1 { loci = $1; sexlinked = $3; next }
        NR <= 3 { next }
        skip > 0 { skip--; next }
        expect == "trait frequencies" { expect = "classes"; next }
        expect == "classes" { skip = $1 * (sexlinked ? 2 : 1); expect = ""; next }
        expect == "marker frequencies" { if (NF != alleles) bad = 1; expect = ""; next }
        locus < loci {
            ++locus
            if ($1 == 1) expect = "trait frequencies"
            else if ($1 == 3) { alleles = $2; ++numbered; expect = "marker frequencies" }
            else bad = 1
            next
        }
        END { if (bad || numbered != 1) print "unreadable"; else print alleles }' "$job/datafile.dat")
    [ "$listed" != unreadable ] || { echo "cannot read the marker locus of $job/datafile.dat" >&2; exit 1; }
    carried=$(awk '{ for (k = NF - 1; k <= NF; ++k) if ($k != 0 && !($k in seen)) { seen[$k] = 1; ++n } }
                   END { print n + 0 }' "$job/pedfile.dat")
    if [ "$listed" -ne "$study" ] || [ "$carried" -ne "$listed" ]; then
        downcoded=$((downcoded + 1))
        pedigrees=$(awk '!($1 in seen) { seen[$1] = 1; ++n } END { print n + 0 }' "$job/pedfile.dat")
        [ "${#examples[@]}" -ge 3 ] || examples+=("marker $marker: $listed alleles listed, $carried carried, $study in the study ($pedigrees pedigrees)")
    fi
done

# --- The old way: every run at a time, on disk, with fsync ------------------------------------
if [ -n "${REPLAY_DIR:-}" ]; then
    replay=$(mktemp -d "$REPLAY_DIR/varkel-fastlink-replay.XXXXXX")
    outside_work=$replay
elif ! in_memory "$work"; then
    replay=$work/replay
    mkdir "$replay"
else
    replay=$(mktemp -d /var/tmp/varkel-fastlink-replay.XXXXXX)
    outside_work=$replay
fi
if in_memory "$replay"; then
    echo "the old-way runs need a directory on disk, but $replay is on $(file_system "$replay"); set REPLAY_DIR" >&2
    exit 1
fi
cat > "$work/replay.sh" <<'EOF'
#!/bin/bash
# Runs every captured job in one directory: [UNKNOWN -l], UNKNOWN, MLINK.
set -euo pipefail
store=$1 dir=$2 unknown=$3 mlink=$4
cd "$dir"
for job in "$store"/[0-9]*/; do
    rm -f -- ./*
    cp "$job/pedfile.dat" "$job/datafile.dat" .
    if [ -e "$job/loops" ]; then
        "$unknown" -l < /dev/null > /dev/null 2>&1 || { echo "UNKNOWN -l failed on $job" >&2; exit 1; }
        mv lpedfile.dat pedfile.dat
    fi
    "$unknown" < /dev/null > /dev/null 2>&1 || { echo "UNKNOWN failed on $job" >&2; exit 1; }
    "$mlink" < /dev/null > /dev/null 2>&1 || { echo "MLINK failed on $job" >&2; exit 1; }
    [ -s outfile.dat ] || { echo "MLINK wrote no outfile.dat for $job" >&2; exit 1; }
done
EOF
: > "$work/replay.times"
env -u LD_PRELOAD "$work/timed_run" "$work/replay.times" replay /bin/bash "$work/replay.sh" \
    "$work/store" "$replay" "$unknown" "$mlink"
old_way=$(awk '$1 == "replay" { printf "%.6f\n", $3 - $2 }' "$work/replay.times")

# --- Reports of --jobs 1 and --jobs 2 ----------------------------------------------------------
# Report headers ("Date : ...") and plot titles carry the ctime of the run.
date_line='(Mon|Tue|Wed|Thu|Fri|Sat|Sun) (Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}'
differing=()
compared=0
for report in "$work/jobs1"/varkel_*; do
    [ -e "$report" ] || continue
    name=${report##*/}
    if [ -e "$work/jobs2/$name" ]; then
        compared=$((compared + 1))
        cmp -s <(grep -Ev "$date_line" "$report") <(grep -Ev "$date_line" "$work/jobs2/$name") || differing+=("$name")
    else
        differing+=("$name (only --jobs 1)")
    fi
done
for report in "$work/jobs2"/varkel_*; do
    [ -e "$report" ] || continue
    name=${report##*/}
    [ -e "$work/jobs1/$name" ] || differing+=("$name (only --jobs 2)")
done

# --- Figures -----------------------------------------------------------------------------------
eatmydata=$(eatmydata_library)
echo "data:                        $families families, $persons persons, $markers markers of $min_alleles to $max_alleles alleles" \
     "($fewest to $most in the pedigree file), simulated"
echo "varkel's scratch directory:  $scratch on $scratch_file_system [/dev/shm: $(stat -f -c %T /dev/shm)]"
echo "libeatmydata:                ${eatmydata:-not installed}; FASTLINK's LD_PRELOAD: ${preload:-none}"
echo "FASTLINK runs of the scan:   $jobs jobs ($loop_jobs with loop breaking): $unknown_calls UNKNOWN, $mlink_calls MLINK"
echo
awk -v t1="$total1" -v t2="$total2" -v inside="$inside1" '
    function verdict(ok) { return ok ? "met" : "NOT met" }
    BEGIN {
        printf "scan wall time, --jobs 1:    %.2f s\n", t1
        printf "scan wall time, --jobs 2:    %.2f s\n", t2
        printf "jobs2 / jobs1:               %.3f (target <= 0.55: %s)\n", t2 / t1, verdict(t2 / t1 <= 0.55)
        print ""
        print "time outside FASTLINK, measured in the same --jobs 1 run through timing launchers:"
        printf "  inside FASTLINK:           %.2f s\n", inside
        printf "  outside FASTLINK:          %.2f s = %.1f%% of the total (target < 10%%: %s)\n",
               t1 - inside, 100 * (t1 - inside) / t1, verdict((t1 - inside) / t1 < 0.10)
    }'
echo
echo "the old way (the scan's runs one at a time, with all alleles, in one directory on disk, fsync on):"
echo "  directory:                 $replay on $(file_system "$replay")"
if [ "$downcoded" -eq 0 ]; then
    echo "  runs replayed:             $jobs, every one with all alleles of its marker"
else
    echo "  runs replayed:             $jobs, of which $downcoded DOWNCODED: the alleles their pedigree batch does"
    echo "                             not carry are lumped into one, so these runs are shorter than with all"
    echo "                             alleles and the old way's time below is if anything too short; e.g."
    for example in "${examples[@]}"; do echo "                               $example"; done
fi
awk -v t1="$total1" -v old="$old_way" 'BEGIN {
    printf "  wall time:                 %.2f s\n", old
    printf "jobs1 / old way:             %.3f (target <= 0.6: %s)\n", t1 / old, (t1 / old <= 0.6 ? "met" : "NOT met")
}'
echo
if [ "${#differing[@]}" -eq 0 ] && [ "$compared" -gt 0 ]; then
    echo "reports of --jobs 1 and --jobs 2: reports identical ($compared files, lines with a date left out)"
else
    echo "reports of --jobs 1 and --jobs 2 DIFFER ($compared files compared): ${differing[*]:-no reports written}"
fi
