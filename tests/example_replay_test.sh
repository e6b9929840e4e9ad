#!/usr/bin/env bash
# The README's replay example is examples/replay_answers.cpp word for word, and it runs: good
# answers replay, a wrong one and a rules file with a key given twice stop it.
#
#   example_replay_test.sh REPLAY_ANSWERS SOURCE_DIR
set -uo pipefail
program=$1 root=$2 failures=0
replay() { ${QX_EMULATOR:-} "$program" 2>&1; } # a cross build runs it through the emulator
fail() { echo "FAIL: $*" && failures=$((failures + 1)); }
readme=$(sed -n '/^\/\/ 3\. Replay:/,/^```$/p' "$root/README.md" | sed '$d')
example=$(sed -n '/README replay: begin/,/README replay: end/p' "$root/examples/replay_answers.cpp" |
  sed '1d;$d;s/^  //')
[[ -n $readme && $readme == "$example" ]] || fail "README and example differ: $(diff <(echo "$readme") <(echo "$example"))"
work=$(mktemp -d) && trap 'rm -rf "$work"' EXIT && cd "$work" || exit 1
printf 'installmode = strval:typical,custom\nport = intval\n' >rules.txt
printf 'InstallMode = typical\nport = 8443\nproduct.Kestra\n' >kestra-answers.txt
out=$(replay) && [[ $out == 'replayed 2 answers' ]] || fail "good answers: $out"
printf 'port = eighty\n' >kestra-answers.txt
out=$(replay); [[ $? == 1 && $out == *"key='port' value='eighty' rule='intval'" ]] || fail "wrong answer: $out"
printf 'port = intval\nport = boolval\n' >rules.txt
out=$(replay); [[ $? == 1 && $out == *"'intval' on line 1 and 'boolval' on line 2"* ]] || fail "rules: $out"
((failures == 0)) || exit 1
echo "example replay: README block and program agree, and it replays"
