#!/bin/bash
# Multipoint window benchmark: the multipoint scans of the shipped example (examples/: 30
# families, 362 persons, 12 markers of 4 to 10 alleles, some pedigrees with marriage loops) with
# `varkel --multipoint --wsize 3` and `--wsize 4`, measured three ways:
#
#   1. wall time of each scan at --jobs 1 and at --jobs 2 (bench/timed_run, monotonic clock);
#   2. against running LINKMAP the plain way: for every window and trait position one run of
#      all the study's pedigrees, all alleles of every marker, one run at a time, in a directory
#      on disk, fsync left on: [UNKNOWN -l, when a pedigree has a loop; lpedfile.dat replaces
#      pedfile.dat], UNKNOWN, LINKMAP. Their input files are written by the Python program below
#      from the example (pedigrees converted by makepedpseudo, every marker's alleles numbered
#      1..n, frequencies = allele counts among all typed persons / total, the trait locus from
#      the model, recombination fractions from the map) in the layout of varkel's job files.
#      That layout is checked first: launchers beside a copy of varkel capture the pedfile.dat
#      and datafile.dat of every job of the first window (one varkel run with --onlymarkers),
#      which must equal the plain files but for the alleles varkel lumps per pedigree batch: the
#      frequencies of the alleles a batch carries must be the plain ones. That UNKNOWN -l
#      leaves the pedigrees without a loop as they are is checked as well, since the plain runs
#      pass every pedigree through it;
#   3. the total ln likelihood of every evaluation point of the plain runs (TOTALS in LINKMAP's
#      outfile.dat) against the -2 ln(like) of the same point in varkel's _multipoint.out.
#
# Targets: plain time / varkel time at --jobs 2 at least 5 for window 3; varkel's window-4 scan
# under 10 minutes at --jobs 2.
#
#   bench/multipoint_windows.sh [bin dir]        (default build/bin)
#
# WSIZES (default "3 4") and JOBS (default "1 2") choose the scans. PLAIN_POSITIONS limits the
# plain runs to that many trait positions per window size, spread evenly over the scan (default
# all; a plain run of a window-4 position can take minutes; 0 runs none): the plain time of the
# whole scan is then an estimate from the positions run. ONLYMARKERS (marker names, or an only-markers file
# of lines "chromosome position name") restricts every run to those markers. PLAIN_DIR names a
# directory on disk for the plain runs (default: the work directory when that is not a memory
# file system, else /var/tmp); KEEP_WORK keeps the work directory.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
bin=$(cd "${1:-$here/../build/bin}" && pwd)
examples=$here/../examples
wsizes=${WSIZES:-3 4}
jobs_list=${JOBS:-1 2}
plain_positions=${PLAIN_POSITIONS:-all}

for program in varkel makepedpseudo unknownvarkel linkmapvarkel; do
    [ -e "$bin/$program" ] || { echo "missing $bin/$program (build it first)" >&2; exit 1; }
done
unknown=$(readlink -f "$bin/unknownvarkel")
linkmap=$(readlink -f "$bin/linkmapvarkel")
for program in "$unknown" "$linkmap"; do
    [ -x "$program" ] || { echo "cannot find the FASTLINK program $program started by a launcher in $bin" >&2; exit 1; }
done
for file in example.pre example.map example.model; do
    [ -e "$examples/$file" ] || { echo "missing $examples/$file" >&2; exit 1; }
done
case "$plain_positions" in
    all) ;;
    *[!0-9]*|'') echo "PLAIN_POSITIONS must be a number or \"all\"" >&2; exit 2 ;;
esac
[ -n "${jobs_list// /}" ] || { echo "JOBS must name at least one number of jobs" >&2; exit 2; }
for parallel in $jobs_list; do
    case "$parallel" in
        *[!0-9]*|0) echo "JOBS must hold numbers of jobs (at least 1), not \"$parallel\"" >&2; exit 2 ;;
    esac
done

. "$here/fastlink_common.sh"
make_work_dirs varkel-multipoint-windows "plain runs"

# --- Programs ----------------------------------------------------------------------------------
cat > "$work/plain_inputs.py" <<'PYTHON'
"""Input files of the plain LINKMAP runs of a multipoint scan and the checks made with them.

  plain_inputs.py make <post-MAKEPED pedigree file> <map> <model> <window size> <steps> <out dir> [<only markers>]
  plain_inputs.py layout <out dir> <dir of captured jobs> <window>
  plain_inputs.py loopfree <pedfile.dat> <lpedfile.dat>
  plain_inputs.py compare <out dir> <multipoint report> <dir of outfiles named <window>-<position>.dat>

make writes, for the windows of <window size> adjacent markers, pedfile-<w>.dat (all pedigrees,
all alleles of the window's markers) and datafile-<w>-<t>.dat (the trait at position t), and the
lists "windows" (w and the window's markers), "alleles" (every marker's allele count), "loops"
(pedigrees with a loop) and "pedigrees" (pedigrees and persons).
"""
import math
import os
import re
import sys


def number_form(value):
    """A double as the locus files write it: 17 significant digits, trailing zeros dropped."""
    return format(value, ".17g")


def read_map(path):
    with open(path) as f:
        lines = [line.split() for line in f if line.strip()]
    haldane = "HALDANE" in " ".join(lines[0]).upper()
    markers = [(fields[2], float(fields[1])) for fields in lines[1:]]
    return haldane, markers


def recombination_fraction(haldane, centimorgans):
    if haldane:
        return 0.5 - 0.5 * math.exp(-2.0 * centimorgans / 100.0)
    e = math.exp(4.0 * centimorgans / 100.0)
    return 0.5 * (e - 1.0) / (e + 1.0)


def read_model(path):
    with open(path) as f:
        fields = f.read().split()
    xlinked, frequency, classes = int(fields[0]), float(fields[1]), int(fields[2])
    if xlinked != 0 or classes != 1:
        sys.exit("plain_inputs.py: only autosomal models with one liability class are written")
    penetrances = [float(value) for value in fields[3:6]]
    return frequency, penetrances


def allele_key(name):
    return (0, int(name), name) if name.lstrip("-").isdigit() else (1, 0, name)


def read_pedigrees(path, markers):
    """Post-MAKEPED lines as [pedigree, person, father, mother, first offspring, next paternal sib,
    next maternal sib, sex, proband, affection] + alleles, pedigrees and persons renumbered 1..n."""
    width = 10 + 2 * markers
    pedigrees = []  # [(label, [fields])]
    order = {}
    with open(path) as f:
        for line in f:
            fields = line.split()
            if not fields:
                continue
            if len(fields) < width:
                sys.exit("plain_inputs.py: %s has a line of %d fields, expected %d" % (path, len(fields), width))
            fields = fields[:width]
            if fields[0] not in order:
                order[fields[0]] = len(pedigrees)
                pedigrees.append((fields[0], []))
            pedigrees[order[fields[0]]][1].append(fields)
    result = []
    for number, (label, persons) in enumerate(pedigrees, start=1):
        index = {person[1]: str(k) for k, person in enumerate(persons, start=1)}
        index["0"] = "0"
        rows = []
        for person in persons:
            row = [str(number)] + [index[person[c]] for c in range(1, 7)] + person[7:]
            rows.append(row)
        result.append((label, rows))
    return result


def has_loop(rows):
    """A pedigree has a loop when its graph of persons and matings is not a forest."""
    parent = {}

    def find(x):
        while parent.setdefault(x, x) != x:
            parent[x] = parent[parent[x]]
            x = parent[x]
        return x

    edges = set()
    for row in rows:
        if row[2] != "0" and row[3] != "0":
            mating = ("m", row[2], row[3])
            edges.update({(("p", row[2]), mating), (("p", row[3]), mating), (mating, ("p", row[1]))})
    for a, b in edges:
        ra, rb = find(a), find(b)
        if ra == rb:
            return True
        parent[ra] = rb
    return False


def write_lines(path, text):
    with open(path, "w") as f:
        f.write(text)


def make(linkage, map_path, model_path, window_size, steps, out, only=None):
    haldane, markers = read_map(map_path)
    frequency, penetrances = read_model(model_path)
    pedigrees = read_pedigrees(linkage, len(markers))
    persons = [row for _, rows in pedigrees for row in rows]

    # Every marker's alleles numbered 1..n in the order of their names; frequencies are the
    # allele counts among all typed persons over the total.
    alleles = []
    for m in range(len(markers)):
        counts = {}
        for row in persons:
            for allele in row[10 + 2 * m:12 + 2 * m]:
                if allele != "0":
                    counts[allele] = counts.get(allele, 0) + 1
        names = sorted(counts, key=allele_key)
        total = sum(counts.values())
        alleles.append(({name: str(k) for k, name in enumerate(names, start=1)},
                        [counts[name] / total for name in names]))

    chosen = list(range(len(markers)))
    if only:
        with open(only) as f:
            wanted = [line.split()[2] for line in f if len(line.split()) >= 3]
        position = {name: m for m, (name, _) in enumerate(markers)}
        chosen = [position[name] for name in wanted if name in position]
    chosen = [m for m in chosen if len(alleles[m][1]) > 1]
    window_size = min(window_size, len(chosen))

    trait = "1 2\n%s %s \n1\n%s \n" % (number_form(1.0 - frequency), number_form(frequency),
                                       " ".join(number_form(p) for p in penetrances))
    loops = sum(1 for _, rows in pedigrees if has_loop(rows))
    os.makedirs(out, exist_ok=True)
    windows = []
    for w in range(1, len(chosen) - window_size + 2):
        columns = chosen[w - 1:w - 1 + window_size]
        windows.append("%d %s\n" % (w, " ".join(markers[m][0] for m in columns)))
        lines = []
        for row in persons:
            genotype = []
            for m in columns:
                numbers = alleles[m][0]
                genotype += [numbers.get(a, "0") for a in row[10 + 2 * m:12 + 2 * m]]
            lines.append("\t".join(row[:10]) + " " + "".join(a + " " for a in genotype) + "\n")
        write_lines(os.path.join(out, "pedfile-%d.dat" % w), "".join(lines))
        fractions = [recombination_fraction(haldane, markers[b][1] - markers[a][1])
                     for a, b in zip(columns, columns[1:])]
        locus_blocks = trait + "".join(
            "3 %d\n%s\n" % (len(alleles[m][1]), "".join(number_form(p) + " " for p in alleles[m][1]))
            for m in columns)
        k = window_size
        for t in range(k + 1):
            order = [m + 2 for m in range(k)]
            order.insert(t, 1)
            thetas = []
            stop = 0.5
            if t == 0:
                thetas.append(0.5)
                stop = 0.0001
            for i, r in enumerate(fractions):
                if t - 1 == i:
                    thetas.append(0.0)
                    stop = r
                thetas.append(r)
            if t == k:
                thetas.append(0.0)
                stop = 0.5
            text = ("%d 0 0 4\n0 0 0 0\n" % (k + 1) + "".join("%d " % o for o in order) + "\n" + locus_blocks +
                    "0 0\n" + "".join(number_form(r) + "  " for r in thetas) + "\n" +
                    "1 %s %d\n" % (number_form(stop), steps))
            write_lines(os.path.join(out, "datafile-%d-%d.dat" % (w, t)), text)
    write_lines(os.path.join(out, "windows"), "".join(windows))
    write_lines(os.path.join(out, "alleles"),
                "".join("%s %d\n" % (markers[m][0], len(alleles[m][1])) for m in chosen))
    write_lines(os.path.join(out, "loops"), "%d\n" % loops)
    write_lines(os.path.join(out, "pedigrees"), "%d %d\n" % (len(pedigrees), len(persons)))


def parse_locus_file(text):
    """Header lines, locus order, loci [(type, [frequencies], extra lines)], tail lines."""
    lines = text.split("\n")
    count = int(lines[0].split()[0])
    loci, at = [], 3
    for _ in range(count):
        kind, number = (int(v) for v in lines[at].split())
        frequencies = [float(v) for v in lines[at + 1].split()]
        extra = []
        at += 2
        if kind == 1:
            classes = int(lines[at].split()[0])
            extra = lines[at:at + 1 + classes]
            at += 1 + classes
        loci.append((kind, number, frequencies, extra))
    return lines[:3], loci, lines[at:]


PEDIGREE_LINE = re.compile(r"^[0-9]+(\t-?[0-9]+){9} ([0-9]+ )*\n$")


def layout(out, store, w):
    """Checks the plain files of window w against the files varkel wrote for its jobs of that
    window: the locus files alike but for the marker alleles, which varkel may lump per batch
    (its frequencies of the alleles a batch carries must be the plain ones), and every pedigree
    of a job laid out alike and as one plain pedigree, the alleles renumbered one to one."""
    groups = {}
    for line in open(os.path.join(out, "pedfile-%s.dat" % w)):
        groups.setdefault(line.split("\t", 1)[0], []).append(line)
    problems, checked = [], 0
    for job in sorted(os.listdir(store)):
        directory = os.path.join(store, job)
        if not os.path.isfile(os.path.join(directory, "datafile.dat")):
            continue
        job_text = open(os.path.join(directory, "datafile.dat")).read()
        t = job_text.split("\n")[2].split().index("1")
        plain_text = open(os.path.join(out, "datafile-%s-%d.dat" % (w, t))).read()
        job_head, job_loci, job_tail = parse_locus_file(job_text)
        plain_head, plain_loci, plain_tail = parse_locus_file(plain_text)
        if job_head != plain_head or job_tail != plain_tail or job_loci[0] != plain_loci[0] or \
                len(job_loci) != len(plain_loci):
            problems.append("%s: locus file differs beyond the marker alleles" % job)
            continue
        # A job holds a batch of pedigrees: each is checked against the plain pedigree with
        # the same persons.
        job_groups = {}
        for line in open(os.path.join(directory, "pedfile.dat")).read().splitlines(True):
            job_groups.setdefault(line.split("\t", 1)[0], []).append(line)
        failure = None
        for job_lines in job_groups.values():
            persons = [line.split()[1:10] for line in job_lines]
            matches = [lines for lines in groups.values() if [line.split()[1:10] for line in lines] == persons]
            if not matches:
                failure = "no plain pedigree has the persons of its pedigree file"
                break
            if not all(PEDIGREE_LINE.match(line) for line in job_lines + matches[0]):
                failure = "pedigree lines laid out differently"
                break
            consistent = False
            for lines in matches:
                consistent = True
                for m in range(len(job_loci) - 1):
                    plain_to_job = {}
                    for plain_line, job_line in zip(lines, job_lines):
                        pair = zip(plain_line.split()[10 + 2 * m:12 + 2 * m], job_line.split()[10 + 2 * m:12 + 2 * m])
                        for a, b in pair:
                            if (a == "0") != (b == "0") or plain_to_job.setdefault(a, b) != b:
                                consistent = False
                    plain_to_job.pop("0", None)
                    if len(set(plain_to_job.values())) != len(plain_to_job):
                        consistent = False
                    for a, b in plain_to_job.items():
                        if abs(job_loci[m + 1][2][int(b) - 1] - plain_loci[m + 1][2][int(a) - 1]) > 1e-12:
                            consistent = False
                if consistent:
                    break
            if not consistent:
                failure = "alleles or frequencies do not match those of its plain pedigree"
                break
        if failure:
            problems.append("%s: %s" % (job, failure))
            continue
        checked += 1
    for problem in problems[:10]:
        print(problem, file=sys.stderr)
    print(checked, len(problems))
    return 0 if checked > 0 and not problems else 1


def read_outfile(path):
    """[(thetas, total ln likelihood)] of a LINKMAP outfile.dat."""
    points, thetas = [], None
    for line in open(path):
        fields = line.split()
        if fields[:1] == ["THETAS"]:
            thetas = [float(v) for v in fields[1:]]
        elif fields[:1] == ["TOTALS"]:
            points.append((thetas, float(fields[1])))
    return points


def read_report(path):
    """{marker names: [rows of floats]} of the first phenotype of varkel's multipoint report."""
    windows, current, phenotypes = {}, None, 0
    for line in open(path):
        fields = line.split()
        if line.startswith("Phenotype:"):
            phenotypes += 1
            current = None
        elif line.startswith("Markers:") and phenotypes == 1:
            current = windows.setdefault(tuple(fields[1:]), [])
        elif current is not None and fields and fields[0] != "Thetas":
            try:
                current.append([float(v) for v in fields])
            except ValueError:
                current = None
        elif not fields:
            current = None
    return windows


def compare(out, report, outfiles):
    windows = {fields[0]: tuple(fields[1:]) for fields in (line.split() for line in open(os.path.join(out, "windows")))}
    varkel = read_report(report)
    largest, where, compared, misaligned = 0.0, "", 0, []
    for name in sorted(os.listdir(outfiles)):
        w, t = name[:-len(".dat")].split("-")
        markers = windows[w]
        rows = varkel.get(markers)
        if rows is None:
            misaligned.append("window %s missing from the report" % " ".join(markers))
            continue
        # The position's points are where its run of recombination fractions (three decimals in
        # outfile.dat) stands among the window's rows: LINKMAP decides how many points a
        # position has.
        points = read_outfile(os.path.join(outfiles, name))
        starts = [s for s in range(len(rows) - len(points) + 1)
                  if all(len(thetas) == len(row) - 2 and all(abs(a - b) <= 0.0006 for a, b in zip(thetas, row))
                         for (thetas, _), row in zip(points, rows[s:s + len(points)]))]
        if len(starts) != 1 or not points:
            misaligned.append("window %s position %s: its %d points found %d times among varkel's rows" %
                              (w, t, len(points), len(starts)))
            continue
        for (thetas, ln_like), row in zip(points, rows[starts[0]:]):
            difference = abs(-2.0 * ln_like - row[-2])
            compared += 1
            if difference >= largest:
                largest, where = difference, "window %s, position %s, thetas %s" % (
                    w, t, " ".join("%.3f" % v for v in thetas))
    for problem in misaligned[:10]:
        print(problem, file=sys.stderr)
    print("%d %.2e" % (compared, largest))
    print(where or "-")
    return 0 if compared > 0 and not misaligned else 1


def loop_free_unchanged(before, after):
    """Whether UNKNOWN -l left every pedigree without a loop as it was (field by field)."""
    pedigrees = [{}, {}]
    for path, table in zip((before, after), pedigrees):
        for line in open(path):
            fields = line.split()
            if fields:
                table.setdefault(fields[0], []).append(fields)
    loop_free = [p for p, rows in pedigrees[0].items() if not has_loop(rows)]
    changed = [p for p in loop_free if pedigrees[1].get(p) != pedigrees[0][p]]
    print(len(loop_free), len(changed))
    return 0 if not changed else 1


if __name__ == "__main__":
    command = sys.argv[1] if len(sys.argv) > 1 else ""
    if command == "make" and len(sys.argv) in (8, 9):
        make(sys.argv[2], sys.argv[3], sys.argv[4], int(sys.argv[5]), int(sys.argv[6]), sys.argv[7],
             sys.argv[8] if len(sys.argv) == 9 else None)
    elif command == "layout" and len(sys.argv) == 5:
        sys.exit(layout(sys.argv[2], sys.argv[3], sys.argv[4]))
    elif command == "compare" and len(sys.argv) == 5:
        sys.exit(compare(sys.argv[2], sys.argv[3], sys.argv[4]))
    elif command == "loopfree" and len(sys.argv) == 4:
        sys.exit(loop_free_unchanged(sys.argv[2], sys.argv[3]))
    else:
        sys.exit(__doc__)
PYTHON

# Linked statically: its own start-up precedes the start stamp and would count as the program's.
g++ -std=c++17 -O2 -static -o "$work/timed_run" "$here/timed_run.cpp"

# Capture launcher: every job of varkel runs in a directory of its own, and its first program
# sees the input files as varkel wrote them (before loop breaking rewrites pedfile.dat).
mkdir "$work/capture-bin" "$work/store"
cp "$bin/varkel" "$bin/makepedpseudo" "$work/capture-bin/"
cat > "$work/capture-bin/capture_launcher" <<'LAUNCHER'
#!/bin/bash
job=$CAPTURE_STORE/${PWD##*/}
if mkdir "$job" 2>/dev/null; then
    cp pedfile.dat datafile.dat "$job/"
    if [ ! -e "$CAPTURE_STORE.scratch" ]; then
        printf '%s\n%s (%s)\n%s\n' "$(dirname "$PWD")" "$(df --output=fstype . | tail -1)" \
            "$(stat -f -c %T .)" "${LD_PRELOAD:-}" > "$CAPTURE_STORE.scratch"
    fi
fi
program_variable=CAPTURE_${0##*/}
exec "${!program_variable}" "$@"
LAUNCHER
chmod +x "$work/capture-bin/capture_launcher"
ln -s capture_launcher "$work/capture-bin/unknownvarkel"
ln -s capture_launcher "$work/capture-bin/linkmapvarkel"

# --- Data --------------------------------------------------------------------------------------
mkdir "$work/data"
cp "$examples/example.pre" "$examples/example.map" "$examples/example.model" "$work/data/"
(cd "$work/data" && "$bin/makepedpseudo" example.pre example.linkage n > makeped.log 2>&1) ||
    fail_with_log makepedpseudo $? "$work/data/makeped.log"
only=()
only_file=
if [ -n "${ONLYMARKERS:-}" ]; then
    only_file=$work/data/only.markers
    if [ -f "$ONLYMARKERS" ]; then
        cp "$ONLYMARKERS" "$only_file"
    else
        : > "$only_file"
        for name in $ONLYMARKERS; do
            awk -v name="$name" 'NR > 1 && $3 == name { print $1, $2, $3; found = 1 }
                                 END { exit !found }' "$work/data/example.map" >> "$only_file" ||
                { echo "ONLYMARKERS: no marker $name in example.map" >&2; exit 2; }
        done
    fi
    only=(--onlymarkers "$only_file")
fi
scan=(--ped example.pre --map example.map --model example.model --multipoint)

# The markers of the scan, in their order, and the window sizes that fit them.
python3 "$work/plain_inputs.py" make "$work/data/example.linkage" "$work/data/example.map" \
    "$work/data/example.model" 2 5 "$work/markers" ${only_file:+"$only_file"}
markers=$(wc -l < "$work/markers/alleles")
read -r pedigree_count persons < "$work/markers/pedigrees"
loops=$(cat "$work/markers/loops")
read -r fewest most < <(awk 'NR == 1 || $2 < lo { lo = $2 } NR == 1 || $2 > hi { hi = $2 } END { print lo, hi }' \
    "$work/markers/alleles")
sizes=()
for w in $wsizes; do
    if [ "$w" -lt 2 ] || [ "$w" -gt "$markers" ]; then
        echo "window size $w left out: the scan has $markers markers" >&2
    else
        sizes+=("$w")
    fi
done
[ "${#sizes[@]}" -gt 0 ] || { echo "no window size to measure" >&2; exit 2; }
smallest=$(printf '%s\n' "${sizes[@]}" | sort -n | head -1)

# --- Layout of the job files: one capture run of varkel over the first window -------------------
mkdir "$work/capture"
cp "$work/data"/example.{pre,map,model} "$work/capture/"
awk -v n="$smallest" 'FNR == NR { if (FNR > 1) position[$3] = $1 " " $2; next }
    FNR <= n { print position[$1], $1 }' "$work/data/example.map" "$work/markers/alleles" \
    > "$work/capture/first.window"
set +e
(cd "$work/capture" && CAPTURE_STORE=$work/store CAPTURE_unknownvarkel=$unknown CAPTURE_linkmapvarkel=$linkmap \
    "$work/capture-bin/varkel" "${scan[@]}" --wsize "$smallest" --onlymarkers first.window --jobs 2 \
    < /dev/null > varkel.log 2>&1)
status=$?
set -e
[ "$status" -eq 0 ] || fail_with_log "the capture run of varkel" "$status" "$work/capture/varkel.log"
captured=$(find "$work/store" -mindepth 1 -maxdepth 1 -type d | wc -l)
[ "$captured" -gt 0 ] || { echo "the capture run started no FASTLINK job" >&2; exit 1; }
{ read -r scratch; read -r scratch_file_system; read -r preload || true; } < "$work/store.scratch"
# The evaluation steps per interval varkel gives LINKMAP (the last line of its locus files).
steps=$(awk 'END { print $3 }' "$(find "$work/store" -name datafile.dat | head -1)")

for w in "${sizes[@]}"; do
    python3 "$work/plain_inputs.py" make "$work/data/example.linkage" "$work/data/example.map" \
        "$work/data/example.model" "$w" "$steps" "$work/plain-$w" ${only_file:+"$only_file"}
done
if ! layout=$(python3 "$work/plain_inputs.py" layout "$work/plain-$smallest" "$work/store" 1); then
    echo "the plain input files are not laid out as varkel's job files (${layout:-no job checked})" >&2
    exit 1
fi
read -r layout_jobs _ <<< "$layout"

# --- The plain way's directory on disk ---------------------------------------------------------
if [ -n "${PLAIN_DIR:-}" ]; then
    plain=$(mktemp -d "$PLAIN_DIR/varkel-multipoint-plain.XXXXXX")
    outside_work=$plain
elif ! in_memory "$work"; then
    plain=$work/plain
    mkdir "$plain"
else
    plain=$(mktemp -d /var/tmp/varkel-multipoint-plain.XXXXXX)
    outside_work=$plain
fi
if in_memory "$plain"; then
    echo "the plain runs need a directory on disk, but $plain is on $(file_system "$plain"); set PLAIN_DIR" >&2
    exit 1
fi

# UNKNOWN -l passes the pedigrees without a loop through unchanged (the plain runs give it all).
loop_free_check="no pedigree has a loop: UNKNOWN -l not run"
if [ "$loops" -gt 0 ]; then
    (cd "$plain" && rm -f -- ./* && cp "$work/plain-$smallest/pedfile-1.dat" pedfile.dat &&
        cp "$work/plain-$smallest/datafile-1-0.dat" datafile.dat &&
        env -u LD_PRELOAD "$unknown" -l < /dev/null > /dev/null 2>&1) ||
        { echo "UNKNOWN -l failed on the plain pedigree file" >&2; exit 1; }
    if ! unchanged=$(python3 "$work/plain_inputs.py" loopfree "$plain/pedfile.dat" "$plain/lpedfile.dat"); then
        echo "UNKNOWN -l changed pedigrees without a loop (${unchanged})" >&2
        exit 1
    fi
    read -r loop_free _ <<< "$unchanged"
    loop_free_check="left all $loop_free pedigrees without a loop as they were"
    rm -f -- "$plain"/*
fi

cat > "$work/plain_run.sh" <<'RUN'
#!/bin/bash
# One plain run in one directory: [UNKNOWN -l], UNKNOWN, LINKMAP.
set -euo pipefail
inputs=$1 dir=$2 unknown=$3 linkmap=$4 loops=$5 w=$6 t=$7
cd "$dir"
rm -f -- ./*
cp "$inputs/pedfile-$w.dat" pedfile.dat
cp "$inputs/datafile-$w-$t.dat" datafile.dat
if [ "$loops" -gt 0 ]; then
    "$unknown" -l < /dev/null > /dev/null 2>&1 || { echo "UNKNOWN -l failed on window $w position $t" >&2; exit 1; }
    mv lpedfile.dat pedfile.dat
fi
"$unknown" < /dev/null > /dev/null 2>&1 || { echo "UNKNOWN failed on window $w position $t" >&2; exit 1; }
"$linkmap" < /dev/null > /dev/null 2>&1 || { echo "LINKMAP failed on window $w position $t" >&2; exit 1; }
[ -s outfile.dat ] || { echo "LINKMAP wrote no outfile.dat for window $w position $t" >&2; exit 1; }
RUN

# --- Measurements, window size by window size --------------------------------------------------
declare -A varkel_time plain_time plain_run plain_total plain_per compared largest largest_at
for w in "${sizes[@]}"; do
    for parallel in $jobs_list; do
        dir=$work/varkel-$w-$parallel
        mkdir "$dir"
        cp "$work/data"/example.{pre,map,model} "$dir/"
        set +e
        (cd "$dir" && "$work/timed_run" "$work/varkel-$w-$parallel.times" varkel "$bin/varkel" "${scan[@]}" \
            --wsize "$w" --jobs "$parallel" "${only[@]}" < /dev/null > varkel.log 2>&1)
        status=$?
        set -e
        [ "$status" -eq 0 ] || fail_with_log "varkel --wsize $w --jobs $parallel" "$status" "$dir/varkel.log"
        [ -s "$dir/varkel_multipoint.out" ] || { echo "varkel --wsize $w wrote no varkel_multipoint.out" >&2; exit 1; }
        varkel_time[$w,$parallel]=$(awk '{ printf "%.6f\n", $3 - $2 }' "$work/varkel-$w-$parallel.times")
    done

    # The scan's trait positions, and those run the plain way: all, or so many spread evenly
    # over the windows (then over the positions of each, when there are more than windows).
    windows=$(wc -l < "$work/plain-$w/windows")
    total=$((windows * (w + 1)))
    chosen=$total
    if [ "$plain_positions" != all ] && [ "$plain_positions" -lt "$total" ]; then chosen=$plain_positions; fi
    plain_run[$w]=$chosen
    plain_total[$w]=$total
    [ "$chosen" -gt 0 ] || continue
    awk -v total="$total" -v chosen="$chosen" -v windows="$windows" -v k="$w" 'BEGIN {
        for (i = 0; i < chosen; ++i) {
            if (chosen <= windows) {
                print int((i + 0.5) * windows / chosen) + 1, i % (k + 1)
            } else {
                p = int((i + 0.5) * total / chosen)
                print int(p / (k + 1)) + 1, p % (k + 1)
            }
        }
    }' > "$work/plain-$w.positions"
    mkdir "$work/plain-$w-out"
    : > "$work/plain-$w.times"
    while read -r window position; do
        env -u LD_PRELOAD "$work/timed_run" "$work/plain-$w.times" "$window-$position" /bin/bash \
            "$work/plain_run.sh" "$work/plain-$w" "$plain" "$unknown" "$linkmap" "$loops" "$window" "$position"
        cp "$plain/outfile.dat" "$work/plain-$w-out/$window-$position.dat"
    done < "$work/plain-$w.positions"
    rm -f -- "$plain"/*
    plain_time[$w]=$(awk '{ sum += $3 - $2 } END { printf "%.6f\n", sum }' "$work/plain-$w.times")
    plain_per[$w]=$(awk -v n="$chosen" -v t="${plain_time[$w]}" 'BEGIN { printf "%.6f\n", t / n }')

    # Every point run the plain way against varkel's report of each scan.
    largest[$w]=0
    for parallel in $jobs_list; do
        if ! result=$(python3 "$work/plain_inputs.py" compare "$work/plain-$w" \
                "$work/varkel-$w-$parallel/varkel_multipoint.out" "$work/plain-$w-out"); then
            echo "the plain runs of window size $w do not line up with varkel's report (--jobs $parallel)" >&2
            exit 1
        fi
        { read -r points difference; read -r at; } <<< "$result"
        compared[$w]=$points
        if awk -v a="$difference" -v b="${largest[$w]}" 'BEGIN { exit !(a >= b) }'; then
            largest[$w]=$difference
            largest_at[$w]="$at, --jobs $parallel"
        fi
    done
done

# --- Figures -----------------------------------------------------------------------------------
eatmydata=$(eatmydata_library)
echo "data:                        examples/: $pedigree_count pedigrees ($loops with a loop), $persons persons," \
     "$markers markers of $fewest to $most alleles${only_file:+ (ONLYMARKERS)}; $steps steps per interval"
echo "varkel's scratch directory:  $scratch on $scratch_file_system [/dev/shm: $(stat -f -c %T /dev/shm)]"
echo "libeatmydata:                ${eatmydata:-not installed}; FASTLINK's LD_PRELOAD: ${preload:-none}"
echo "plain runs:                  $plain on $(file_system "$plain"), fsync on, one run at a time"
echo "job files:                   the $layout_jobs jobs of varkel's first window (window size $smallest)" \
     "laid out as the plain files"
echo "UNKNOWN -l:                  $loop_free_check"
for w in "${sizes[@]}"; do
    echo
    echo "window size $w: $(wc -l < "$work/plain-$w/windows") windows, ${plain_total[$w]} trait positions"
    for parallel in $jobs_list; do
        printf '  %-27s %.2f s\n' "varkel, --jobs $parallel:" "${varkel_time[$w,$parallel]}"
    done
    if [ "${plain_run[$w]}" -eq 0 ]; then
        printf '  %-27s not run (PLAIN_POSITIONS=0)\n' "plain:"
        continue
    fi
    awk -v run="${plain_run[$w]}" -v total="${plain_total[$w]}" -v time="${plain_time[$w]}" \
        -v per="${plain_per[$w]}" 'BEGIN {
        if (run == total) {
            printf "  %-27s %.2f s (%.2f s per position)\n", "plain, all " total " positions:", time, per
        } else {
            printf "  %-27s %.2f s measured, %.2f s per position\n", "plain, " run " of " total " positions:", time, per
            printf "  %-27s ESTIMATE %.2f s (measured time per position x %d)\n", "plain, all " total " positions:",
                   per * total, total
        }
    }'
    for parallel in $jobs_list; do
        awk -v plain="${plain_per[$w]}" -v total="${plain_total[$w]}" -v run="${plain_run[$w]}" \
            -v varkel="${varkel_time[$w,$parallel]}" -v jobs="$parallel" 'BEGIN {
            printf "  %-27s %.2f%s\n", "plain / varkel --jobs " jobs ":", plain * total / varkel,
                   (run == total ? "" : " (from the ESTIMATE)")
        }'
    done
    echo "  -2 ln(like), plain against varkel: ${compared[$w]} points compared, largest difference" \
         "${largest[$w]} (${largest_at[$w]})"
done
echo
echo "targets:"
jobs2=no
for parallel in $jobs_list; do [ "$parallel" = 2 ] && jobs2=yes; done
if [ "$jobs2" = yes ] && [ -n "${plain_per[3]:-}" ]; then
    awk -v plain="${plain_per[3]}" -v total="${plain_total[3]}" -v run="${plain_run[3]}" \
        -v varkel="${varkel_time[3,2]}" 'BEGIN {
        ratio = plain * total / varkel
        printf "  window 3, plain / varkel --jobs 2: %.2f%s (target >= 5: %s)\n", ratio,
               (run == total ? "" : ", from the ESTIMATE"), (ratio >= 5 ? "met" : "NOT met")
    }'
else
    echo "  window 3, plain / varkel --jobs 2: not measured (needs 3 in WSIZES, 2 in JOBS, PLAIN_POSITIONS > 0)"
fi
if [ "$jobs2" = yes ] && [ -n "${varkel_time[4,2]:-}" ]; then
    awk -v varkel="${varkel_time[4,2]}" 'BEGIN {
        printf "  window 4, varkel --jobs 2: %.2f s (target < 600 s: %s)\n", varkel, (varkel < 600 ? "met" : "NOT met")
    }'
else
    echo "  window 4, varkel --jobs 2: not measured (WSIZES and JOBS must hold 4 and 2)"
fi
if [ -n "$only_file" ]; then
    echo "  (ONLYMARKERS restricts the scans: these are not the figures of the whole example)"
fi
