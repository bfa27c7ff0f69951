#!/usr/bin/env bash
# The whole way of a notification on a real desktop: a rule that is switched on for a log finds a line, the desktop
# shows it once, and a click on it brings the line into view.
#
# usage: tests/e2e/notification.sh PROGRAM
set -euo pipefail
program=$(realpath "${1:?usage: notification.sh PROGRAM}")
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

if [ "${2-}" != inside ]; then
    # A bus of our own around it all; what it started ends with it, in time.
    home=$(mktemp -d "${TMPDIR:-/tmp}/korvane-e2e-XXXXXX")
    trap 'rm -rf "$home"' EXIT
    for kind in RUNTIME_DIR CONFIG_HOME DATA_HOME CACHE_HOME STATE_HOME; do
        mkdir -m 700 "$home/$kind"
        export "XDG_$kind=$home/$kind"
    done
    unset DBUS_SESSION_BUS_ADDRESS DISPLAY WAYLAND_DISPLAY
    export HOME=$home E2E_DIRECTORY=$home QT_QPA_PLATFORM=xcb
    export QT_LOGGING_RULES=korvane.timing=true QT_LOGGING_TO_CONSOLE=1 NO_AT_BRIDGE=1
    # No services that others have installed: only ours is to answer.
    cat >"$home/bus.conf" <<-EOF
		<busconfig>
		  <type>session</type>
		  <listen>unix:dir=$home</listen>
		  <policy context="default">
		    <allow send_destination="*" eavesdrop="true"/>
		    <allow eavesdrop="true"/>
		    <allow own="*"/>
		  </policy>
		</busconfig>
	EOF
    status=0
    timeout --kill-after=10 500 dbus-run-session --config-file="$home/bus.conf" -- "$0" "$program" inside || status=$?
    if [ $status -ne 0 ]; then
        echo "The program said:" >&2
        cat "$home/program.log" >&2 || true
    fi
    exit $status
fi

cd "$E2E_DIRECTORY"
started=()
# The newest first: the display goes last.
stop() {
    local i
    for ((i = ${#started[@]} - 1; i >= 0; i--)); do
        kill "${started[i]}" 2>/dev/null || true
        wait "${started[i]}" 2>/dev/null || true
    done
}
trap stop EXIT

fail() {
    echo "notification.sh: $1" >&2
    exit 1
}
# until WHAT COMMAND...: repeats the command until it succeeds, 90 seconds at most.
until_true() {
    local what=$1 end=$((SECONDS + 90))
    shift
    until "$@" >/dev/null 2>&1; do
        [ $SECONDS -lt $end ] || fail "$what did not happen"
        sleep 0.1
    done
}

Xvfb -displayfd 3 -screen 0 1200x900x24 -nolisten tcp 3>display >xvfb.log 2>&1 &
started+=($!)
until_true "a display" test -s display
export DISPLAY=:$(cat display)
openbox >openbox.log 2>&1 &
started+=($!)
# A window that opens while the manager takes over the display may be lost between the two.
until_true "the start of the window manager" sh -c '[ "$(xdotool get_num_desktops 2>/dev/null)" -gt 0 ]'
mkdir -p "$XDG_CONFIG_HOME/dunst"
cat >"$XDG_CONFIG_HOME/dunst/dunstrc" <<'EOF'
[global]
    origin = top-right
    offset = 20x20
    width = 300
    mouse_left_click = do_action, close_current
    idle_threshold = 0
    stack_duplicates = false
EOF
dunst >dunst.log 2>&1 &
started+=($!)
until_true "a notification service" dunstctl is-paused

# What the service is asked for, word for word.
dbus-monitor "type='method_call',interface='org.freedesktop.Notifications',member='Notify'" >notify.log 2>&1 &
started+=($!)
until_true "a watch on the bus" grep -q NameAcquired notify.log

# A line far down is the first that the rule finds, and another follows: a rule that tells once tells of the first.
log=$PWD/service.log
seq -f 'line %g: all is well' 20000 | sed -e '4321s/all is well/a FAILURE/' -e '4999s/all is well/a FAILURE/' >"$log"
python3 "$here/write_rules.py" "$XDG_DATA_HOME/korvane" "file://$log" FAILURE

"$program" "$log" >program.log 2>&1 &
started+=($!)
until_true "the first screen" grep -q "first rows painted" program.log
shown() { [ "$(dunstctl count displayed)" -eq "$1" ]; }
until_true "exactly one notification" shown 1
until_true "its window" xdotool search --onlyvisible --class dunst
! grep -q "went to line" program.log || fail "the program went to a line before the click"

# Where the pointer is when it clicks: in the middle of the notification.
xdotool mousemove $((1200 - 20 - 150)) 35 click 1
until_true "the way to the line" grep -q "went to line 4321$" program.log
until_true "the end of the notification" shown 0

# The other line that the rule finds has long been read, too.
until_true "the notification in the history" test "$(dunstctl count history)" -ge 1
[ "$(dunstctl count history)" -eq 1 ] && shown 0 || fail "there were more notifications than one"
[ "$(grep -c 'member=Notify$' notify.log)" -eq 1 ] || fail "the service was asked more than once"
for text in '   string "Korvane"' "   string \"Rule 'FAILURE' matched\"" '   string "Line: 4321 in service.log' \
    "Path: file://$log\""; do
    grep -qxF -- "$text" notify.log || fail "the notification does not say: $text"
done
