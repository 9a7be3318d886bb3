# Sourced by the scripts that run JUnit: what both virtual machines are given, and how a run is summed up.
# shellcheck shell=bash
# shellcheck disable=SC2034  # for those that source this

# junit_paths ROOT [SEPARATOR]: sets classpath, and the array scan, as seen from a system that has this machine's root at ROOT.
junit_paths() {
  local prefix=$1 separator=${2:-:} module target entry
  classpath='' scan=()
  for module in "${java_modules[@]}"; do
    target=$root/java/$module/target
    scan+=("--scan-classpath=$prefix$target/test-classes")
    while IFS= read -r -d : entry; do
      [ -z "$entry" ] || classpath+=$prefix$entry$separator
    done <<<"$target/classes:$target/test-classes:$(cat "$target/test-classpath.txt"):"
  done
}

# Only classes whose name matches the regular expression PATTERN (empty: all).
junit_options() {
  options=(execute --class-path "$classpath" "${scan[@]}" --include-classname ".*($1).*"
    --disable-banner --disable-ansi-colors --details=tree)
}

# junit_count KIND LOG: how many tests were "successful", "failed" or "skipped".
junit_count() { sed -n "s/^\[ *\([0-9]*\) tests $1 *\]$/\1/p" "$2"; }

# junit_result LOG RESULT: shows what failed; sets passed, failed and result. A complaint of -Xcheck:jni or of a sanitizer counts as
# a failure.
junit_result() {
  local log=$1
  result=$2 passed=$(junit_count successful "$log") failed=$(junit_count failed "$log")
  if grep -nE 'WARNING: JNI|(WARNING|FATAL ERROR) in native method|ERROR: AddressSanitizer|runtime error:' "$log"; then
    echo "-Xcheck:jni or a sanitizer complained (whole output in ${log#"$root"/})" >&2
    result=1
    failed=$((${failed:-0} + 1))
  fi
  if [ "$result" != 0 ]; then
    sed -n '/^Failures (/,/^Test run finished/p' "$log" | head -n 150
    [ -n "$passed" ] || tail -n 40 "$log"
  fi
}
