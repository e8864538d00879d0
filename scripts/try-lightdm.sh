#!/usr/bin/env bash
# Tries the login-screen count-down under a real LightDM, as a machine would run it after installing the
# packages: the packages installed by dpkg, the system bus with the shipped policy, the machine-wide
# halvaned (demo schedule, never touches power), and LightDM with its GTK greeter on an Xvfb server.
# Everything happens in mount and process namespaces of their own over throw-away layers of /usr, /etc, /var and /run,
# so this machine keeps none of it. Takes a screenshot of the greeter's display with the count-down.
# Needs root. Usage: scripts/try-lightdm.sh [BUILD_DIR] [OUTPUT]
#   (installs lightdm, lightdm-gtk-greeter, xvfb and imagemagick when missing)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(realpath "${1:-build}")
output=$(realpath -m "${2:-docs/images/login-lightdm.png}")
[ "$(id -u)" = 0 ] || { echo "try-lightdm.sh: needs root (it installs packages in a namespace)" >&2; exit 2; }

missing=()
for tool in lightdm lightdm-gtk-greeter Xvfb import xwininfo xhost; do
    command -v "$tool" >/dev/null || missing+=("$tool")
done
if [ ${#missing[@]} -gt 0 ]; then
    DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
        lightdm lightdm-gtk-greeter xvfb imagemagick x11-utils x11-xserver-utils >/dev/null
fi

work=$(mktemp -d /tmp/try-lightdm.XXXXXX)
# Kept when the trial fails, for its logs.
trap '[ $? = 0 ] && rm -rf "$work"' EXIT
(cd "$build" && cpack -G DEB -B "$work/debs" >/dev/null)
# A display number nobody uses, for the greeter's server.
display=20
while [ -e "/tmp/.X$display-lock" ] || [ -e "/tmp/.X11-unix/X$display" ]; do display=$((display + 1)); done

# The part that runs inside the namespace.
cat >"$work/inside.sh" <<'INSIDE'
set -euo pipefail
work=$1
output=$2
display=:$3
for dir in usr etc var; do
    mkdir -p "$work/layers/$dir" "$work/layers/$dir.work"
    mount -t overlay overlay -o "lowerdir=/$dir,upperdir=$work/layers/$dir,workdir=$work/layers/$dir.work" "/$dir"
done
mount -t tmpfs tmpfs /run
mkdir -p /run/dbus /run/lightdm
dpkg -i "$work"/debs/halvaned_*.deb "$work"/debs/trisk-notifier_*.deb >"$work/dpkg.log" 2>&1

# LightDM starts the greeter's X server through this: Xvfb in place of a server on a virtual terminal.
cat >"$work/xserver" <<'X'
#!/bin/sh
display=$1; shift
args=""
for arg in "$@"; do
    case "$arg" in vt*|-novtswitch|-seat|seat*) ;; *) args="$args $arg" ;; esac
done
exec Xvfb "$display" -screen 0 1280x800x24 -noreset $args
X
chmod +x "$work/xserver"
mkdir -p /etc/lightdm/lightdm.conf.d
printf '[LightDM]\nminimum-display-number=%s\n[Seat:*]\nxserver-command=%s\ngreeter-session=lightdm-gtk-greeter\n' \
    "${display#:}" "$work/xserver" \
    >/etc/lightdm/lightdm.conf.d/90-try.conf

dbus-daemon --system --fork --nopidfile
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/dbus/system_bus_socket
halvaned --bus system --demo --no-state >"$work/halvaned.log" 2>&1 &
lightdm -d >"$work/lightdm.log" 2>&1 &
lightdm_pid=$!

# The greeter's display comes up, then the count-down window on it.
window=""
for _ in $(seq 1 200); do
    if DISPLAY=$display XAUTHORITY=/run/lightdm/root/$display xwininfo -root -tree 2>/dev/null | grep -q '"trisk-notifier"'; then
        window=yes
        break
    fi
    sleep 0.1
done
sleep 2   # the greeter draws its background and login box
DISPLAY=$display XAUTHORITY=/run/lightdm/root/$display import -window root "$output" || true
echo "--- processes on the greeter's display"
ps -eo user,pid,args | grep -E 'trisk-notifier|lightdm-gtk-greeter|halvaned' | grep -v grep || true
echo "--- lightdm (greeter-setup-script)"
grep -iE 'greeter-setup|setup script|Launching process|Process .* exited' "$work/lightdm.log" | head -20 || true
# LightDM stops its X server and greeter in order, so that no stale display lock is left behind.
kill "$lightdm_pid" 2>/dev/null || true
wait "$lightdm_pid" 2>/dev/null || true
[ -n "$window" ] && echo "count-down window shown on the greeter's display: $output" \
    || { echo "no count-down window on the greeter's display; logs in $work" >&2; exit 1; }
INSIDE

# A process namespace too: whatever LightDM, the greeter and the script started ends with it.
unshare --mount --pid --fork --mount-proc --propagation private bash "$work/inside.sh" "$work" "$output" "$display"
