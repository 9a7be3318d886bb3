# shellcheck shell=bash
# The Debian packages that the domain controller needs.

serverPackages=(
  samba samba-ad-dc samba-ad-provision samba-dsdb-modules samba-vfs-modules winbind
  ldb-tools python3-samba openssl iproute2
)

installPackages() {
  local package installed missing=()
  # It complains about packages that it never heard of, and names the others all the same.
  installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "${serverPackages[@]}" 2>/dev/null || true)
  for package in "${serverPackages[@]}"; do
    grep -qxF "installed $package" <<<"$installed" || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  say "installing ${missing[*]}"
  (installWithoutDaemons "${missing[@]}")
}

# In a subshell of its own, for the trap.
installWithoutDaemons() {
  local policy=/usr/sbin/policy-rc.d kept='' log
  log=$(mktemp)
  if [[ -e $policy || -L $policy ]]; then
    kept=$(mktemp -u "$policy.XXXXXX")
    mv "$policy" "$kept"
  fi
  # shellcheck disable=SC2064  # the names of now
  trap "rm -f '$policy' '$log'; [[ -z '$kept' ]] || mv '$kept' '$policy'" EXIT
  printf '#!/bin/sh\nexit 101\n' >"$policy"
  chmod 755 "$policy"
  export DEBIAN_FRONTEND=noninteractive
  local install=(apt-get -y -o DPkg::Lock::Timeout=300 --no-install-recommends install "$@")
  "${install[@]}" >"$log" 2>&1 && return
  # An outdated package list is the usual reason on a machine that nobody updated.
  { apt-get -o DPkg::Lock::Timeout=300 update && "${install[@]}"; } >"$log" 2>&1 && return
  tail -5 "$log" >&2
  die "the packages could not be installed"
}
