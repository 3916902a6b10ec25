# SPDX-License-Identifier: BSL-1.0

# Sourced by ./run, ./test and .ci/run: installs what is missing on Debian and Ubuntu, and builds.
# Everything that it prints goes to standard error.

BUILD_PACKAGES="g++ cmake ninja-build libboost-dev zlib1g-dev juce-modules-source-data
  libcli11-dev nlohmann-json3-dev libfmt-dev libncurses-dev libcpp-httplib-dev pkg-config
  libmosquitto-dev libsamplerate0-dev"
# Whatever JACK is there stays, PipeWire's or JACK 1's: libraries of two kinds do not go together.
pkg-config --exists jack 2>/dev/null || dpkg-query -W libjack-dev >/dev/null 2>&1 ||
  BUILD_PACKAGES="$BUILD_PACKAGES libjack-jackd2-dev"
TEST_PACKAGES="libgtest-dev libboost-thread-dev binutils util-linux scdoc mandoc groff-base
  python3 tmux jackd2 jacktrip iproute2 mosquitto mosquitto-clients openssl"
CI_PACKAGES="clang-format clang-tidy doxygen chromium procps"
RTSAN_PACKAGES="clang-22 libclang-rt-22-dev"
# For the preset macos. npm may have come with a Node.js from elsewhere.
MACOS_PACKAGES="lld llvm libbenchmark-dev"
command -v npm >/dev/null 2>&1 || MACOS_PACKAGES="$MACOS_PACKAGES npm"

say() { printf '%s\n' "$*" >&2; }

# watching WORDS FILE COMMAND...: runs the command, and says that it still does whenever FILE, which
# grows as it shows something, has not grown for five seconds. "-" shows nothing meanwhile.
watching() {
  words=$1 file=$2
  shift 2
  (
    seconds=0 size=
    while sleep 5 >/dev/null 2>&1 && kill -0 $$ 2>/dev/null; do
      seconds=$((seconds + 5)) before=$size
      size=$([ "$file" = - ] || wc -c 2>/dev/null <"$file" || true)
      [ "$size" != "$before" ] || say "  ... $words, $seconds s so far"
    done
  ) &
  watcher=$!
  status=0
  "$@" || status=$?
  kill "$watcher" 2>/dev/null || true
  wait "$watcher" 2>/dev/null || true
  return "$status"
}

# logging FILE COMMAND...: its output goes to FILE, and is shown if it fails.
logging() {
  log=$1
  shift
  "$@" >"$log" 2>&1 || {
    cat "$log" >&2
    return 1
  }
}

# install_missing PACKAGE...
install_missing() {
  if ! command -v dpkg-query >/dev/null 2>&1; then
    say "This is no Debian or Ubuntu: nothing is installed. The build needs the equivalents of: $*"
    return 0
  fi
  missing=""
  for package in "$@"; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing="$missing $package"
  done
  [ -n "$missing" ] || return 0
  as_root=""
  if [ "$(id -u)" != 0 ]; then
    if ! command -v sudo >/dev/null 2>&1; then
      say "These packages are missing, and there is no sudo to install them. As root, run:"
      say "  apt-get install$missing"
      return 1
    fi
    as_root="sudo"
  fi
  say "Installing the packages that are missing${as_root:+ (with sudo)}:$missing"
  [ -z "$as_root" ] || sudo -v
  packages_log=$(mktemp)
  watching "fetching the lists of packages" - \
    logging "$packages_log" $as_root apt-get update || return 1
  # What it costs, in apt's own words.
  # shellcheck disable=SC2086
  LC_ALL=C $as_root apt-get install --assume-no --no-install-recommends $missing 2>/dev/null |
    sed -n '/newly installed/s/^/  /p; /^Need to get/s/^/  /p; /disk space/s/^/  /p' >&2 || true
  # shellcheck disable=SC2086
  watching "installing" - logging "$packages_log" \
    $as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends $missing || return 1
  rm -f "$packages_log"
}

# Compilers at a time: one a core, as far as each finds the 1.3 GB that it takes.
compilers() {
  count=$(getconf _NPROCESSORS_ONLN)
  kilobytes=$(awk '/^MemAvailable:/ { print $2 }' /proc/meminfo 2>/dev/null || true)
  limit=$(awk '/^[0-9]/ { print int($1 / 1024) }' /sys/fs/cgroup/memory.max 2>/dev/null || true)
  for memory in $kilobytes $limit; do
    [ $((memory / 1300000)) -ge "$count" ] || count=$((memory / 1300000))
  done
  [ "$count" -ge 1 ] || count=1
  echo "$count"
}

# A build folder that this clone and this user cannot go on with.
check_build_folder() {
  if [ "$(id -u)" != 0 ]; then
    foreign=$(find build ! -user "$(id -u)" 2>/dev/null | head -n 1)
    if [ -n "$foreign" ] && [ ! -w "$foreign" ]; then
      say "$PWD/$foreign is another user's: was this run with sudo before? Take it back with:"
      say "  sudo chown -R $(id -un) '$PWD/build'"
      return 1
    fi
  fi
  cache=build/$1/CMakeCache.txt
  [ -e "$cache" ] || return 0
  home=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$cache")
  if [ "$(cd "$home" 2>/dev/null && pwd -P)" != "$(pwd -P)" ]; then
    say "build/$1 was made when this clone lay in $home. Build it anew: remove it with"
    say "  rm -rf '$PWD/build/$1'"
    return 1
  fi
}

# build PRESET [cmake options]: configures and builds build/PRESET.
build() {
  preset=$1
  shift
  check_build_folder "$preset"
  mkdir -p build
  jobs=${CMAKE_BUILD_PARALLEL_LEVEL:-$(compilers)}
  say "Building build/$preset, $jobs at a time..."
  [ -e "build/$preset/.ninja_log" ] || say "$(cost_of "$preset")"
  log=build/$preset.log
  if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER+given}" ] && command -v ccache >/dev/null 2>&1; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache  # heeded where the folder is new
  fi
  if [ "$preset" = macos ]; then
    watching "preparing the cross compiler" - logging "$log" cmake/macos/setup || return 1
  fi
  watching "configuring" - logging "$log" cmake --preset "$preset" "$@" || return 1
  watching "compiling" "build/$preset/.ninja_log" \
    cmake --build --preset "$preset" -j "$jobs" >&2
}

# What a first build takes.
cost_of() {
  case $1 in
    run) echo "The first time that takes about 3 minutes on 2 cores." ;;
    *) echo "The first time that takes minutes." ;;
  esac
}
