# The demonstrations of scripts/run --fault, which reads this file. Each shows on the console what
# the service does about a fault, and fails when it does something else.
# shellcheck shell=bash disable=SC2034,SC2154

show_fault() {
  fault_journal=$scratch/journal
  common=(--journal "$(windows_path "$fault_journal")" "${common[@]}")
  local shown=1
  case $fault in
    stall) show_stall || shown='' ;;
    window-closed) show_window_closed || shown='' ;;
    monitor-moved) show_monitor_moved || shown='' ;;
    encoder-missing) show_encoder_missing || shown='' ;;
  esac
  [[ ! $journal ]] || cat "$fault_journal" >>"$journal"
  [[ $shown ]] || fail "the service did not do what it should; the lines above show what it did."
  say "the service did what it should."
}

# Whether the messages of the journal contain the given texts in this order.
expect_messages() {
  local text found line=0
  for text; do
    found=$(tail -n "+$((line + 1))" "$fault_journal" | grep -nF -m 1 -e "$text" | cut -d: -f1)
    if [[ ! $found ]]; then
      say "there is no message \"$text\" where one should be."
      return 1
    fi
    ((line += found))
  done
}

# Uses a capture library that follows the script on standard input and records nothing.
use_scripted_library() {
  [[ -f $bin/doubles/gsdk.dll ]] ||
    fail "$bin/doubles/gsdk.dll is missing: run scripts/run without --no-build."
  cat >"$scratch/library.json"
  GSDK_DOUBLE_SCRIPT=$(windows_path "$scratch/library.json")
  export GSDK_DOUBLE_SCRIPT
  common+=(--library "$(windows_path "$bin/doubles/gsdk.dll")")
}

watch() {
  host_console /dev/null watch --title "$title" --seconds "$seconds" --fps "$fps" "$@"
}

show_stall() {
  say "The packets of the first session stop after 5 s, those of the second go on. The service waits"
  say "10 s for a packet, asks itself for a restart and starts the second session 3 s later."
  use_scripted_library <<'END'
{ "sessions": [
    { "threads": [ { "steps": [ { "log": "library: packets flow" },
                                { "packets": 300, "interval_us": 16667 },
                                { "log": "library: packets stop" } ] } ] },
    { "threads": [ { "steps": [ { "log": "library: packets flow again" },
                                { "packets": -1, "interval_us": 16667 } ] } ] } ] }
END
  start_display 1600x900
  start_game
  watch --mode game --for 30 &&
    expect_messages "library: packets stop" "No recording packets seen within timeout, restarting" \
      "library: packets flow again"
}

show_window_closed() {
  say "The game's window closes in the middle of the recording. The capture library ends the"
  say "connection, the service restarts, finds no window to record and ends with status 0."
  start_display 1600x900
  start_game --seconds 10
  watch --mode window --for 60 &&
    expect_messages "capture settings: " "Window to record no longer exists, exiting"
}

show_encoder_missing() {
  say "No encoder can be opened. The service says so and ends with status 22."
  use_scripted_library <<'END'
{ "calls": { "gsdk_session_create": [
    { "code": 15, "message": "neither libx264 nor h264_mf can be opened" } ] } }
END
  start_display 1600x900
  start_game
  watch --mode game --expect-status 22 &&
    expect_messages "No valid encoder found on session creation:"
}

show_monitor_moved() {
  say "The game moves from the left monitor to the right one after 12 s. On Windows the service is"
  say "told, logs \"The game window changed its monitor, we need to restart the monitor recording\""
  say "and restarts. Wine refuses to tell one process about another one's windows, so here the host"
  say "asks for the restart 3 s later, and the service then records the right monitor."
  start_two_monitors
  start_game --size 640x360 --move-to 1100,80 --move-after 12
  printf 'sleep 15\nrestart\nsleep 6\nquit\n' >"$scratch/commands"
  host_console "$scratch/commands" console --mode monitor --title "$title" --seconds "$seconds" \
    --fps "$fps" &&
    expect_messages "at 1024x768," '"in", "text": "{\"event\": {\"restart\": true}}"' "at 800x600,"
}
