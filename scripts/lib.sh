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

# shellcheck source=packages.sh
. "$root/scripts/packages.sh"
