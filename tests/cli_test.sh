#!/usr/bin/env bash
# Runs the qxinstall tool on real files (tests/data/cli/<group>/): each row of the table
# (tests/data/cli.tsv) of one group, then the group's checks of what the commands left behind.
#
#   cli_test.sh QXINSTALL GROUP TABLE
set -uo pipefail
qx=$(cd "$(dirname "$1")" && pwd)/$(basename "$1") group=$2 table=$3 failures=0 rows=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [[ -n ${QX_EMULATOR:-} ]]; then # a cross build: every run of the tool goes through the emulator
  printf '#!/bin/sh\nexec %s "%s" "$@"\n' "$QX_EMULATOR" "$qx" >"$work/qx" && chmod +x "$work/qx"
  qx=$work/qx
fi
cd "$work" || exit 1
export TMPDIR=$work/tmp # the default installation log stays inside the work folder
mkdir -p "$TMPDIR"

fail() { echo "FAIL: $*" && failures=$((failures + 1)); }
unescape() { [[ $1 == '\e' ]] || printf '%b' "$1"; }
contains() { grep -qF -- "$2" "$1" || fail "$1 does not contain [$2]: $(cat "$1" 2>&1)"; }

# run_row CASE ARGS STATUS STDOUT STDERR ENV: one row of the table; stderr must hold the text,
# and as many lines.
run_row() {
  local field fields args=() env=(-u LC_ALL -u LC_MESSAGES -u LANG) out code err
  IFS='|' read -r -a fields <<<"$2"
  [[ $2 == '\e' ]] || for field in "${fields[@]}"; do args+=("$(unescape "$field")"); done
  [[ $6 == '\e' ]] || read -r -a env -d '' <<<"${env[*]} $6"
  out=$(env "${env[@]}" timeout 20 "$qx" "${args[@]}" 2>"$work/stderr") # 124: it hung
  code=$? err=$(<"$work/stderr")
  [[ $code == "$3" ]] || fail "$1: exited $code, expected $3"
  [[ $out == "$(unescape "$4")" ]] || fail "$1: printed [$out], expected [$4]"
  if [[ $5 == '\e' ]]; then
    [[ -z $err ]] || fail "$1: wrote to stderr: $err"
  elif [[ $err != *"$(unescape "$5")"* || $(wc -l <"$work/stderr") != $(($(unescape "$5" | wc -l) + 1)) ]]; then
    fail "$1: said [$err], expected as many lines, holding [$5]"
  fi
}

setup_log() { # a log over its limit, with two older siblings
  mkdir bounded && head -c 200 /dev/zero | tr '\0' o >bounded/install.log
  touch bounded/install.2026-01-01T00-00-00Z.log bounded/install.2026-01-02T00-00-00Z.log
}
check_log() {
  [[ $(ls bounded | tr '\n' ' ') =~ ^install\.20[0-9-]{8}T[0-9-]{8}Z\.log\ install\.log\ $ ]] ||
    fail "a log kept bounded left: $(ls bounded | tr '\n' ' ')"
  [[ $(wc -c <bounded/install.2*) == 200 && $(<bounded/install.log) == *') bounded' ]] ||
    fail "the rotated log or the new one holds what it should not"
  contains "$TMPDIR/quillford_$(id -un).log" ') default bounded'
  if unshare -m true 2>/dev/null; then # room for no other file: the log is not rotated, the entry lands
    mkdir full
    expect 0 'full/install.log: not rotated: No space left on device' unshare -m sh -c \
      'mount -t tmpfs -o size=64k,nr_inodes=2 tmpfs full && head -c 200 /dev/zero >full/install.log && exec "$0" log --to full/install.log --keep-bytes 100 entry' "$qx"
  fi
  grep -qE '^\([A-Z][a-z]{2} [0-9]{2}, [0-9]{4} [0-9:]{8}\) Installation started$' logs/install.log ||
    fail "unexpected entry format: $(cat logs/install.log)"
  contains logs/install.log ') --quiet was passed'
  contains logs/install.log $') Content of the file notes.txt\nline one\nline two\nEnd of the file notes.txt'
  contains "$TMPDIR/quillford_$(id -un).log" ') Without a Logger'
  contains logs/install.log $'Password = ********\r\nproduct.Password_Safe\nlicence=********\nEnd of'
  ! grep -qE 'hunter2|AB-12' logs/install.log || fail "a redacted value reached the log"
}
check_usage() { # a command's help must never pass for its success, whatever the command
  local command commands
  commands=$("$qx" --help | sed -n '/^Subcommands:$/,/^$/s/^  \([a-z-]*\) .*/\1/p')
  [[ $(wc -w <<<"$commands") -ge 12 ]] || fail "--help lists only [$commands]"
  for command in $commands; do
    "$qx" "$command" --help >help.txt 2>&1
    [[ $? == 2 ]] || fail "$command --help did not exit 2"
    contains help.txt "Usage: qxinstall $command"
  done
  "$qx" sort-products a -- -h >/dev/null 2>&1
  [[ $? == 2 ]] || fail "sort-products a -- -h did not exit 2"
  "$qx" --help >help.txt || fail "--help exited $?"
  contains help.txt 'Exit status: 0 success, 1 a check failed, 2 a usage or input error.'
}

setup_check() { # what git would hold awkwardly
  printf 'mode silent\n' >$'two\nlines.txt'
  printf '\xff\xfep\0o\0r\0t\0=\0i\0n\0t\0v\0a\0l\0\n\0' >utf16-rules.txt
}
check_check() { # the README's table and the header's list name exactly the codes of the table
  local root codes readme header
  root=$(dirname "$table")/../..
  codes=$("$qx" check --codes | awk '{ print $1 }' | sort)
  [[ $(wc -l <<<"$codes") -ge 20 ]] || fail "check --codes listed only [$codes]"
  readme=$(sed -n '/^| code | severity |/,/^$/s/^| `\([a-z0-9-]*\)` |.*/\1/p' "$root/README.md" | sort)
  header=$(sed -n '/The codes, as inputFileDiagnosticCodes/,/^[^/]/p' \
    "$root/include/install/cpputil/input_file_diagnostics.hpp" | grep -o '`[a-z0-9-]*`' | tr -d '`' | sort)
  [[ $readme == "$codes" ]] || fail "README's codes differ: $(diff <(echo "$readme") <(echo "$codes") | tr '\n' ' ')"
  [[ $header == "$codes" ]] || fail "the header's codes differ: $(diff <(echo "$header") <(echo "$codes") | tr '\n' ' ')"
  "$qx" check --codes --json | grep -c '"meaning": ' | grep -qx "$(wc -l <<<"$codes")" || fail "check --codes --json"
}
setup_write() { # text in other encodings than UTF-8, which git would hold awkwardly
  cp "$(dirname "$table")/../../examples/rules.txt" readme-rules.txt
  printf '\xff\xfem\0o\0d\0e\0=\0a\0\r\0\n\0' >utf16.txt && printf 'name = caf\xe9\n' >latin1.txt
  mkfifo fifo && ln -s /proc/self/fd/1 out-link # what /dev/stdout is
}
check_write() { # the template checks clean; the canonical form reads back equal; --to writes the same
  "$qx" template --rules readme-rules.txt >template.txt || fail "template exited $?"
  "$qx" check template.txt --rules readme-rules.txt --strict >/dev/null || fail "template: $?"
  "$qx" rewrite in.txt >canonical.txt || fail "rewrite exited $?"
  [[ $("$qx" parse canonical.txt) == "$("$qx" parse in.txt)" ]] || fail "rewrite changed the map"
  cmp -s template.txt template-out.txt || fail "template --to wrote another text"
  "$qx" rewrite in.txt --withhold license_key | cmp -s - canonical-out.txt || fail "rewrite --to: another text"
  [[ $(stat -c %a canonical-out.txt) == 600 ]] || fail "rewrite --to made mode $(stat -c %a canonical-out.txt)"
  "$qx" rewrite in.txt --to in.txt && cmp -s in.txt canonical.txt || fail "rewrite --to FILE itself"
  expect 2 '... (883 bytes)' "$qx" rewrite in.txt --to "missing/$(printf 'x%.0s' {1..875})"
  (($(wc -c <"$work/stderr") < 400)) || fail "a --to name took $(wc -c <"$work/stderr") bytes"
  if unshare -m true 2>/dev/null; then # a device, made on a tmpfs of a namespace of its own
    expect 2 'it is a device, not a regular file' unshare -m sh -c \
      'mkdir dev && mount -t tmpfs tmpfs dev && mknod dev/full c 1 7 && exec "$0" rewrite in.txt --to dev/full' "$qx"
  fi
  local file && for file in broken.txt latin1.txt; do # refused: the evidence stays
    cp "$file" before.txt && "$qx" rewrite "$file" --to "$file" --force="$([[ $file == latin1.txt ]] && echo true || echo false)" 2>/dev/null
    cmp -s "$file" before.txt || fail "rewrite of $file replaced it"
  done
}

setup_report() { # an empty folder, and a fleet larger than the workers' window
  mkdir empty many
  for i in $(seq -w 1 40); do
    printf '(Nov 16, 2026 10:00:%s) Error %s: cannot copy part-%s.dat\n' "$i" "$i" "$i" >"many/$i.log"
  done
}
check_report() { # the page, the order of a fleet and of per-run logs, and secrets that never leave the log
  mkdir runs && printf '(Nov 15, 2026 09:00:00) b\n' >runs/install-2026-11-15T08-00-00Z-7.log
  printf '(Nov 14, 2026 09:00:00) a\n' >runs/install-2026-11-14T08-00-00Z-100.log
  [[ $("$qx" report runs --json | grep -o 'Z-[0-9]*\.log' | tr '\n' ' ') == 'Z-100.log Z-7.log ' ]] ||
    fail "per-run logs are not reported in the order of their times"
  "$qx" report hostile.log --html page.html >/dev/null
  [[ $? == 1 && $(stat -c %a page.html) == 600 ]] || fail "report --html: exit or mode"
  contains page.html '<svg' && contains page.html '&lt;script&gt;alert(1)&lt;/script&gt;'
  contains page.html '&quot;&gt;&lt;img src=x onerror=alert(2)&gt;'
  ! grep -qiE '<(script|img|iframe|b>)|<[^>]* (src|href)=' page.html || fail "log text became markup"
  [[ $("$qx" report many --json | grep -o '^      "path": "many/[0-9]*' | cut -d/ -f2 | tr '\n' ' ') == "$(seq -w -s ' ' 1 40) " ]] ||
    fail "the fleet's logs are not reported in name order"
  "$qx" report many >out.txt
  contains out.txt '      40  Error <n>: cannot copy part-<n>.dat' # counted once per run
  local format
  for format in "" --json; do
    # shellcheck disable=SC2086 # no option, or one
    "$qx" report two-runs.log --secret-keys password --answers answers.txt $format >out.txt
    ! grep -q hunter2 out.txt || fail "report $format shows a secret"
  done
  "$qx" report two-runs.log --secret-keys password --answers answers.txt --html out.html >/dev/null
  ! grep -q hunter2 out.html || fail "report --html shows a secret"
}
setup_hostile() { # what git cannot hold: names that are not UTF-8, and a FIFO
  printf 'a=1\n' >$'bad\xff\xfe.txt' && printf 'secret=x\n' >$'bad\xef\xbf\xbd\xef\xbf\xbd.txt'
  mkfifo fifo
}
# expect STATUS STDERR_TEXT COMMAND...: the command exits STATUS within 20 s, saying the text.
expect() {
  local status=$1 text=$2 && shift 2
  timeout 20 "$@" >/dev/null 2>"$work/stderr"
  local code=$?
  [[ $code == "$status" ]] || fail "$*: exited $code, expected $status"
  [[ -z $text ]] || contains "$work/stderr" "$text"
}
check_hostile() {
  expect 2 'File name too long' "$qx" parse "$(printf 'x%.0s' {1..5000})"
  expect 2 'write error: No space left on device' sh -c '"$0" parse in.txt >/dev/full' "$qx"
  expect 2 'write error: Bad file descriptor' sh -c '"$0" parse in.txt >&-' "$qx"
  seq -f 'key%g=value' 1 20000 >k.txt # more than one buffer and a pipe's capacity: the real reason
  expect 2 'write error: No space left on device' sh -c '"$0" parse k.txt >/dev/full' "$qx"
  expect 2 'write error: Broken pipe' bash -c 'trap "" PIPE; "$0" parse k.txt | true; exit ${PIPESTATUS[0]}' "$qx"
  expect 2 '... (100000 bytes)' "$qx" version-compare "$(printf '.%.0s' {1..100000})" 1
  (($(wc -c <"$work/stderr") < 400)) || fail "an echoed argument took $(wc -c <"$work/stderr") bytes"
  ln -s in.txt "$TMPDIR/quillford_$(id -un).log" # a planted default log is refused
  expect 1 'the entry was dropped: Too many levels of symbolic links' "$qx" log planted
  seq 0 79999 | awk '{ print "k" $1 "=v" $1 }' >keys.txt
  expect 0 '' "$qx" parse --json keys.txt # took 18 s while each key was searched for
  check_log_faults
  check_opened_once
}
check_log_faults() { # the log under a size limit, on a full disk, into a FIFO nobody reads
  local entry && entry=$(printf 'S%.0s' {1..200}) && printf '%4000s\n' '' >big.log
  expect 1 'the entry was dropped: File too large' sh -c 'ulimit -f 4 && exec "$0" log --to big.log "$1"' "$qx" "$entry"
  [[ $(wc -c <big.log) == 4001 ]] || fail "an entry past the file-size limit left $(($(wc -c <big.log) - 4001)) bytes"
  mkdir small
  if unshare -m true 2>/dev/null; then
    expect 1 'the entry was dropped: No space left on device' unshare -m sh -c \
      'mount -t tmpfs -o size=64k tmpfs small && head -c 70000 /dev/zero >small/fill; exec "$0" log --to small/l.log "$1"' "$qx" "$entry"
  else
    echo "note: the full disk is not tried: no mount namespace may be made here"
  fi
  mkfifo pipe.log
  sleep 30 3<>pipe.log &
  expect 2 'Cannot open file "pipe.log" (it is not a regular file)' "$qx" log --to pipe.log "$(head -c 100000 /dev/zero | tr '\0' m)"
  kill $!
}
check_opened_once() { # the file changes kind under parse's feet: it is never read as empty
  local runs=300 wrong=0 out
  [[ -z ${QX_EMULATOR:-} ]] || runs=40
  printf 'a=1\n' >regular && mkfifo kind-fifo
  (while :; do ln -f regular r && mv -f r race.txt && ln -f kind-fifo f && mv -f f race.txt; done) &
  local swapper=$!
  for ((i = 0; i < runs; i++)); do
    out=$("$qx" parse race.txt 2>/dev/null) && [[ $out != a=1 ]] && wrong=$((wrong + 1))
  done
  kill "$swapper"
  ((wrong == 0)) || fail "parse exited 0 without the map in $wrong of $runs runs"
}

cp -R "$(dirname "$table")/cli/$group/." . 2>/dev/null # the group's files, if it has any
[[ $(type -t "setup_$group") == function ]] && "setup_$group"
while IFS=$'\t' read -r row_group name args status stdout stderr env; do
  [[ $row_group == "$group" ]] || continue
  rows=$((rows + 1))
  run_row "$name" "$args" "$status" "$stdout" "$stderr" "$env"
done < <(grep -v '^#' "$table")
((rows > 0)) || fail "no rows for group $group"
[[ $(type -t "check_$group") == function ]] && "check_$group"
((failures == 0)) || { echo "cli $group: $failures failures" && exit 1; }
echo "cli $group: $rows rows and the group's checks passed"
