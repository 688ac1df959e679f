# A Windows desktop of one's own for other scripts to start: a Wine prefix and a virtual display. The
# folder of the checkout is expected in $root, a folder for files in $scratch, and the paths of
# wine_paths.sh; the script that reads this has a function "fail".
# shellcheck shell=bash disable=SC2154,SC2034
export WINEPREFIX=$scratch/wine
display_pid=''

# A Windows path for a path of this machine.
windows_path() { printf 'Z:%s' "${1//\//\\}"; }

# Every run has a Wine prefix of its own, so that runs neither see nor disturb each other. Wine
# replaces the registry files and leaves all others alone, so those can be shared by hard links.
create_prefix() {
  mkdir "$WINEPREFIX"
  # Programs that run in the original may remove files of theirs meanwhile.
  cp -al "$wine_prefix/drive_c" "$WINEPREFIX/drive_c" 2>/dev/null || true
  cp -a "$wine_prefix"/{*.reg,.update-timestamp,dosdevices} "$WINEPREFIX/"
}

# Starts a display on a free number and sets DISPLAY and display_pid:
#   start_display OPTION_OF_XVFB ...
start_display() {
  local number
  : >"$scratch/display"
  Xvfb -displayfd 3 "$@" -nolisten tcp 3>"$scratch/display" >"$scratch/display.log" 2>&1 &
  display_pid=$!
  for _ in {1..100}; do
    number=$(<"$scratch/display")
    [[ $number ]] && break
    kill -0 "$display_pid" 2>/dev/null || break
    sleep 0.1
  done
  [[ $number ]] || fail "the virtual display did not start: $(tail -n 1 "$scratch/display.log")"
  export DISPLAY=:$number
}

# Ends Wine's server and all its programs.
stop_wine() {
  [[ -d $WINEPREFIX ]] || return 0
  "$wine_server" -k 2>/dev/null
  timeout 15 "$wine_server" -w
}
