#!/bin/sh
# Fails when a shared library exports a name that is not KivDB's, or none:
# tests/exports.sh NM LIBRARY

names=$("$1" -DC --defined-only "$2" | sed 's/^[0-9a-f]* [A-Za-z] //') || exit 1
if [ -z "$names" ]; then
  echo "$2 exports nothing"
  exit 1
fi
if printf '%s\n' "$names" | grep -v '^KivDB::'; then
  echo "$2 exports the names above"
  exit 1
fi
