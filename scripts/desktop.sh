# A Windows desktop of one's own for other scripts to start: a Wine prefix and a virtual display.
# Nothing else makes either. The folder of the checkout is expected in $root, a folder for files in
# $scratch, and the paths of wine_paths.sh; the script that reads this has a function "fail".
# shellcheck shell=bash disable=SC2154,SC2034
export WINEPREFIX=$scratch/wine
display_pid=''

# A Windows path for a path of this machine.
windows_path() { printf 'Z:%s' "${1//\//\\}"; }

# Every run has a Wine prefix of its own, so that runs neither see nor disturb each other. Wine
# replaces the registry files and leaves all others alone, so those can be shared by hard links.
create_prefix() {
  [[ -f $wine_prefix/system.reg ]] ||
    fail "there is no Wine prefix in $wine_prefix: run scripts/setup first."
  mkdir "$WINEPREFIX"
  # Programs that run in the original may make and remove files of theirs meanwhile.
  cp -al "$wine_prefix/drive_c" "$WINEPREFIX/drive_c" 2>/dev/null || true
  cp -a "$wine_prefix"/{*.reg,.update-timestamp,dosdevices} "$WINEPREFIX/"
}

# A prefix as Wine makes it for somebody who has none, which takes some seconds.
create_new_prefix() {
  mkdir "$WINEPREFIX"
  "$root/scripts/wine" wineboot --init >"$scratch/wineboot.log" 2>&1 ||
    fail "Wine made no prefix: $(tail -n 1 "$scratch/wineboot.log")"
}

# Starts an X server, which writes the number of the free display that it took once it is ready, and
# sets DISPLAY, display_pid, and DISPLAY_SERVER to the same:
#   start_x_server PROGRAM OPTION ...
start_x_server() {
  local number
  : >"$scratch/display"
  "$1" -displayfd 3 "${@:2}" -nolisten tcp 3>"$scratch/display" >"$scratch/display.log" 2>&1 &
  display_pid=$!
  for _ in {1..300}; do
    number=$(<"$scratch/display")
    [[ $number ]] && break
    kill -0 "$display_pid" 2>/dev/null || break
    sleep 0.1
  done
  [[ $number ]] || fail "the virtual display did not start: $(tail -n 1 "$scratch/display.log")"
  export DISPLAY=:$number
  # For tests that stop it for a while.
  export DISPLAY_SERVER=$display_pid
  unset WAYLAND_DISPLAY
}

# A display with one monitor: start_display WIDTHxHEIGHT
start_display() { start_x_server Xvfb -screen 0 "${1}x24"; }

# A display with two monitors side by side, 1024x768 at (0, 0) and 800x600 at (1024, 0). A running
# prefix knows the monitors of the display on which its first program was started.
start_two_monitors() {
  cat >"$scratch/xorg.conf" <<'END'
Section "Device"
  Identifier "dummy"
  Driver "dummy"
  VideoRam 65536
EndSection
Section "Screen"
  Identifier "screen"
  Device "dummy"
  DefaultDepth 24
  SubSection "Display"
    Depth 24
    Modes "1024x768"
    Virtual 1824 768
  EndSubSection
EndSection
END
  start_x_server Xorg -config "$scratch/xorg.conf" -logfile "$scratch/xorg.log" -novtswitch -noreset
  xrandr --addmode DUMMY1 800x600
  xrandr --output DUMMY0 --mode 1024x768 --pos 0x0 --output DUMMY1 --mode 800x600 --pos 1024x0
  # Wine asks only for what the server knows already; this makes the server look at its outputs.
  xrandr >/dev/null
}

# Ends Wine's server and all its programs.
stop_wine() {
  [[ -d $WINEPREFIX ]] || return 0
  "$wine_server" -k 2>/dev/null
  timeout 15 "$wine_server" -w
}

stop_display() {
  [[ $display_pid ]] || return 0
  kill "$display_pid" 2>/dev/null
  wait "$display_pid" 2>/dev/null
  display_pid=''
}
