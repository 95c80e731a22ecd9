#!/bin/sh
# Fails when a shared library exports nothing, a name that is not KivDB's, or a
# hidden member of a header's class: tests/exports.sh NM LIBRARY HEADER ...

names=$("$1" -D --defined-only "$2" | sed 's/.* //')
shift 2
private=$(awk '
  /^class.* \{$/ { sub(/ :.*/, " {"); class = $(NF - 1) }
  /^ (protected|private):/ { hidden = 1 }
  /^\};/ { hidden = 0 }
  hidden && match($0, /[A-Za-z_]+(\(|;)/) {
    print "KivDB::" class "::" substr($0, RSTART, RLENGTH - 1)
  }' "$@")
if [ -z "$names" ] || [ -z "$private" ]; then
  echo "no names or no private members found"
  exit 1
fi
printf '%s\n' "$names" | grep -v '^_ZNK\{0,1\}5KivDB' && exit 1
! printf '%s\n' "$names" | c++filt | sed 's/(.*//' | grep -Fx "$private"
