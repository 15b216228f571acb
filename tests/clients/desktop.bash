# What the desktop clients have in common. Their scripts source it.

# use PACKAGE CONFIGURATION COMMAND...: installs a client, writes its configuration from standard
# input, and starts it on a screen of its own, without a sound. It ends with the script.
use() {
    install_packages "$1" xvfb xdotool dbus sqlite3 >>"$scratch/log" 2>&1 || exit 1
    export HOME=$scratch/$1 XDG_RUNTIME_DIR=$scratch/$1 TMPDIR=$scratch/$1 QT_QPA_PLATFORM=xcb
    export ALSA_CONFIG_PATH=/dev/null ALSOFT_DRIVERS=null SDL_AUDIODRIVER=dummy
    unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME WAYLAND_DISPLAY
    mkdir -m 700 "$HOME"
    mkdir -p "$HOME/.config/$(dirname "$2")"
    cat >"$HOME/.config/$2"
    client=
    trap '[[ -z $client ]] || pkill -s "$client"; kill "$screen" 2>/dev/null || true; wait' EXIT
    Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$HOME/display" \
        >>"$scratch/log" 2>&1 &
    screen=$!
    until_true 30 test -s "$HOME/display" || exit 1
    DISPLAY=:$(<"$HOME/display")
    export DISPLAY
    # The bus and all that it and the client start are in one session, which is ended as a whole.
    setsid dbus-run-session -- "${@:3}" >>"$scratch/log" 2>&1 &
    client=$!
}

# asked_for ENDPOINT: whether the server has answered the client there.
asked_for() {
    grep -qx "$1" "$record"
}

# asks_for ENDPOINT...: waits until the server has answered the client at each of them.
asks_for() {
    local endpoint
    for endpoint in "$@"; do
        if ! until_true 60 asked_for "$endpoint"; then
            echo "$endpoint: never answered"
            exit 1
        fi
    done
}

# has_all_songs DATABASE: whether the client keeps as many songs as the server has.
has_all_songs() {
    (($(sqlite3 "$1" "SELECT count(*) FROM subsonic_songs" 2>/dev/null || echo 0) == \
        $("$tonvale" songs --limit 1 --json | grep -oP '"total":\K\d+')))
}

# until_all_songs DATABASE: waits until it has all songs.
until_all_songs() {
    if ! until_true 60 has_all_songs "$1"; then
        echo "it does not have all songs"
        exit 1
    fi
}
