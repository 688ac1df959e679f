# Packages of Debian for scripts/setup, which reads this file: of the machine's own release and of
# the next one, fetched by name and unpacked into a folder, never installed. The package lists lie
# in $work too, so that nothing of the machine's set-up changes.
# shellcheck shell=bash disable=SC2154,SC2164
own_release=bookworm
next_release=trixie

# Prints the entries for Debian among lines of the older form, with their suites renamed to those of
# a release.
entries_of_lists() {
  awk -v own="$own_release" -v release="$1" '
    $1 == "deb" {
      options = ""
      rest = $0
      sub(/^[ \t]*deb[ \t]+/, "", rest)
      if (rest ~ /^\[/) {
        options = substr(rest, 1, index(rest, "]"))
        rest = substr(rest, index(rest, "]") + 1)
        gsub(/arch=[^] ]*/, "", options)
      }
      split(rest, field, /[ \t]+/)
      first = field[1] == "" ? 2 : 1
      if (field[first] !~ /\/debian(-security)?\/?$/) next
      if (field[first + 1] !~ "^" own "(-updates|-security)?$") next
      sub(own, release, field[first + 1])
      print "deb", options, field[first], field[first + 1], "main"
      print "deb-src", options, field[first], field[first + 1], "main"
    }'
}

# The same for paragraphs of the newer form.
entries_of_sources() {
  awk -v own="$own_release" -v release="$1" '
    BEGIN {
      RS = ""
      FS = "\n"
    }
    !/(^|\n)URIs:[^\n]*\/debian(-security)?\/?[ \t]*(\n|$)/ || /(^|\n)Enabled:[ \t]*no/ { next }
    {
      suites = ""
      kept = ""
      for (line = 1; line <= NF; ++line) {
        if ($line ~ /^(URIs:|Signed-By:|[ \t])/) kept = kept $line "\n"
        if ($line !~ /^Suites:/) continue
        count = split($line, suite, /[ \t]+/)
        for (i = 2; i <= count; ++i)
          if (suite[i] ~ "^" own "(-updates|-security)?$")
            suites = suites " " release substr(suite[i], length(own) + 1)
      }
      if (suites) print "Types: deb deb-src\nSuites:" suites "\nComponents: main\n" kept
    }'
}

# apt-get or apt-cache with package lists of its own.
private_apt() {
  local apt=$work/apt
  "$1" -q -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$apt/parts" \
    -o Dir::State::lists="$apt/lists" -o Dir::State::status="$apt/status" \
    -o Dir::Cache="$apt/cache" -o APT::Architectures=amd64 -o Acquire::Languages=none \
    -o APT::Sandbox::User="$(id -un)" -o APT::Update::Post-Invoke-Success::= \
    -o DPkg::Post-Invoke::= "${@:2}"
}

read_package_lists() {
  local apt=$work/apt release file
  [[ ! -f $apt/read ]] || return 0
  say "reading Debian's package lists"
  mkdir -p "$apt/parts" "$apt/lists/partial" "$apt/cache/archives/partial"
  : >"$apt/status"
  for release in "$own_release" "$next_release"; do
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
      [[ ! -f $file ]] || entries_of_lists "$release" <"$file"
    done >>"$apt/parts/debian.list"
    for file in /etc/apt/sources.list.d/*.sources; do
      [[ ! -f $file ]] || entries_of_sources "$release" <"$file"
    done >>"$apt/parts/debian.sources"
  done
  [[ -s $apt/parts/debian.list || -s $apt/parts/debian.sources ]] ||
    fail "no entry in /etc/apt/sources.list or /etc/apt/sources.list.d is for Debian" \
      "$own_release: add one with the component main and run scripts/setup again."
  logged package-lists private_apt apt-get update
  touch "$apt/read"
}

# Prints the given version of a package where Debian still has it, else the newest one that differs
# only after its last point, as updates within a release do, else the newest of all:
#   offered_version show|"showsrc --only-source" NAME VERSION
offered_version() {
  local offered newest series=${3%.*-*}.
  # shellcheck disable=SC2086
  offered=$(private_apt apt-cache $1 "$2" 2>/dev/null | sed -n 's/^Version: //p')
  if grep -Fxq -e "$3" <<<"$offered"; then
    echo "$3"
    return
  fi
  newest=$(awk -v series="$series" 'index($0, series) == 1' <<<"$offered" |
    sort -V | tail -n 1)
  [[ $newest ]] || newest=$(sort -V <<<"$offered" | tail -n 1)
  [[ $newest ]] || fail "Debian offers no package $2: check the network and the entries in" \
    "/etc/apt and run scripts/setup again."
  say "Debian no longer offers $2 $3, taking its update $newest" >&2
  echo "$newest"
}

# Unpacks a source package, as patched by Debian, into $work/NAME:
#   unpack_source NAME VERSION
unpack_source() {
  local name=$1 version
  read_package_lists
  version=$(offered_version "showsrc --only-source" "$name" "$2")
  mkdir -p "$work/download"
  (
    cd "$work/download"
    logged "$name" private_apt apt-get source --download-only "$name=$version"
    logged "$name" dpkg-source --no-check -x "${name}_${version#*:}.dsc" "$work/$name"
  )
}

# Unpacks packages, each NAME or NAME=VERSION, into a folder:
#   unpack_packages LOG FOLDER PACKAGE ...
unpack_packages() {
  local log=$1 folder=$2 package version packages=() file
  read_package_lists
  for package in "${@:3}"; do
    if [[ $package == *=* ]]; then
      version=$(offered_version show "${package%%=*}" "${package#*=}")
      package=${package%%=*}=$version
    fi
    packages+=("$package")
  done
  mkdir -p "$work/packages" "$folder"
  (
    cd "$work/packages"
    logged "$log" private_apt apt-get download "${packages[@]}"
    for file in *.deb; do logged "$log" dpkg -x "$file" "$folder"; done
  )
  rm -r "$work/packages"
}
