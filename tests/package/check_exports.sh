#!/usr/bin/env bash
# Fails when a shared object exports a symbol outside the public API.
#
#   check_exports.sh LIBRARY [EXPECTED...]   list LIBRARY's dynamic symbols; fail on any that
#                                            belongs to neither install::, fl::, foundation::,
#                                            ::shouldAppend nor the standard library, or when
#                                            an EXPECTED demangled text is missing
#   check_exports.sh --self-test             check the classifier on known symbols
#
# Symbols are classified on their mangled form, which names the owning namespace first even
# for function templates whose demangled form starts with a return type; they are reported
# demangled.
set -euo pipefail

# Succeeds when the mangled symbol belongs to the public API or the standard library.
is_public() {
  local rest=${1%%@*} nested=0
  case $rest in
    _init | _fini | _edata | _end | __bss_start) return 0 ;;
    _Z*) rest=${rest#_Z} ;;
    *) return 1 ;;
  esac
  # vtables, VTTs, typeinfo objects and names, construction vtables, guard variables,
  # reference temporaries, TLS wrappers and thunks name the entity they belong to.
  if [[ $rest =~ ^(TV|TT|TI|TS|TC|TW|TH|GV|GR)(.*)$ ]]; then
    rest=${BASH_REMATCH[2]}
  elif [[ $rest =~ ^Th(n?[0-9]+_)(.*)$ ]]; then
    rest=${BASH_REMATCH[2]}
  elif [[ $rest =~ ^Tv(n?[0-9]+_n?[0-9]+_)(.*)$ ]]; then
    rest=${BASH_REMATCH[2]}
  fi
  # A static local belongs to its enclosing function.
  [[ $rest == Z* ]] && rest=${rest#Z}
  if [[ $rest =~ ^N[rVKRO]*(.*)$ ]]; then
    rest=${BASH_REMATCH[1]}
    nested=1
  fi
  # std:: itself and its abbreviations (allocator, basic_string, string, streams).
  [[ $rest =~ ^S[tabsiod] ]] && return 0
  [[ $rest =~ ^([0-9]+)(.*)$ ]] || return 1
  local name=${BASH_REMATCH[2]:0:${BASH_REMATCH[1]}}
  if ((nested)); then
    case $name in install | fl | foundation | __gnu_cxx) return 0 ;; esac
  else
    [[ $name == shouldAppend ]] && return 0
  fi
  return 1
}

self_test() {
  local failures=0 symbol expected actual
  while read -r expected symbol; do
    [[ -z $symbol ]] && continue
    if is_public "$symbol"; then actual=public; else actual=leak; fi
    if [[ $actual != "$expected" ]]; then
      echo "classifier: $symbol ($(c++filt "$symbol")) is $actual, expected $expected"
      failures=$((failures + 1))
    fi
  done <<'TABLE'
public _ZN7install7cpputil6logger14append_messageERKNSt7__cxx1112basic_stringIDsSt11char_traitsIDsESaIDsEEE
public _Z12shouldAppendRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE
public _ZNK7install7cpputil17VersionComparator21compareVersionNumbersERKNSt7__cxx1112basic_stringIDsSt11char_traitsIDsESaIDsEEES9_
public _ZTVN7install7cpputil9URLOpenerE
public _ZTSN2fl10filesystem14basic_ifstreamIcEE
public _ZTTN2fl10filesystem14basic_ofstreamIcEE
public _ZThn16_N2fl10filesystem14basic_ofstreamIcED1Ev
public _ZTv0_n24_N2fl10filesystem14basic_ofstreamIcED1Ev
public _ZN10foundation3log18set_enabled_levelsERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEj
public _ZGVZN10foundation3log6detail5countEvE5value
public _ZNSt5dequeIDsSaIDsEE13_M_insert_auxIPKDsEEvSt15_Deque_iteratorIDsRDsPDsET_S9_m
public _ZTINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE
public _ZSt4swapIiEvRT_S1_
public _ZN9__gnu_cxx13new_allocatorIcE8allocateEmPKv
public _init
public __bss_start
public _edata@@VERS_1
leak _ZTIN5boost6system14error_categoryE
leak _ZTVN5boost3log11v2_mt_posix10attributes16mutable_constantINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEvvvE4implE
leak _ZNK5boost6system14error_category7messageEiPcm
leak _ZN5boost10wrapexceptISt13runtime_errorE7rethrowEv
leak _Z7installv
leak _Z3foov
leak _ZN12_GLOBAL__N_13barEv
leak _Znwm
leak helper_function
TABLE
  if ((failures)); then
    echo "classifier: $failures wrong answers"
    return 1
  fi
  echo "classifier: every sample classified as expected"
}

if [[ ${1:-} == --self-test ]]; then
  self_test
  exit
fi
if (($# < 1)); then
  echo "usage: check_exports.sh LIBRARY [EXPECTED...] | --self-test" >&2
  exit 2
fi

library=$1
shift
symbols=$(nm -D --defined-only "$library" | awk 'NF >= 3 { print $3 }')
demangled=$(nm -D --defined-only -C "$library")
total=0
leaks=()
while read -r symbol; do
  [[ -z $symbol ]] && continue
  total=$((total + 1))
  is_public "$symbol" || leaks+=("$symbol")
done <<<"$symbols"

status=0
name=$(basename "$library")
if ((${#leaks[@]})); then
  echo "$name exports ${#leaks[@]} of $total symbols outside the public API:"
  printf '%s\n' "${leaks[@]}" | c++filt | sed 's/^/  /'
  status=1
fi
for expected in "$@"; do
  if ! grep -qF -- "$expected" <<<"$demangled"; then
    echo "$name does not export $expected"
    status=1
  fi
done
((status)) || echo "$name: $total exported symbols, all in the public API or the standard library"
exit $status
