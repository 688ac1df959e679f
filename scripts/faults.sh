# The demonstrations of scripts/run --fault, which reads this file. Each shows on the console what
# the service does about a fault and ends with status 0 when that is what it should do.
# shellcheck shell=bash disable=SC2154

show_fault() {
  case $fault in
    stall) show_stall ;;
    window-closed) show_window_closed ;;
    monitor-moved) show_monitor_moved ;;
    encoder-missing) show_encoder_missing ;;
  esac || fail "the service did not do what it should; the lines above show what it did."
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
  say "The first session's packets stop after 5 s, those of the second go on. The service waits 10 s"
  say "for a packet, asks itself for a restart and starts a session anew 3 s later."
  use_scripted_library <<'END'
{ "sessions": [
    { "threads": [ { "steps": [ { "log": "library: packets flow" },
                                { "packets": 300, "interval_us": 16667 },
                                { "log": "library: packets stop" } ] } ] },
    { "threads": [ { "steps": [ { "log": "library: packets flow" },
                                { "packets": -1, "interval_us": 16667 } ] } ] } ] }
END
  start_display -screen 0 1600x900x24
  start_game --seconds 0
  watch --mode game --for 30
}

show_window_closed() {
  say "The game's window closes in the middle of the recording. The capture library ends the"
  say "connection, the service restarts, finds no window to record and ends with status 0."
  start_display -screen 0 1600x900x24
  start_game --seconds 10
  watch --mode window --for 60
}

show_encoder_missing() {
  say "No encoder can be opened. The service says so and ends with status 22."
  use_scripted_library <<'END'
{ "calls": { "gsdk_session_create": [
    { "code": 15, "message": "neither libx264 nor h264_mf can be opened" } ] } }
END
  start_display -screen 0 1600x900x24
  start_game --seconds 0
  watch --mode game --expect-status 22
}

show_monitor_moved() {
  fail "not available yet."
}
