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

as_root() {
  if ((EUID == 0)); then "$@"; else sudo "$@"; fi
}

# Removes nothing, such as another mail server, and starts no service of what it installs.
install_packages() (
  command -v apt-get >/dev/null || die "not a Debian system; install by hand: $*"
  ((EUID == 0)) || command -v sudo >/dev/null || die "neither root nor sudo; as root: apt-get install $*"
  policy=/usr/sbin/policy-rc.d  # which Debian asks before it starts a service
  if [[ ! -e $policy ]]; then
    trap 'as_root rm -f "$policy"' EXIT
    printf '#!/bin/sh\nexit 101\n' | as_root install -m 755 /dev/stdin "$policy"
  fi
  apt=(as_root env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 apt-get -qq -o Dpkg::Use-Pty=0)
  step "fetch the lists of packages" quietly "${apt[@]}" update
  step "install $*" quietly "${apt[@]}" install --yes --no-remove --no-install-recommends "$@"
)

# build PRESET [TARGET...]: configures only when the presets changed; the build itself notices every other change.
build() {
  local preset=$1
  shift
  if [[ ! build/$preset/build.ninja -nt CMakePresets.json ]]; then
    step "configure $preset" quietly cmake --preset "$preset" --log-level=WARNING
  fi
  step "build $preset${*:+: $*}" cmake --build --preset "$preset" --target "${@:-all}"
}
