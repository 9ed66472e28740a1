# shellcheck shell=bash
# Sourced by ./run and ./test: what both do before their own work. Goes to the root of the source tree.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

say() { printf '== %s\n' "$*"; }

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# step TEXT COMMAND...: says what is done, does it, and ends the script if it fails.
step() {
  local what=$1
  shift
  say "$what"
  "$@" || die "could not $what"
}

# quietly COMMAND...: without its usual output; what it says of errors stays.
quietly() { "$@" >/dev/null; }

installed() {
  [[ $(dpkg-query -W -f '${db:Status-Status} ' "$1" 2>/dev/null) == installed* ]]
}

# need_packages SCOPE...: installs what is missing of the Debian packages of these scopes.
need_packages() {
  local scopes=" $* " name scope why missing=()
  while read -r name scope why; do
    if [[ $name != \#* && $scopes == *" $scope "* ]] && ! installed "$name"; then
      say "missing package $name: $why"
      missing+=("$name")
    fi
  done <packaging/debian-packages
  if ((${#missing[@]} > 0)); then install_packages "${missing[@]}"; fi
}

install_packages() {
  command -v apt-get >/dev/null || die "this is no Debian system; install by hand: $*"
  local apt=(env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 apt-get -qq -o Dpkg::Use-Pty=0)
  if ((EUID != 0)); then
    command -v sudo >/dev/null || die "neither root nor sudo here; as root: apt-get install $*"
    apt=(sudo "${apt[@]}")
  fi
  step "fetch the lists of packages" quietly "${apt[@]}" update
  step "install $*" quietly "${apt[@]}" install --yes --no-install-recommends "$@"
}

# build PRESET [TARGET...]: configures only when the presets changed; the build itself notices every other change.
build() {
  local preset=$1
  shift
  if [[ ! build/$preset/build.ninja -nt CMakePresets.json ]]; then
    step "configure $preset" quietly cmake --preset "$preset" --log-level=WARNING
  fi
  step "build $preset${*:+: $*}" cmake --build --preset "$preset" --target "${@:-all}"
}
