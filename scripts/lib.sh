# Sourced by the other scripts: where things are, how to say what is done, how to tell whether it must be done again.
# shellcheck shell=bash

set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck disable=SC2034  # for those that source this
build=$root/build
# The modules whose classes and tests are run.
# shellcheck disable=SC2034
java_modules=(zorvan-bridge zorvan-cli)

# The compiler's cache serves checkouts in other folders too.
export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1

say() { printf '\033[1m==>\033[0m %s\n' "$*"; }
die() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

require_root() {
  [ "$(id -u)" = 0 ] || die "the embedded domain needs its own network namespace: run this as root (sudo make ...)"
}

# run_logged LOG COMMAND...: runs quietly; on failure shows the end of the log.
run_logged() {
  local log=$1
  shift
  mkdir -p "$(dirname "$log")"
  "$@" >"$log" 2>&1 || {
    tail -n 40 "$log" >&2
    die "failed: $* (whole output in ${log#"$root"/})"
  }
}

# up_to_date STAMP PATH...: true when the stamp exists and nothing under the paths is newer.
up_to_date() {
  local stamp=$1
  shift
  [ -e "$stamp" ] && [ -z "$(find "$@" -newer "$stamp" -not -path '*/target/*' -print -quit)" ]
}

# install_packages PACKAGE...: installs those that are missing, and says nothing when none is. Daemons are kept from starting.
install_packages() {
  local missing=() package
  for package in "$@"; do
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
  done
  [ ${#missing[@]} = 0 ] && return 0
  require_root
  say "installing ${missing[*]}"
  local policy=/usr/sbin/policy-rc.d own_policy=no
  if [ ! -e $policy ]; then
    printf '#!/bin/sh\nexit 101\n' >$policy
    chmod +x $policy
    own_policy=yes
  fi
  local result=0
  { DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 update &&
    DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 -y --no-install-recommends install "${missing[@]}"; } \
    >"${TMPDIR:-/tmp}/zorvan-packages.log" 2>&1 || result=$?
  [ $own_policy = yes ] && rm -f $policy
  [ $result = 0 ] || {
    tail -n 5 "${TMPDIR:-/tmp}/zorvan-packages.log" >&2
    die "the packages could not be installed"
  }
}
