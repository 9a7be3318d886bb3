# Installing Debian packages; sourced by scripts/lib.sh and tests/dc/dc, which have say and die.
# shellcheck shell=bash

# install_packages PACKAGE...: installs those that are missing, and says nothing when none is. Daemons are kept from starting.
install_packages() {
  local package installed missing=()
  # It complains about packages that it never heard of, and names the others all the same.
  installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null || true)
  for package in "$@"; do
    grep -qxF "installed $package" <<<"$installed" || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  [ "$(id -u)" = 0 ] || die "packages are missing, run this as root: ${missing[*]}"
  say "installing ${missing[*]}"
  (install_without_daemons "${missing[@]}")
}

# In a subshell of its own, for the trap.
install_without_daemons() {
  local policy=/usr/sbin/policy-rc.d kept='' log
  log=$(mktemp)
  if [ -e $policy ] || [ -L $policy ]; then
    kept=$(mktemp -u "$policy.XXXXXX")
    mv $policy "$kept"
  fi
  # shellcheck disable=SC2064  # the names of now
  trap "rm -f '$policy' '$log'; [ -z '$kept' ] || mv '$kept' '$policy'" EXIT
  printf '#!/bin/sh\nexit 101\n' >$policy
  chmod 755 $policy
  export DEBIAN_FRONTEND=noninteractive
  local install=(apt-get -y -o DPkg::Lock::Timeout=300 --no-install-recommends install "$@")
  "${install[@]}" >"$log" 2>&1 && return
  # An outdated package list is the usual reason on a machine that nobody updated.
  { apt-get -o DPkg::Lock::Timeout=300 update && "${install[@]}"; } >"$log" 2>&1 && return
  tail -n 5 "$log" >&2
  die "the packages could not be installed"
}
