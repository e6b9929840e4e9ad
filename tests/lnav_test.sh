#!/usr/bin/env bash
# lnav reads the installation log with the format the package installs: a log written partly by
# the library (qxinstall log, log-file) and partly generated, loaded headless, has as many
# entries and errors in lnav as `qxinstall report --json` counts entries and failures. The one
# difference by design: a failed file rule is two entries, both errors, in lnav and one failure
# of one entry in the report.
#
#   lnav_test.sh QXINSTALL FORMAT
# lnav runs with a private home and configuration folder; the user's own stay untouched.
# Without lnav the test is skipped (exit 77), unless QX_REQUIRE_LNAV is set (CI sets it).
set -uo pipefail
qx=$1 format=$2
read -r -a emulator <<<"${QX_EMULATOR:-}"
if ! command -v lnav >/dev/null; then
  [[ -n ${QX_REQUIRE_LNAV:-} ]] && echo "FAIL: no lnav, and QX_REQUIRE_LNAV is set" && exit 1
  echo "SKIP: no lnav (Debian: apt-get install lnav)" && exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/config
mkdir -p "$HOME" "$XDG_CONFIG_HOME"
failures=0
fail() { echo "FAIL: $*" && failures=$((failures + 1)); }

lnav -i "$format" >"$work/install.out" 2>&1 || fail "lnav -i: $(cat "$work/install.out")"
[[ -f $XDG_CONFIG_HOME/lnav/formats/installed/qxinstall_log.json ]] ||
  fail "the format is not in the private configuration: $(cat "$work/install.out")"

log=$work/install.log
stamp() { printf '(Nov 16, 2026 09:%02d:%02d) ' $(($1 / 60 % 60)) $(($1 % 60)); }
{
  stamp 0 && printf 'Installation run started\nproduct: Kestra Studio\nversion: 2027.1\ntime zone: +09:00 JST\n'
  for i in $(seq 1 40); do
    stamp "$i" && echo "Copying part $i: no terror, no errors, no error_code, xcan't, notfound"
  done
  stamp 41 && echo "ERROR 0x80070005 while copying"
  stamp 42 && printf 'Failed to register the helper\nthe second line says nothing\n'
  stamp 43 && echo "the service can't start"
  stamp 44 && echo "the service can’t start"
  stamp 45 && printf 'licence\tNot \t Found\n'
  stamp 46 && echo "Fatal: disk full; 'error' quoted; x-exception"
  stamp 47 && echo "Unable to create specified folder for installation log /Volumes/ro/logs"
  stamp 48 && echo "Unable to open https://quillford.com/help 1"
  stamp 49 && echo "Error reading file /opt/kestra/licence.txt"
  stamp 49 && echo "File '/opt/kestra/licence.txt' does not exist or it's empty"
  stamp 50 && printf 'Content of the file /var/log/error.log\nan error inside a copy\nEnd of the file /var/log/error.log\n'
  stamp 51 && echo "Reset destination file log /tmp/error.log to /Users/alice/Library/Logs/k.log"
  stamp 52 && printf 'Installation run ended: failed\nduration: 52 s\nlost entries: 0\n'
  stamp 60 && printf 'Installation run started\nproduct: Kestra Studio\nversion: 2027.1\n'
  stamp 61 && printf 'Installation run ended: cancelled\nlost entries: 0\n'
} >"$log"
printf 'installmode = typical\npassword = hunter2\n' >"$work/answers.txt"
"${emulator[@]}" "$qx" log --to "$log" "Installing the helper: access denied" || fail "qxinstall log exited $?"
"${emulator[@]}" "$qx" log --to "$log" "Installing the helper again" || fail "qxinstall log exited $?"
"${emulator[@]}" "$qx" log-file --to "$log" --redact password "$work/answers.txt" || fail "qxinstall log-file exited $?"

lnav -n -c ';SELECT count(*) AS entries, sum(log_level = "error") AS errors FROM qxinstall_log' \
  -c ':write-csv-to -' "$log" >"$work/lnav.csv" 2>"$work/lnav.err" || fail "lnav exited $?: $(cat "$work/lnav.err")"
IFS=, read -r lnav_entries lnav_errors < <(sed -n 2p "$work/lnav.csv")
"${emulator[@]}" "$qx" report "$log" --json >"$work/report.json"
entries=$(grep -o '"entries": [0-9]*' "$work/report.json" | awk '{ s += $2 } END { print s }')
failed=$(grep -c '"kind": "' "$work/report.json")
rules=$(grep -c '"kind": "file-rule-failure"' "$work/report.json")
echo "lnav: $lnav_entries entries, $lnav_errors errors; report: $entries entries, $failed failures ($rules a failed file rule)"
[[ $failed -gt 5 && $failed -lt $entries ]] || fail "the report found $failed failures in $entries entries"
[[ $lnav_entries == $((entries + rules)) ]] || fail "lnav read $lnav_entries entries, the report $entries (+$rules)"
[[ $lnav_errors == $((failed + rules)) ]] || fail "lnav counts $lnav_errors errors, the report $failed failures (+$rules)"
exit $((failures > 0))
