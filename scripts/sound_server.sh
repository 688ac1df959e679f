# A PulseAudio server of one's own for other scripts to start: Wine plays to it and records from it,
# and nothing of the machine or of another server is heard.
# shellcheck shell=bash
sound_server_pid='' sound_server_folder=''

# Starts the server with one silent output for each name, of 48000 stereo samples a second, and
# exports what its clients need to find it. The first output is the default one; what the last one
# plays is heard at the default microphone.
# Names are letters, digits, "_" and "-".
#   start_sound_server NAME ...
start_sound_server() {
  if [[ ! $* || $* =~ [^[:alnum:]_\ -] ]]; then
    echo "sound server: outputs have names of letters, digits, \"_\" and \"-\", not \"$*\"" >&2
    return 1
  fi
  # The path of a socket has room for 107 characters.
  sound_server_folder=$(mktemp -d /tmp/sound.XXXXXX)
  local folder=$sound_server_folder name
  export PULSE_SERVER=unix:$folder/socket PULSE_COOKIE=$folder/cookie
  {
    for name; do
      echo "load-module module-null-sink sink_name=$name rate=48000 channels=2 format=float32le" \
        "sink_properties=device.description=$name"
    done
    echo "set-default-sink $1"
    echo "set-default-source $name.monitor"
    echo "load-module module-native-protocol-unix socket=$folder/socket" \
      "auth-anonymous=1 auth-cookie-enabled=0"
  } >"$folder/set-up"
  # Without a bus, since there it would meet the user's own server.
  PULSE_RUNTIME_PATH=$folder PULSE_STATE_PATH=$folder \
    DBUS_SESSION_BUS_ADDRESS=unix:path=$folder/no-bus \
    pulseaudio -n -F "$folder/set-up" --daemonize=no --use-pid-file=no --exit-idle-time=-1 \
    --realtime=no --high-priority=yes >"$folder/log" 2>&1 </dev/null &
  sound_server_pid=$!
  local tries
  for ((tries = 0; tries < 200; ++tries)); do
    ! pactl info >/dev/null 2>&1 || return 0
    kill -0 "$sound_server_pid" 2>/dev/null || break
    sleep 0.05
  done
  echo "sound server: PulseAudio did not start: $(tail -n 1 "$folder/log")" >&2
  return 1
}

# Ends the server and removes its files; does nothing when none was started.
stop_sound_server() {
  if [[ $sound_server_pid ]]; then
    kill "$sound_server_pid" 2>/dev/null
    wait "$sound_server_pid" 2>/dev/null
  fi
  [[ ! $sound_server_folder ]] || rm -rf "$sound_server_folder"
  sound_server_pid='' sound_server_folder=''
}
