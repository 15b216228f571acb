# What the desktop clients have in common. Sourced by them.

# use PACKAGE CONFIGURATION COMMAND...: installs a client, configures it with what comes on standard
# input, and starts it. It ends with the script.
use() {
    install_packages "$1" xvfb xauth dbus >>"$scratch/log" 2>&1 || exit 1
    export HOME=$scratch/$1 QT_QPA_PLATFORM=xcb XDG_RUNTIME_DIR=$scratch/$1
    unset XDG_CONFIG_HOME XDG_DATA_HOME
    mkdir -m 700 "$HOME"
    mkdir -p "$HOME/.config/$(dirname "$2")"
    cat >"$HOME/.config/$2"
    timeout 300 xvfb-run -a dbus-run-session -- "${@:3}" >>"$scratch/log" 2>&1 &
    client=$!
    trap 'kill "$client" 2>/dev/null || true; wait "$client" 2>/dev/null || true' EXIT
}

# asks_for ENDPOINT...: waits until the client was answered by each of them.
asks_for() {
    local endpoint
    for endpoint in "$@"; do
        until_true 100 grep -qx "$endpoint" "$record" || exit 1
    done
}
