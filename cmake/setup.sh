# Sourced by ./run, ./test and .ci/run: installs what is missing on Debian and Ubuntu, and builds.
# Everything that it prints goes to standard error.

BUILD_PACKAGES="g++ cmake ninja-build libboost-dev zlib1g-dev juce-modules-source-data
  libcli11-dev nlohmann-json3-dev libfmt-dev libncurses-dev libcpp-httplib-dev pkg-config"
TEST_PACKAGES="libgtest-dev libboost-thread-dev binutils util-linux scdoc mandoc groff-base
  python3 tmux"
CI_PACKAGES="clang-format doxygen chromium"
RTSAN_PACKAGES="clang-22 libclang-rt-22-dev"
# For the preset macos. npm may have come with a Node.js from elsewhere.
MACOS_PACKAGES="lld llvm libbenchmark-dev"
command -v npm >/dev/null 2>&1 || MACOS_PACKAGES="$MACOS_PACKAGES npm"

say() { printf '%s\n' "$*" >&2; }

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
  $as_root apt-get update -qq >&2
  # shellcheck disable=SC2086
  $as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends $missing >&2
}

# build PRESET [cmake options]: configures and builds build/PRESET.
build() {
  preset=$1
  shift
  say "Building ($preset)..."
  mkdir -p build
  [ "$preset" != macos ] || cmake/macos/setup >&2
  if ! cmake --preset "$preset" "$@" >"build/$preset.log" 2>&1; then
    cat "build/$preset.log" >&2
    return 1
  fi
  cmake --build --preset "$preset" >&2
}
