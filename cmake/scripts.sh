# shellcheck shell=bash
# Shared by test.sh and demo.sh: Debian packages, times, words on the command line.

refuse() { # WORD
    printf '%s: unknown: %s (see %s --help)\n' "$0" "$1" "$0" >&2
    exit 2
}

duration() { # SECONDS
    if [ "$1" -ge 60 ]; then
        printf '%d min %d s' $(($1 / 60)) $(($1 % 60))
    else
        printf '%d s' "$1"
    fi
}

missing_packages() { # NAME...
    local name
    for name in "$@"; do
        dpkg-query -W -f='${Status}' "$name" 2>/dev/null | grep -q '^install ok installed$' ||
            echo "$name"
    done
}

# need_packages NAME...: installs the Debian packages that are missing, as root or by sudo without a
# password. Otherwise says how to install them, and fails.
need_packages() {
    local missing sudo=() log
    if ! command -v dpkg-query >/dev/null; then
        echo "no dpkg here; needed are the equivalents of: $*"
        return 0
    fi
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} -gt 0 ] || return 0
    if [ "$(id -u)" -ne 0 ]; then
        sudo=(sudo -n)
    fi
    log=$(mktemp)
    if "${sudo[@]}" true 2>/dev/null; then
        echo "installing ${missing[*]}"
        if "${sudo[@]}" apt-get -o DPkg::Lock::Timeout=600 update -qq >"$log" 2>&1 &&
            "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
                apt-get -o DPkg::Lock::Timeout=600 install -y -qq "${missing[@]}" >>"$log" 2>&1; then
            rm "$log"
            return 0
        fi
        cat "$log" >&2
    fi
    rm "$log"
    {
        echo "Debian packages are missing. Install them by:"
        echo "    sudo apt-get install -y ${missing[*]}"
    } >&2
    return 1
}
