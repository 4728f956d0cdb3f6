#!/usr/bin/env bash
# Resident memory of the real pardo-reminder while a user opens the dated task editor and
# cancels it, again and again. Runs on a virtual X server and a bus of its own, with a fresh
# HOME; clicks with xdotool (Debian packages xvfb, xdotool, dbus).
#   bench/editormemory.sh [path/to/pardo-reminder] [rounds]
set -euo pipefail

app="${1:-build/app/pardo-reminder}"
rounds="${2:-50}"
for tool in Xvfb xdotool dbus-run-session; do
    command -v "$tool" >/dev/null || { echo "missing: $tool" >&2; exit 1; }
done

work="$(mktemp -d)"
xvfb_pid=""
cleanup() {
    [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT

Xvfb -displayfd 1 -screen 0 1280x800x24 -nolisten tcp >"$work/display" 2>/dev/null &
xvfb_pid=$!
for _ in $(seq 50); do
    [ -s "$work/display" ] && break
    sleep 0.1
done
export DISPLAY=":$(head -n 1 "$work/display")"
mkdir -p "$work/home"

# Everything below runs on the private bus, so that the application can claim its name.
HOME="$work/home" QT_QPA_PLATFORM=xcb APP="$app" ROUNDS="$rounds" \
    dbus-run-session -- bash -euo pipefail -c '
rss() { awk "/^VmRSS/ { print \$2 }" "/proc/$pid/status"; }
"$APP" 2>/dev/null &
pid=$!
xdotool search --sync --name "Pardo Reminder" >/dev/null
sleep 1
# The main window is 800x480 at the origin: new task at the lower right, the dated type in
# the chooser, cancel at the top of the editor sidebar.
open_and_cancel() {
    xdotool mousemove 730 410 click 1
    sleep 0.3
    xdotool mousemove 543 240 click 1
    sleep 0.3
    xdotool mousemove 745 42 click 1
    sleep 0.3
}
printf "%8s %10s\n" editors "RSS (kB)"
printf "%8d %10d\n" 0 "$(rss)"
for round in $(seq "$ROUNDS"); do
    open_and_cancel
    if [ $((round % 10)) -eq 0 ]; then
        sleep 1
        printf "%8d %10d\n" "$round" "$(rss)"
    fi
done
kill "$pid"
'
