#!/usr/bin/env bash
# Runs the qxinstall tool on real files and checks its output and exit status.
#
#   cli_test.sh QXINSTALL GROUP     GROUP: parse, check, ordering, environment, log, usage
set -uo pipefail

qx=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
group=$2
# Extra environment for the next runs of qxinstall; set here rather than on the shell's own
# command line, where bash would try to switch to a locale that may not be installed.
run_env=()
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
# The default installation log lives in the temporary folder: keep it inside the work folder.
export TMPDIR=$work/tmp
mkdir -p "$TMPDIR"
failures=0

fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

# expect STATUS STDOUT -- ARGS...: qxinstall ARGS exits with STATUS and prints exactly STDOUT
# (without its final newline) and nothing on stderr.
expect() {
  local status=$1 want=$2 out code
  shift 3
  out=$(env "${run_env[@]}" "$qx" "$@" 2>"$work/stderr")
  code=$?
  [[ $code == "$status" ]] || fail "qxinstall $* exited $code, expected $status"
  [[ $out == "$want" ]] || fail "qxinstall $* printed [$out], expected [$want]"
  [[ ! -s $work/stderr ]] || fail "qxinstall $* wrote to stderr: $(<"$work/stderr")"
}

# expect_error STATUS TEXT -- ARGS...: qxinstall ARGS exits with STATUS, prints nothing on
# stdout and one line on stderr that contains TEXT.
expect_error() {
  local status=$1 text=$2 out err code
  shift 3
  out=$("$qx" "$@" 2>"$work/stderr")
  code=$?
  err=$(<"$work/stderr")
  [[ $code == "$status" ]] || fail "qxinstall $* exited $code, expected $status"
  [[ -z $out ]] || fail "qxinstall $* printed [$out] on stdout"
  [[ $err == *"$text"* ]] || fail "qxinstall $* said [$err], expected it to contain [$text]"
  [[ $(wc -l <"$work/stderr") == 1 ]] || fail "qxinstall $* wrote more than one line: [$err]"
}

# contains FILE TEXT: FILE holds TEXT somewhere.
contains() {
  grep -qF -- "$2" "$1" || fail "$1 does not contain [$2]: $(cat "$1" 2>&1)"
}

test_parse() {
  printf '# answers\n\n  Color = Blue  \r\nproduct.Alpha_Beta\nproduct.Gamma\nplatform.x86\n' >in.txt
  printf 'PRODUCT=Delta\nzeta = last_one\n\xc3\x84PFEL = 1\nkey = a#b\n' >>in.txt
  expect 0 $'color=Blue\nkey=a#b\nplatform[]=x86\nproduct[]=Alpha Beta\nproduct[]=Gamma\nzeta=last_one\n\xc3\x84pfel=1' \
    -- parse in.txt
  expect 0 '{
  "color": "Blue",
  "key": "a#b",
  "platform": [
    "x86"
  ],
  "product": [
    "Alpha Beta",
    "Gamma"
  ],
  "zeta": "last_one",
  "Äpfel": "1"
}' -- parse in.txt --json

  printf '# only a comment\n\n   \t\n' >empty.txt
  expect 0 '' -- parse empty.txt
  expect 0 '{}' -- parse empty.txt --json

  expect_error 2 'missing.txt: no such file' -- parse missing.txt
  mkdir folder
  expect_error 2 'folder: is a folder' -- parse folder
}

test_check() {
  printf 'InstallMode = typical\nPort = 8443\nagree = yes\nproduct.Kestra\n' >in.txt
  printf '# rules\ninstallmode = strval:typical,custom\nport=intval\nPRODUCT = intval\n' >rules.txt
  expect 0 'ok: 2 of 3 values checked' -- check in.txt --rules rules.txt

  # The first failure in key order is reported, whatever the order of the lines.
  printf 'port = eighty\nagree = maybe\ninstallmode = everything\n' >bad.txt
  printf 'port=intval\nagree=boolval\ninstallmode=strval:typical,custom\n' >bad-rules.txt
  expect 1 "key='agree' value='maybe' rule='boolval'" -- check bad.txt --rules bad-rules.txt

  # A failed file rule also leaves its two notes in the installation log.
  printf 'licence = no/such/licence.txt\n' >file.txt
  printf 'licence = rfile\n' >file-rules.txt
  expect 1 "key='licence' value='no/such/licence.txt' rule='rfile'" \
    -- check file.txt --rules file-rules.txt --log logs/check.log
  contains logs/check.log ') Error reading file no/such/licence.txt'
  contains logs/check.log ") File 'no/such/licence.txt' does not exist or it's empty"

  printf 'port=intval\njust a line\n' >broken-rules.txt
  expect_error 2 'broken-rules.txt:2: expected key=rule, found "just a line"' \
    -- check in.txt --rules broken-rules.txt
  expect_error 2 'absent-rules.txt: no such file' -- check in.txt --rules absent-rules.txt
  expect_error 2 'absent.txt: no such file' -- check absent.txt --rules rules.txt
}

test_ordering() {
  local first second result
  while read -r first second result; do
    expect 0 "$result" -- version-compare "$first" "$second"
  done <<'TABLE'
1.10 1.9 1
1.0.0 1 0
1 1.0.1 -1
01.2 1.2 0
2..x 1.5 1
TABLE
  expect_error 2 'cannot compare "1..2" with "1.0.2": a piece has no leading digits' \
    -- version-compare 1..2 1.0.2
  expect_error 2 'a piece is beyond the int range' -- version-compare 2147483648 1

  expect 0 $'KESTRA BATCH ENGINE\nKESTRA\nkestra assistant\nTARNWICK\nalpha\nZeta' \
    -- sort-products TARNWICK Zeta KESTRA alpha 'kestra assistant' 'KESTRA BATCH ENGINE'
  expect 0 '' -- sort-products
}

test_environment() {
  local url
  for url in https://quillford.com https://www.quillford.com/support file:///tmp/readme.txt \
    file://localhost/docs/manual.pdf; do
    expect 0 allowed -- url-allowed "$url"
  done
  for url in http://quillford.com https://evilquillford.com https://quillford.com.evil.example \
    file:///tmp/manual.PDF file:///tmp/setup.exe '' 'not a url'; do
    expect 1 refused -- url-allowed "$url"
  done
  # Only refusals: an allowed URL would start the desktop's opener.
  expect_error 1 'refused "http://quillford.com"' -- open http://quillford.com
  expect_error 1 'refused "file:///tmp/setup.exe"' -- open file:///tmp/setup.exe

  local setting result
  while read -r setting result; do
    run_env=(-u LC_ALL -u LC_MESSAGES -u LANG "$setting")
    expect 0 "$result" -- locale
  done <<'TABLE'
LC_ALL=de_AT.UTF-8 de_AT
LC_ALL=C en_US
LC_MESSAGES=pt_BR.UTF-8 pt_BR
LANG=fr_CA.ISO-8859-1 fr_CA
LANG=POSIX en_US
TABLE
  run_env=()

  mkdir -p root/product
  expect 0 no -- sandbox --install-path "$work/root/product"
  touch root/qx_anchor
  expect 0 yes -- sandbox --install-path "$work/root/product"
}

test_log() {
  expect 0 '' -- log --to logs/install.log Installation started
  expect 0 '' -- log --to logs/install.log -- --quiet was passed
  [[ $(grep -c . logs/install.log) == 2 ]] || fail "the log was not appended to: $(cat logs/install.log)"
  grep -qE '^\([A-Z][a-z]{2} [0-9]{1,2}, [0-9]{4} [0-9:]{8}\) Installation started$' logs/install.log ||
    fail "unexpected entry format: $(cat logs/install.log)"
  contains logs/install.log ') --quiet was passed'

  expect 0 '' -- log Without a Logger
  local default_log
  default_log=$(find "$TMPDIR" -name 'quillford_*.log')
  [[ -n $default_log ]] || fail "no default log in $TMPDIR"
  [[ -z $default_log ]] || contains "$default_log" ') Without a Logger'

  printf 'line one\nline two\n' >notes.txt
  expect 0 '' -- log-file --to logs/install.log notes.txt
  contains logs/install.log ') Content of the file notes.txt'
  contains logs/install.log $'line one\nline two'
  contains logs/install.log 'End of the file notes.txt'

  expect_error 2 'missing.txt: The file does not exist.' -- log-file --to logs/install.log missing.txt
  touch plain-file
  expect_error 2 'Cannot create directory' -- log --to plain-file/sub/install.log hello
  expect_error 2 '--to is required' -- log-file notes.txt
}

test_usage() {
  local command
  for command in parse check version-compare sort-products url-allowed open locale sandbox log \
    log-file; do
    "$qx" "$command" --help >help.txt 2>&1 || fail "$command --help exited $?"
    contains help.txt "Usage: qxinstall $command"
  done
  "$qx" --help >help.txt || fail "--help exited $?"
  contains help.txt 'Exit status: 0 success, 1 a check failed, 2 a usage or input error.'

  expect_error 2 'A subcommand is required' --
  expect_error 2 'unknown command "frobnicate"' -- frobnicate
  expect_error 2 'qxinstall parse: FILE is required' -- parse
  expect_error 2 'qxinstall version-compare: The following argument was not expected: 3' \
    -- version-compare 1 2 3
  expect_error 2 'qxinstall check: --rules is required' -- check in.txt
}

case $group in
  parse | check | ordering | environment | log | usage) "test_$group" ;;
  *)
    echo "unknown group $group" >&2
    exit 2
    ;;
esac
if ((failures)); then
  echo "cli $group: $failures failures"
  exit 1
fi
echo "cli $group: all checks passed"
