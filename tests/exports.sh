#!/bin/sh
# Fails when a shared library exports nothing, a name that is not KivDB's, or a
# private member of a header's class: tests/exports.sh NM LIBRARY HEADER ...

nm=$1 library=$2
shift 2
symbols=$("$nm" -D --defined-only "$library" | sed 's/.* //') || exit 1
names=$(printf '%s\n' "$symbols" | c++filt) || exit 1
if [ -z "$symbols" ]; then
  echo "$library exports nothing"
  exit 1
fi
if printf '%s\n' "$symbols" | grep -v '^_ZNK\{0,1\}5KivDB'; then
  echo "$library exports the names above"
  exit 1
fi

# CLASS::MEMBER of every private member.
private=$(awk '
  /^class.* \{$/ { class = $(NF - 1) }
  /^ private:/ { hidden = 1 }
  /^\};/ { hidden = 0 }
  hidden && match($0, /[A-Za-z_]+(\(|;)/) {
    print "KivDB::" class "::" substr($0, RSTART, RLENGTH - 1)
  }' "$@")
if [ -z "$private" ]; then
  echo "no private members found"
  exit 1
fi
if printf '%s\n' "$names" | sed 's/(.*//' | grep -Fx "$private"; then
  echo "$library exports the private members above"
  exit 1
fi
