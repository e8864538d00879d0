#!/usr/bin/env bash
# Tries the login-screen count-down under a real display manager, as a machine would run it after
# installing the packages: the packages installed by dpkg, the system bus with the shipped policy, the
# machine-wide halvaned (demo schedule, never touches power), and LightDM (GTK greeter) or SDDM with its
# X server replaced by an Xvfb. Everything happens in mount and process namespaces of their own over
# throw-away layers of /usr, /etc, /var and /run, so this machine keeps none of it. Takes a screenshot
# of the greeter's display with the count-down.
# Needs root. Usage: scripts/try-greeter.sh lightdm|sddm [BUILD_DIR] [OUTPUT]
#   (installs the display manager, xvfb, imagemagick and the X utilities when missing)
set -euo pipefail
manager=${1:-}
build=$(realpath "${2:-build}")
output=$(realpath -m "${3:-docs/images/login-$manager.png}")
case "$manager" in
lightdm) packages=(lightdm lightdm-gtk-greeter) ;;
sddm) packages=(sddm) ;;
*) echo "usage: $0 lightdm|sddm [BUILD_DIR] [OUTPUT]" >&2; exit 2 ;;
esac
[ "$(id -u)" = 0 ] || { echo "try-greeter.sh: needs root (it installs packages in a namespace)" >&2; exit 2; }
for tool in "$manager" Xvfb import xwininfo xhost; do
    if ! command -v "$tool" >/dev/null; then
        DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${packages[@]}" \
            xvfb imagemagick x11-utils x11-xserver-utils >/dev/null
        break
    fi
done

work=$(mktemp -d /tmp/try-greeter.XXXXXX)
# Kept when the trial fails, for its logs.
trap '[ $? = 0 ] && rm -rf "$work"' EXIT
(cd "$build" && cpack -G DEB -B "$work/debs" >/dev/null)
# A display number nobody uses, for the greeter's server. SDDM writes the greeter's cookie for display
# 0 before its server reports the number, so SDDM's greeter gets 0, as on a machine with one seat.
display=20
[ "$manager" = sddm ] && display=0
while [ -e "/tmp/.X$display-lock" ] || [ -e "/tmp/.X11-unix/X$display" ]; do display=$((display + 1)); done

# The display manager starts the greeter's X server through this: Xvfb on the chosen display, in place
# of a server on a virtual terminal. It keeps the authority file it was given, for the screenshot.
cat >"$work/xserver" <<X
#!/bin/bash
args=()
ready=""
while [ \$# -gt 0 ]; do
    case "\$1" in
    vt*|-novtswitch) ;;
    -seat|-background) shift ;;
    -displayfd) shift; ready=\$1 ;;
    -auth) echo "\$2" >"$work/xauthority"; args+=("\$1" "\$2"); shift ;;
    :*) ;;
    *) args+=("\$1") ;;
    esac
    shift
done
[ -z "\$ready" ] && exec Xvfb :$display -screen 0 1280x800x24 -noreset "\${args[@]}"
# Asked for the display number once the server is ready: told only when Xvfb says it is.
rm -f "$work/ready"
Xvfb :$display -screen 0 1280x800x24 -noreset -displayfd 3 "\${args[@]}" 3>"$work/ready" &
server=\$!
trap 'kill \$server' TERM INT
until [ -s "$work/ready" ] || ! kill -0 \$server 2>/dev/null; do sleep 0.05; done
cat "$work/ready" >&"\$ready"
wait \$server
X
chmod +x "$work/xserver"

# The part that runs inside the namespaces.
cat >"$work/inside.sh" <<'INSIDE'
set -euo pipefail
work=$1 output=$2 manager=$3 display=:$4
for dir in usr etc var; do
    mkdir -p "$work/layers/$dir" "$work/layers/$dir.work"
    mount -t overlay overlay -o "lowerdir=/$dir,upperdir=$work/layers/$dir,workdir=$work/layers/$dir.work" "/$dir"
done
mount -t tmpfs tmpfs /run
mkdir -p /run/dbus
dpkg -i "$work"/debs/halvaned_*.deb "$work"/debs/trisk-notifier_*.deb >"$work/dpkg.log" 2>&1
case "$manager" in
lightdm)
    mkdir -p /etc/lightdm/lightdm.conf.d
    printf '[LightDM]\nminimum-display-number=%s\n[Seat:*]\nxserver-command=%s\ngreeter-session=lightdm-gtk-greeter\n' \
        "${display#:}" "$work/xserver" >/etc/lightdm/lightdm.conf.d/90-try.conf
    command=(lightdm -d)
    ;;
sddm)
    mkdir -p /etc/sddm.conf.d
    printf '[General]\nDisplayServer=x11\n[X11]\nServerPath=%s\n' "$work/xserver" >/etc/sddm.conf.d/90-try.conf
    command=(sddm)
    ;;
esac

dbus-daemon --system --fork --nopidfile
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/dbus/system_bus_socket
halvaned --bus system --demo --no-state >"$work/halvaned.log" 2>&1 &
"${command[@]}" >"$work/$manager.log" 2>&1 &
manager_pid=$!

# The greeter's display comes up, then the count-down window on it.
shown=""
for _ in $(seq 1 300); do
    if [ -f "$work/xauthority" ] && DISPLAY=$display XAUTHORITY=$(cat "$work/xauthority") \
        xwininfo -root -tree 2>/dev/null | grep -q '"trisk-notifier"'; then
        shown=yes
        break
    fi
    sleep 0.1
done
sleep 3   # the greeter draws its background and login box
[ -n "$shown" ] && DISPLAY=$display XAUTHORITY=$(cat "$work/xauthority") import -window root "$output"
echo "--- processes"
ps -eo user,pid,args | grep -E 'trisk-notifier|greeter|halvaned' | grep -v grep || true
# The display manager stops its X server and greeter in order, leaving no stale display lock behind.
kill "$manager_pid" 2>/dev/null || true
wait "$manager_pid" 2>/dev/null || true
if [ -n "$shown" ]; then
    echo "count-down window shown on $manager's greeter display: $output"
else
    echo "no count-down window on $manager's greeter display; logs in $work" >&2
    exit 1
fi
INSIDE

# A process namespace too: whatever the display manager, the greeter and the script started ends with it.
unshare --mount --pid --fork --mount-proc --propagation private \
    bash "$work/inside.sh" "$work" "$output" "$manager" "$display"
