#!/bin/bash
# First process of the domain's namespaces:
#   inside.sh serve DIR           show Samba the tree and names of the domain in DIR, run it until told to end
#   inside.sh call DIR COMMAND    run one command the same way, without a domain controller
set -euo pipefail
task=$1
# shellcheck disable=SC2034  # for settings.sh
dcDir=$2
shift 2
# shellcheck source=settings.sh
. "$(dirname "${BASH_SOURCE[0]}")/settings.sh"

showTree() {
  local place
  for place in "${!sambaFolders[@]}"; do
    mkdir -p "$tree/${sambaFolders[$place]}" "$place"
    mount --bind "$tree/${sambaFolders[$place]}" "$place"
  done
  mount --bind "$tree/hosts" /etc/hosts
  if [[ -e /etc/resolv.conf ]]; then
    mount --bind "$tree/resolv.conf" "$(realpath /etc/resolv.conf)"
  fi
  ip link set lo up
}

accepts() { (exec 3<>"/dev/tcp/$dcAddress/$1") 2>/dev/null; }

waitUntilItAnswers() {
  local port
  for port in 389 636 3268 88 464 53 135 445; do
    until accepts "$port"; do sleep 0.03; done
  done
  until ldbsearch -H "ldap://$dcAddress" -s base -b '' dnsHostName 2>/dev/null | grep -q "$dcHost"; do
    sleep 0.03
  done
  until wbinfo --ping-dc >/dev/null 2>&1; do sleep 0.03; done
}

others() {
  local process
  for process in /proc/[0-9]*; do
    [[ $process == /proc/1 || ! -e $process/exe ]] || return 0
  done
  return 1
}

serve() {
  local samba
  export KRB5_CONFIG=$tree/krb5.conf
  samba --foreground --no-process-group --model=prefork &
  samba=$!
  trap 'kill -TERM "$samba" 2>/dev/null' TERM
  readlink /proc/self/ns/net >"$tree/run/network"
  (waitUntilItAnswers && touch "$tree/run/ready") &
  wait "$samba" || true
  while kill -0 "$samba" 2>/dev/null; do wait "$samba" || true; done
  # smbd, winbindd and whoever else is left in the namespace get the time to close their files.
  local i
  kill -TERM -1 2>/dev/null || true
  for ((i = 0; i < 100; i++)); do
    others || break
    sleep 0.03
  done
}

showTree
case $task in
  serve) serve ;;
  call) "$@" ;;
esac
