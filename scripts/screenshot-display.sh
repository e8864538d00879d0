# Sourced by the screenshot scripts, with build and output set: outside a screenshot session it runs the
# calling script again on a display (Xvfb, 1024x640, plus xvfb_options) and session bus of its own, with
# a home, configuration and language (SCREENSHOT_LANG, else screenshot_lang, else C.UTF-8) of its own,
# and exits with it; inside one it returns at once.
if [[ -z "${IN_SCREENSHOT_SESSION:-}" ]]; then
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    # Nothing of the caller's desktop takes part.
    env IN_SCREENSHOT_SESSION=1 WORK="$work" HOME="$work" XDG_CONFIG_HOME="$work/config" \
        XDG_DATA_HOME="$work/data" XDG_CACHE_HOME="$work/cache" \
        LANG="${SCREENSHOT_LANG:-${screenshot_lang:-C.UTF-8}}" \
        xvfb-run -a -s "-screen 0 1024x640x24 ${xvfb_options:-}" dbus-run-session -- "$0" "$build" "$output"
    exit
fi
