# For the scripts: need_packages NAME... makes sure that these Debian packages are there.
# Installs what is missing where that is allowed, and otherwise names it and fails.

missing_packages() {
    local name
    for name in "$@"; do
        dpkg-query -W -f='${Status}' "$name" 2>/dev/null | grep -q '^install ok installed$' ||
            echo "$name"
    done
}

need_packages() {
    local missing sudo=()
    mapfile -t missing < <(missing_packages "$@")
    [ ${#missing[@]} -gt 0 ] || return 0
    if [ "$(id -u)" -ne 0 ]; then
        sudo=(sudo -n)
    fi
    if ! "${sudo[@]}" true 2>/dev/null || ! command -v apt-get >/dev/null; then
        echo "missing packages: ${missing[*]}" >&2
        return 1
    fi
    echo "installing ${missing[*]}"
    if ! "${sudo[@]}" apt-get update -qq >/dev/null ||
        ! DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq "${missing[@]}" >/dev/null
    then
        echo "cannot install: ${missing[*]}" >&2
        return 1
    fi
}
