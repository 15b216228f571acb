# shellcheck shell=bash disable=SC2034
# Debian packages, for the scripts that source this: what is missing is installed, nothing else is
# touched.

build_packages=(g++ cmake ninja-build pkg-config libpq-dev libjsoncpp-dev libtag1-dev libcli11-dev
                libicu-dev libcurl4-openssl-dev libxml2-dev libssl-dev libmpdclient-dev libmimalloc-dev
                postgresql-15 ffmpeg imagemagick nginx)
test_packages=(libgtest-dev curl lighttpd lighttpd-mod-openssl openssl shairport-sync mpd minidlna
               locales unzip)
browser_packages=(chromium chromium-driver)

# install_page_packages HERE: what the checks of the page take from npm. Without a network the check
# that needs it says so.
install_page_packages() {
    local place=$1/build/page-packages
    mkdir -p "$place"
    cp "$1/tests/page/packages/package.json" "$place"
    (cd "$place" && npm install --no-package-lock --no-audit --no-fund --ignore-scripts \
        --loglevel=error) || echo "npm could not fetch what the checks of the page need" >&2
}

as_root() {
    if ((EUID == 0)); then
        "$@"
    else
        sudo "$@"
    fi
}

# For the time of an installation two files tell the packages what not to do. The last line of each
# names the process that removes it: one that was killed leaves it, and the next takes it away.
held_back=()
hold_back_mark='# Held back by Tonvale, process'

# hold_back FILE MODE TEXT: leaves a file of somebody else's alone
hold_back() {
    [[ ! -e $1 ]] || return 0
    local process=$BASHPID
    held_back+=("$1")
    as_root mkdir -p "${1%/*}"
    printf '%s\n%s %s\n' "$3" "$hold_back_mark" "$process" | as_root tee "$1" >/dev/null
    as_root chmod "$2" "$1"
}

release() {
    ((${#held_back[@]} == 0)) || as_root rm -f "${held_back[@]}"
}

release_left_overs() {
    local file process
    for file in "$cluster_settings" "$service_policy"; do
        process=$(sed -n "s/^$hold_back_mark \([0-9]*\)$/\1/p" "$file" 2>/dev/null) || true
        if [[ -n $process && ! -e /proc/$process ]]; then
            as_root rm -f "$file" ||
                echo "An earlier run left $file: have an administrator remove it." >&2
        fi
    done
}

# The server's package would make and start a cluster for the whole machine, which nobody here asks
# for. It reads this folder before it does.
cluster_settings=/etc/postgresql-common/createcluster.d/tonvale.conf

hold_back_system_cluster() {
    hold_back "$cluster_settings" 644 'create_main_cluster = false'
}

# What these packages would start on the machine, now and at every boot. Here they are programs that
# `tonvale serve`, the player and tests run for themselves; one that was installed before goes on as it
# is.
services=(lighttpd nginx shairport-sync avahi-daemon mpd minidlna)
service_policy=/usr/sbin/policy-rc.d

hold_back_services() {
    hold_back "$service_policy" 755 $'#!/bin/sh\nexit 101'
}

# disable_services NAME...: those units of the packages, which are new here.
disable_services() {
    for service in "$@"; do
        as_root update-rc.d "$service" disable >/dev/null 2>&1 || true
        command -v systemctl >/dev/null || continue
        for unit in "$service.service" "$service.socket"; do
            as_root systemctl disable --quiet "$unit" 2>/dev/null || true
        done
    done
}

is_installed() {
    [[ $(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null) == installed ]]
}

# add_type_checker: adds Debian's tsc to test_packages where there is none, from wherever. It depends
# on nodejs:any, which a package of node that Debian did not make need not be.
add_type_checker() {
    if command -v tsc >/dev/null; then
        return
    elif is_installed nodejs && [[ $(dpkg-query -W -f '${Multi-Arch}' nodejs) != allowed ]]; then
        echo "The page's types are not checked: 'npm install --global typescript' gives tsc." >&2
    else
        test_packages+=(node-typescript)
    fi
}

# install_packages NAME...
install_packages() (
    if ! command -v dpkg-query >/dev/null; then
        echo "This needs Debian 12 or a system like it (dpkg-query was not found)." >&2
        exit 1
    fi
    release_left_overs
    missing=()
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    if ((${#missing[@]} == 0)); then
        exit 0
    fi
    if ((EUID != 0)) && ! command -v sudo >/dev/null; then
        echo "Packages are missing, and neither root's rights nor sudo are here to install" >&2
        echo "them. Have an administrator run: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    echo "Installing ${missing[*]}"
    new_services=()
    for service in "${services[@]}"; do
        is_installed "$service" || new_services+=("$service")
    done
    trap release EXIT
    if [[ " ${missing[*]} " == *" postgresql-15 "* ]]; then
        hold_back_system_cluster
    fi
    if ((${#new_services[@]} > 0)); then
        hold_back_services
    fi
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}"
    disable_services "${new_services[@]}"
)

# build_preset SOURCE_DIR PRESET: configures when that was not done yet for this folder and these
# presets, and builds what has changed.
build_preset() {
    local source=$1 preset=$2 quiet=()
    local folder=$source/build/$preset
    if [[ ! -f $folder/build.ninja ]] ||
        [[ $source/CMakePresets.json -nt $folder/CMakeCache.txt ]] ||
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$source" "$folder/CMakeCache.txt"; then
        echo "Configuring $preset"
        cmake -S "$source" --preset "$preset" --fresh --log-level=WARNING >/dev/null
    fi
    [[ -t 1 ]] || quiet=(-- --quiet)
    echo "Building $preset"
    cmake --build "$folder" -j "$(nproc)" "${quiet[@]}"
}
