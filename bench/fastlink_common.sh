# Shell functions shared by the FASTLINK benchmarks (sourced, not run).

# The benchmark's scratch directory $work, and $outside_work for the comparison runs when they
# have to go to another file system; both are removed at exit unless KEEP_WORK is set.
make_work_dirs() {  # name of the scratch directory, words naming the comparison runs
    work=$(mktemp -d "${TMPDIR:-/tmp}/$1.XXXXXX")
    outside_work=
    outside_label=$2
    trap remove_work_dirs EXIT
}

remove_work_dirs() {
    if [ -n "${KEEP_WORK:-}" ]; then
        echo "work directory kept: $work${outside_work:+ ($outside_label in $outside_work)}"
        return
    fi
    rm -rf "$work"
    if [ -n "$outside_work" ]; then rm -rf "$outside_work"; fi
}

file_system() {  # type of the file system holding a directory, as df and as statfs name it
    printf '%s (%s)' "$(df --output=fstype "$1" | tail -1)" "$(stat -f -c %T "$1")"
}

in_memory() {
    case "$(df --output=fstype "$1" | tail -1) $(stat -f -c %T "$1")" in
        *tmpfs*|*ramfs*) return 0 ;;
        *) return 1 ;;
    esac
}

fail_with_log() {  # a failed run: its status and last lines
    echo "$1 failed (status $2):" >&2
    tail -20 "$3" >&2
    exit 1
}

eatmydata_library() {  # the fsync-disabling library varkel preloads, or nothing
    for library in /usr/lib/*/libeatmydata.so.1; do
        if [ -e "$library" ]; then echo "$library"; return; fi
    done
}
