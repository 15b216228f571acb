# shellcheck shell=bash disable=SC2034
# Debian packages, for the scripts that source this: what is missing is installed, nothing else is
# touched.

build_packages=(g++ cmake ninja-build pkg-config libpq-dev libjsoncpp-dev libtag1-dev libcli11-dev
                libicu-dev libcurl4-openssl-dev libxml2-dev libssl-dev libmpdclient-dev postgresql-15
                ffmpeg imagemagick lighttpd)
test_packages=(libgtest-dev lighttpd-mod-openssl openssl shairport-sync mpd minidlna rygel
               gstreamer1.0-plugins-good)

as_root() {
    if ((EUID == 0)); then
        "$@"
    else
        sudo "$@"
    fi
}

# The server's package would make and start a cluster for the whole machine, which nobody here asks
# for. It reads this folder before it does.
cluster_settings=/etc/postgresql-common/createcluster.d/tonvale.conf

hold_back_system_cluster() {
    as_root mkdir -p "${cluster_settings%/*}"
    echo 'create_main_cluster = false' | as_root tee "$cluster_settings" >/dev/null
}

# An administrator who installs another server later shall find the machine's own defaults.
release_system_cluster() {
    as_root rm -f "$cluster_settings"
}

# What these packages would start on the machine, now and at every boot. Here they are programs that
# `tonvale serve`, the player and tests run for themselves; one that was installed before goes on as it
# is.
services=(lighttpd shairport-sync avahi-daemon mpd minidlna)
service_policy=/usr/sbin/policy-rc.d

hold_back_services() {
    [[ -e $service_policy ]] && return
    held_back_services=yes
    printf '#!/bin/sh\nexit 101\n' | as_root tee "$service_policy" >/dev/null
    as_root chmod 755 "$service_policy"
}

release_services() {
    [[ -z ${held_back_services-} ]] || as_root rm -f "$service_policy"
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

# install_packages NAME...
install_packages() (
    if ! command -v dpkg-query >/dev/null; then
        echo "This needs Debian 12 or a system like it (dpkg-query was not found)." >&2
        exit 1
    fi
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
    trap 'release_services; release_system_cluster' EXIT
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
