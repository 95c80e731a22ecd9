#!/bin/sh
# Fails when a shared library exports other names than its interface, a file of
# packaging/abi, or a hidden member of a header's class:
# tests/exports.sh NM LIBRARY INTERFACE HEADER ...

names=$("$1" -D --defined-only "$2" | sed 's/.* //')
interface=${3##*/}
known=$(sed -n "s/.*<elf-symbol name='\([^']*\)'.*/\1/p" "$3")
shift 3
private=$(awk '
  FNR == 1 { space = "" }
  /^namespace / { space = $2 "::" }
  /^class.* \{$/ { sub(/ :.*/, " {"); class = $(NF - 1) }
  /^ (protected|private):/ { hidden = 1 }
  /^\};/ { hidden = 0 }
  hidden && match($0, /[A-Za-z_]+(\(|;)/) {
    print space class "::" substr($0, RSTART, RLENGTH - 1)
  }' "$@")
if [ -z "$names" ] || [ -z "$known" ] || [ -z "$private" ]; then
  echo "no names or no private members found"
  exit 1
fi
status=0
printf '%s\n' "$names" | grep -vxF "$known" |
  sed "s/^/not in $interface: /" | grep . && status=1
printf '%s\n' "$known" | grep -vxF "$names" |
  sed 's/^/not exported: /' | grep . && status=1
printf '%s\n' "$names" | c++filt | sed 's/(.*//' | grep -Fx "$private" &&
  status=1
exit "$status"
