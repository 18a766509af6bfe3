# Shell functions shared by the FASTLINK benchmarks (sourced, not run).

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
