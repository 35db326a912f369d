#!/usr/bin/env bash
# Plants each fault of a mutant list in a source tree, one at a time, rebuilds the native tests
# incrementally and runs them: a mutant is CAUGHT when some test that passes on the clean tree
# fails with it, MISSED when every test still passes.
#
#   scripts/mutation-check.sh [--tree DIR | --rev REV --tree DIR] [--build DIR] [--list FILE]
#                             [--only ID,ID,...] [--out FILE]
#
#   --tree DIR   the source tree to mutate in place (default: this repository). Every file is
#                restored after its mutant, and on any exit.
#   --rev REV    first make DIR a detached git worktree of REV (it must not exist yet), so that
#                the checkout others work in is never touched.
#   --build DIR  the scratch build directory (default: DIR/build/mutation); reused between runs,
#                so only the mutated file and the links behind it are rebuilt.
#   --list FILE  the mutants (default: tests/mutants.txt of the tree; its format is described
#                at its top).
#   --only IDS   run only these mutants.
#   --out FILE   also write the table there.
# Builds run under /tmp/tv-native.lock, as every native build on this machine does.
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
tree="" rev="" build="" list="" only="" out=""
while [[ $# -gt 0 ]]; do
  case $1 in
    --tree) tree=$2; shift 2 ;;
    --rev) rev=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --list) list=$2; shift 2 ;;
    --only) only=$2; shift 2 ;;
    --out) out=$2; shift 2 ;;
    *) echo "mutation-check: unknown argument $1" >&2; exit 2 ;;
  esac
done

if [[ -n $rev ]]; then
  [[ -n $tree ]] || { echo "mutation-check: --rev needs --tree for the new worktree" >&2; exit 2; }
  [[ ! -e $tree ]] || { echo "mutation-check: $tree exists already" >&2; exit 2; }
  git -C "$repo" worktree add --detach "$tree" "$rev" >&2
fi
tree=$(cd "${tree:-$repo}" && pwd)
build=${build:-$tree/build/mutation}
list=${list:-$tree/tests/mutants.txt}
[[ -f $list ]] || { echo "mutation-check: no mutant list at $list" >&2; exit 2; }
mkdir -p "$build"
build=$(cd "$build" && pwd)
log=$build/mutation-logs
mkdir -p "$log"

# The mutant list, checked whole before anything is built: a snippet that is not in its file
# exactly once is a broken list, not a result.
if ! python3 - "$list" "$tree" "$only" >"$log/mutants" <<'EOF'
import sys
path, tree, only = sys.argv[1:4]
wanted = set(filter(None, only.split(",")))
seen, bad = set(), False
for number, line in enumerate(open(path, encoding="utf-8"), 1):
    line = line.rstrip("\n")
    if not line.strip() or line.startswith("#"):
        continue
    fields = line.split("\t")
    if len(fields) != 5 or not all(fields):
        print(f"{path}:{number}: needs five tab-separated fields", file=sys.stderr); bad = True; continue
    ident, file, what, code, replacement = fields
    if ident in seen:
        print(f"{path}:{number}: id {ident} twice", file=sys.stderr); bad = True
    seen.add(ident)
    try:
        count = open(f"{tree}/{file}", encoding="utf-8").read().count(code)
    except OSError as e:
        print(f"{path}:{number}: {e}", file=sys.stderr); bad = True; continue
    if count != 1:
        print(f"{path}:{number}: {ident}: the code occurs {count} times in {file}, not once", file=sys.stderr)
        bad = True
    if not wanted or ident in wanted:
        print(line)
missing = wanted - seen
if missing:
    print("unknown mutants: " + ", ".join(sorted(missing)), file=sys.stderr); bad = True
sys.exit(1 if bad else 0)
EOF
then
  echo "mutation-check: the mutant list is not usable" >&2
  exit 1
fi
mapfile -t mutants <"$log/mutants"
[[ ${#mutants[@]} -gt 0 ]] || { echo "mutation-check: no mutants to run" >&2; exit 1; }

# Replaces `code` by `replacement` in `file`, keeping the original beside the build.
apply_mutant() {  # file code replacement
  python3 - "$tree/$1" "$2" "$3" "$log/original" <<'EOF'
import shutil, sys
path, code, replacement, keep = sys.argv[1:5]
text = open(path, encoding="utf-8").read()
if text.count(code) != 1:
    sys.exit(f"mutation-check: the code is in {path} {text.count(code)} times, not once")
shutil.copyfile(path, keep)
open(path, "w", encoding="utf-8").write(text.replace(code, replacement))
EOF
}
mutated=""
restore() {
  if [[ -n $mutated ]]; then
    cp "$log/original" "$tree/$mutated"
    mutated=""
  fi
}
trap restore EXIT
trap "exit 130" INT TERM

build_tests() {  # log file
  flock /tmp/tv-native.lock cmake --build "$build" -j2 >"$1" 2>&1
}

# Builds, then runs the tests under the same hold of the lock, and prints the names of the
# failing tests, one a line; answers 1 when the build failed. A native test takes well under a
# second, so a minute means it hangs.
build_and_test() {  # build log, test log
  local status
  status=$(flock /tmp/tv-native.lock bash -c '
    cmake --build "$1" -j2 >"$2" 2>&1 || { echo build-failed; exit 0; }
    cd "$1" && ctest -j2 --timeout 60 >"$3" 2>&1
    echo tested' _ "$build" "$1" "$2")
  [[ $status == tested ]] || return 1
  sed -n 's/^[[:space:]]*[0-9]* - \([^ ]*\) (.*)$/\1/p' "$2" | sort -u
}

if [[ ! -f $build/CMakeCache.txt ]]; then
  echo "configuring $build" >&2
  (cd "$tree" && flock /tmp/tv-native.lock cmake --preset native -B "$build" -DTV_BENCH=OFF >"$log/configure.log" 2>&1) ||
    { cat "$log/configure.log" >&2; exit 1; }
fi
echo "building and testing the clean tree" >&2
if ! build_and_test "$log/clean-build.log" "$log/clean-test.log" >"$log/clean-failures"; then
  tail -40 "$log/clean-build.log" >&2
  exit 1
fi
mapfile -t clean_failures <"$log/clean-failures"
if [[ ${#clean_failures[@]} -gt 0 ]]; then
  echo "already failing on the clean tree (not counted for any mutant): ${clean_failures[*]}" >&2
fi

table=$(mktemp)
printf '%-20s %-34s %-8s %s\n' ID FILE RESULT "WHAT / FAILING TESTS" >"$table"
caught=0 missed=0 broken=0
for line in "${mutants[@]}"; do
  IFS=$'\t' read -r id file what code replacement <<<"$line"
  echo "mutant $id" >&2
  apply_mutant "$file" "$code" "$replacement"
  mutated=$file
  if build_and_test "$log/$id-build.log" "$log/$id-test.log" >"$log/$id-failures"; then
    mapfile -t failures <"$log/$id-failures"
    new=()
    for t in "${failures[@]}"; do
      [[ " ${clean_failures[*]} " == *" $t "* ]] || new+=("$t")
    done
    if [[ ${#new[@]} -gt 0 ]]; then
      result=CAUGHT; caught=$((caught + 1)); detail="${new[*]}"
    else
      result=MISSED; missed=$((missed + 1)); detail="-"
    fi
  else
    result=NO-BUILD; broken=$((broken + 1)); detail="see $log/$id-build.log"
  fi
  restore
  printf '%-20s %-34s %-8s %s\n%-64s %s\n' "$id" "$file" "$result" "$what" "" "$detail" >>"$table"
done
printf '%d mutants: %d caught, %d missed, %d did not build\n' \
  "${#mutants[@]}" "$caught" "$missed" "$broken" >>"$table"
# The restored files rebuild once more, so that the build directory matches the tree again.
build_tests "$log/final-build.log" || echo "mutation-check: the restored tree did not build" >&2

cat "$table"
[[ -z $out ]] || cp "$table" "$out"
rm -f "$table"
[[ $missed -eq 0 && $broken -eq 0 ]]
