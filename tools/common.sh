# Shared by the scripts in tools/ and .ci/: finding interpreters, environments, Debian packages and
# the list of steps with their outcome. Sourced from the root of the checkout.
# shellcheck shell=bash

ENVIRONMENTS=.venv-test
REPORTS=build/reports
REQUIRED_PYTHON=3.11
OTHER_PYTHONS="3.9 3.10 3.12 3.13"

FAILED_STEPS=()
NOT_RUN=()

say() { printf '\n== %s\n' "$*"; }

# step NAME COMMAND...: runs the command, remembers a failure and goes on.
step() {
  local name=$1 status started=$SECONDS
  shift
  say "$name"
  set +e
  (set -e; "$@")
  status=$?
  set -e
  if [ "$status" -eq 0 ]; then
    echo "-- $name: passed in $((SECONDS - started)) s"
  else
    echo "-- $name: FAILED with status $status after $((SECONDS - started)) s"
    FAILED_STEPS+=("$name")
  fi
}

# usable_python PROGRAM X.Y: whether it is that version and has what builds and environments need.
usable_python() {
  "$1" - "$2" 2> /dev/null <<'PYTHON'
import ensurepip, os, sys, sysconfig, venv
headers = os.path.join(sysconfig.get_paths()["include"], "Python.h")
sys.exit(sys.argv[1] != "%d.%d" % sys.version_info[:2] or not os.path.exists(headers))
PYTHON
}

# find_python X.Y: prints the first usable interpreter on the path or under pyenv.
find_python() {
  local candidate
  for candidate in $(type -ap "python$1") "${PYENV_ROOT:-$HOME/.pyenv}"/versions/"$1".*/bin/python; do
    if [ -x "$candidate" ] && usable_python "$candidate" "$1"; then
      echo "$candidate"
      return 0
    fi
  done
  return 1
}

# make_environment X.Y: a virtual environment for that version; prints its interpreter.
make_environment() {
  local python=$ENVIRONMENTS/$1/bin/python
  if ! "$python" -c 'import pip' 2> /dev/null; then
    rm -rf "${ENVIRONMENTS:?}/$1"
    "$(find_python "$1")" -m venv "$ENVIRONMENTS/$1"
  fi
  echo "$python"
}

# debian_packages NAME...: installs the missing ones as root, else says which are missing and fails.
debian_packages() {
  local name missing=()
  for name in "$@"; do
    dpkg-query -W -f '${Status}' "$name" 2> /dev/null | grep -q 'ok installed' || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  if [ "$(id -u)" -eq 0 ] && command -v apt-get > /dev/null; then
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
  else
    echo "Missing, to be installed by an administrator: ${missing[*]}" >&2
    return 1
  fi
}

# have_or_install WHAT TEST PACKAGE...: installs the packages only when the test command fails.
have_or_install() {
  local what=$1 test=$2
  shift 2
  if ! eval "$test" > /dev/null 2>&1; then
    echo "installing $what"
    if ! command -v dpkg-query > /dev/null; then
      echo "$what is missing (Debian's packages: $*)" >&2
      return 1
    fi
    debian_packages "$@"
  fi
}

# with_progress WHAT COMMAND...: runs a command that says more than a person wants to read. Every
# PROGRESS_SECONDS (10) a line on stderr tells how long it has run and what it said last. Its whole
# output is kept in a file; when the command fails, the end of it is shown and the file stays.
with_progress() {
  local what=$1 log status=0 ticker started=$SECONDS
  shift
  log=$(mktemp "${TMPDIR:-/tmp}/kavel-log.XXXXXX")
  echo "$what ..." >&2
  # The command stays in the foreground, so that an interrupt reaches it.
  progress_lines "$log" &
  ticker=$!
  "$@" > "$log" 2>&1 < /dev/null || status=$?
  kill "$ticker" 2> /dev/null || true
  wait "$ticker" 2> /dev/null || true
  if [ "$status" -eq 0 ]; then
    echo "$what: done in $(duration $((SECONDS - started)))" >&2
    rm -f "$log"
    return 0
  fi
  tail -n 40 "$log" >&2
  echo "$what: FAILED with status $status after $(duration $((SECONDS - started)))." >&2
  echo "Above is the end of what it said; all of it is in $log" >&2
  return "$status"
}

# progress_lines LOG: what was said last, now and then, until it is ended or the script has gone.
progress_lines() {
  local started=$SECONDS pause=''
  trap 'kill $pause 2> /dev/null; exit 0' TERM
  while kill -0 $$ 2> /dev/null; do
    sleep "${PROGRESS_SECONDS:-10}" &
    pause=$!
    wait "$pause"
    kill -0 $$ 2> /dev/null || return 0
    echo "  $(duration $((SECONDS - started))): $(last_words "$1")" >&2
  done
}

# last_words LOG: its last line in few words; of a compiler's, how far it is and the file's name.
last_words() {
  sed -E -e $'s/\x1b\\[[0-9;]*[A-Za-z]//g' -e '/^[[:space:]]*$/d' "$1" | tail -n 1 |
    sed -E -e 's/^[[:space:]]+//' \
      -e 's,^\[([0-9]+)/([0-9]+)\] Building .*/([^/ ]+)\.o$,compiling \1 of \2: \3,' \
      -e 's,^\[([0-9]+)/([0-9]+)\] Linking .*/([^/ ]+)$,linking \1 of \2: \3,' \
      -e 's/^(.{66}).{4,}$/\1 .../'
}

# duration SECONDS: "35 s", "2 min 05 s".
duration() {
  if [ "$1" -lt 60 ]; then echo "$1 s"; else printf '%d min %02d s\n' $(($1 / 60)) $(($1 % 60)); fi
}

# pip_install PYTHON ARGUMENT...
pip_install() {
  local python=$1
  shift
  "$python" -m pip install --quiet --disable-pip-version-check "$@"
}

# finish: the closing lines; fails when a step failed.
finish() {
  local name
  say "Summary"
  "$ENVIRONMENTS/$REQUIRED_PYTHON/bin/python" tools/summary.py "$REPORTS" || true
  for name in ${NOT_RUN[@]+"${NOT_RUN[@]}"}; do echo "not run: $name"; done
  if [ ${#FAILED_STEPS[@]} -eq 0 ]; then
    echo "All required steps passed in $((SECONDS / 60)) min $((SECONDS % 60)) s."
    return 0
  fi
  for name in "${FAILED_STEPS[@]}"; do echo "failed: $name"; done
  return 1
}
