# shellcheck shell=bash disable=SC2154  # the names are those of dc and settings.sh
# Life of the namespaces that the domain runs in.  Their first process is inside.sh; when it ends, the kernel ends every
# other process in them, so nothing can be left over.

inNewNamespaces=(unshare --net --mount --pid --fork --kill-child --mount-proc --propagation private)

# launch detached|bound: start the domain over the prepared tree and wait until it answers.  Sets namespacePid and enter.
# A bound domain dies with this script, even when that is killed.
launch() {
  local binding=() log=$tree/log/start.log holder i
  [[ $1 == bound ]] && binding=(setpriv --pdeathsig KILL)
  mkdir -p "$tree"/{cache,log,run}
  rm -rf "${tree:?}/run"/*
  # The domain must not hold on to the lock.
  setsid "${binding[@]}" "${inNewNamespaces[@]}" "$here/lib/inside.sh" serve "$dcDir" \
    </dev/null >"$log" 2>&1 {lockFd}>&- &
  holder=$!
  disown
  for ((i = 0; i < 1200; i++)); do
    if [[ -e $tree/run/ready ]]; then
      useNamespacesOf "$(<"/proc/$holder/task/$holder/children")"
      return
    fi
    kill -0 "$holder" 2>/dev/null || break
    sleep 0.05
  done
  kill -KILL "$holder" 2>/dev/null
  tail -5 "$log" "$tree/log/log.samba" >&2 2>/dev/null
  die "the domain controller did not come up, see $tree/log"
}

# shellcheck disable=SC2034  # enter is for dc
useNamespacesOf() {
  namespacePid=${1// /}
  # nsenter and this inner bash wait for the command; it is ended when they are.  bash passes on how it ended.
  enter=(
    nsenter --target "$namespacePid" --net --mount --pid --wdns="$PWD" --
    setpriv --pdeathsig TERM bash -c '"$@"; exit $?' dc
    env --default-signal=INT --default-signal=QUIT setpriv --pdeathsig TERM --
  )
}

# A private process that was left by a crash may carry the number of the recorded one: its network tells them apart.
isStarted() {
  local pid network
  [[ -s $dcDir/started ]] || return 1
  read -r pid network <"$dcDir/started"
  [[ $(readlink "/proc/$pid/ns/net" 2>/dev/null) == "$network" ]] || return 1
  useNamespacesOf "$pid"
}

# Whether this very process is in the namespaces already.
isInside() {
  [[ -s $tree/run/network && $(<"$tree/run/network") == "$(readlink /proc/self/ns/net)" ]]
}

# endNamespaces TERM|KILL: the gentle way lets Samba close its databases.
endNamespaces() {
  [[ -n ${namespacePid-} ]] || return 0
  local i
  kill -"$1" "$namespacePid" 2>/dev/null || return 0
  for ((i = 0; i < 300; i++)); do
    kill -0 "$namespacePid" 2>/dev/null || return 0
    sleep 0.05
  done
  kill -KILL "$namespacePid" 2>/dev/null || true
}
