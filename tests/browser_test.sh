#!/usr/bin/env bash
# The page of `qxinstall report --html`, rendered by a real browser (Debian's chromium,
# headless): its DOM holds the failures and a timeline per run, no element comes from the log's
# text, the console stays quiet and the page makes no request. A control page with an image and
# a script shows that those checks see what they look for.
#
#   browser_test.sh QXINSTALL OUT_DIR
# The page, its DOM and a screenshot stay in OUT_DIR. Without chromium the test is skipped
# (exit 77), unless QX_REQUIRE_BROWSER is set (CI sets it): then it fails.
set -uo pipefail
qx=$1 out=$2
read -r -a emulator <<<"${QX_EMULATOR:-}"
browser=$(command -v chromium || command -v chromium-browser || true)
if [[ -z $browser ]]; then
  [[ -n ${QX_REQUIRE_BROWSER:-} ]] && echo "FAIL: no chromium, and QX_REQUIRE_BROWSER is set" && exit 1
  echo "SKIP: no chromium (Debian: apt-get install chromium)" && exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out" && rm -f "$out"/page.html "$out"/dom.html "$out"/page.png
failures=0
fail() { echo "FAIL: $*" && failures=$((failures + 1)); }

# Two runs: the first fails after a long pause, its failures quote markup; the second succeeds.
log=$work/install.log
stamp() { printf '(Nov 16, 2026 %02d:%02d:%02d) ' $(($1 / 3600)) $(($1 / 60 % 60)) $(($1 % 60)); }
{
  t=32400
  stamp $t && printf 'Installation run started\nproduct: Kestra Studio\nversion: 2027.1\nprocess: 4242\nuser: alice\nhost: mac-01\ntime zone: +09:00 JST\nlog: /Users/alice/Library/Logs/kestra-install.log\n'
  for i in $(seq 1 60); do t=$((t + i % 3)) && stamp $t && echo "Copying part $i of 120 to /Applications/Kestra Studio.app"; done
  stamp $t && printf 'Content of the file /Users/alice/answers.txt\ninstallmode = typical\nEnd of the file /Users/alice/answers.txt\n'
  stamp $t && echo 'Error: <script>alert(1)</script> "><img src=x onerror=alert(2)> while copying'
  t=$((t + 180)) && stamp $t && echo 'Retrying the copy of <b>part 61</b>'
  for i in $(seq 61 90); do t=$((t + i % 2)) && stamp $t && echo "Copying part $i of 120"; done
  stamp $t && echo "Unable to open https://quillford.com/help?a=1&b=<i>2</i> 1"
  t=$((t + 1)) && stamp $t && printf 'Installation run ended: failed\nduration: 306 s\nlost entries: 0\n'
  t=36000
  stamp $t && printf 'Installation run started\nproduct: Kestra Studio\nversion: 2027.1\nprocess: 4301\nuser: alice\nhost: mac-01\ntime zone: +09:00 JST\nlog: /Users/alice/Library/Logs/kestra-install.log\n'
  for i in $(seq 1 40); do t=$((t + 1 + i % 4)) && stamp $t && echo "Copying part $i of 40"; done
  t=$((t + 1)) && stamp $t && printf 'Installation run ended: succeeded\nduration: 101 s\nlost entries: 0\n'
} >"$log"
"${emulator[@]}" "$qx" report "$log" --html "$out/page.html" >/dev/null
[[ $? == 1 ]] || fail "report exited $?, expected 1 (a run failed)"

# render PAGE NAME: the DOM into NAME.dom, the browser's log into NAME.log, its network log
# into NAME.net.json, and a screenshot into NAME.png; each in a fresh profile.
render() {
  local page=$1 name=$2 flags=(--headless --no-sandbox --disable-gpu --disable-quic --no-first-run
    --disable-background-networking --disable-component-update --disable-sync
    --enable-logging=stderr --v=0)
  timeout 60 "$browser" "${flags[@]}" --user-data-dir="$work/profile-$name" \
    --log-net-log="$work/$name.net.json" --dump-dom "file://$page" >"$work/$name.dom" 2>"$work/$name.log" ||
    fail "chromium --dump-dom of $name exited $?"
  timeout 60 "$browser" "${flags[@]}" --user-data-dir="$work/profile-$name-shot" \
    --window-size=1000,1500 --hide-scrollbars --screenshot="$work/$name.png" "file://$page" \
    >/dev/null 2>>"$work/$name.log" || fail "chromium --screenshot of $name exited $?"
}
# The requests a page made: those the network stack started for a document loaded from a file.
requests() { grep -c '"network_isolation_key":"file://' "$work/$1.net.json"; }
console() { grep -c ':CONSOLE' "$work/$1.log"; }

# The control: a page without a policy that loads an image and logs an error.
printf '<!DOCTYPE html><html><body><img src="http://127.0.0.1:9/x.png"><script>console.error("control")</script></body></html>\n' >"$work/control.html"
render "$work/control.html" control
[[ $(requests control) -ge 1 ]] || fail "the network log shows no request of the control page"
[[ $(console control) -ge 1 ]] || fail "the browser's log shows no console message of the control page"

render "$out/page.html" page
cp "$work/page.dom" "$out/dom.html" && cp "$work/page.png" "$out/page.png"
dom=$work/page.dom
[[ $(requests page) == 0 ]] || fail "the page made $(requests page) requests"
[[ $(console page) == 0 ]] || fail "console: $(grep ':CONSOLE' "$work/page.log")"
grep -qF "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">" "$dom" ||
  fail "the DOM lost the page's content security policy"
# Every element is one the page itself writes; log text arrived as text.
tags=$(grep -o '<[a-zA-Z][a-zA-Z0-9]*' "$dom" | tr -d '<' | tr 'A-Z' 'a-z' | sort -u | tr '\n' ' ')
allowed=" article body code dd details dl dt h1 h2 h3 h4 head html li line meta ol p pre rect section span style summary svg text title ul "
for tag in $tags; do [[ $allowed == *" $tag "* ]] || fail "an element <$tag> in the DOM"; done
! grep -qiE '<[^>]* (src|href|on[a-z]+)=' "$dom" || fail "an attribute that loads or runs: $(grep -oiE '<[^>]* (src|href|on[a-z]+)=[^>]*>' "$dom" | head -3)"
grep -qF 'Error: &lt;script&gt;alert(1)&lt;/script&gt; "&gt;&lt;img src=x onerror=alert(2)&gt; while copying' "$dom" ||
  fail "the first failure is not in the DOM as text"
grep -qF 'Unable to open https://quillford.com/help?a=1&amp;b=&lt;i&gt;2&lt;/i&gt; 1' "$dom" ||
  fail "the failed launch is not in the DOM as text"
[[ $(grep -o '<svg class="timeline"' "$dom" | wc -l) == 2 ]] || fail "not one timeline per run"
[[ $(grep -o '<line class="failure"' "$dom" | wc -l) == 3 ]] || fail "not three failures marked on the timelines"
[[ $(grep -o '<rect class="gap"' "$dom" | wc -l) -ge 1 ]] || fail "no long gap shaded"
# A PNG of the window's size (its IHDR: width and height as 32-bit big-endian numbers).
[[ $(head -c 8 "$work/page.png" | od -An -tx1 | tr -d ' \n') == 89504e470d0a1a0a ]] || fail "no PNG screenshot"
[[ $(od -An -tu1 -j16 -N8 "$work/page.png" | tr -s ' ') == " 0 0 3 232 0 0 5 220" ]] ||
  fail "screenshot not 1000x1500: $(od -An -tu1 -j16 -N8 "$work/page.png")"

((failures == 0)) && echo "browser: the page renders in $("$browser" --version 2>/dev/null | head -1): no request, no console message, log text as text; page, DOM and screenshot in $out"
exit $((failures > 0))
