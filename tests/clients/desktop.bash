# What the desktop clients have in common. Sourced by them.

# use PACKAGE CONFIGURATION ADDRESS ENDPOINT: installs a client, configures it with what comes on
# standard input, has it play the address, and waits until it was answered by an endpoint.
use() {
    install_packages "$1" xvfb xauth dbus >>"$scratch/log" 2>&1 || exit 1
    export HOME=$scratch/$1 QT_QPA_PLATFORM=xcb XDG_RUNTIME_DIR=$scratch/$1
    unset XDG_CONFIG_HOME XDG_DATA_HOME
    mkdir -m 700 "$HOME"
    mkdir -p "$HOME/.config/$(dirname "$2")"
    cat >"$HOME/.config/$2"
    timeout 120 xvfb-run -a dbus-run-session -- "$1" --play "$3" >>"$scratch/log" 2>&1 &
    local client=$! result=0
    until_true 100 grep -qx "$4" "$record" || result=1
    kill "$client" 2>/dev/null || true
    wait "$client" 2>/dev/null || true
    return "$result"
}
