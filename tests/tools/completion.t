What the shell completes, with pipes as files.

  $ test -e /dev/fd/0 || exit 80

  $ . "$TESTDIR/setup.sh"; mkdir 'kiv/database/my table'
  $ printf 'id[int]|full name[varchar]' >'kiv/schema/my table'
  $ cat >complete.bash <<'END'
  > . "$1"; shift
  > COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)); _kivdb; printf '%s\n' "${COMPREPLY[@]}"
  > END
  $ complete_words() { bash complete.bash "$TESTDIR/../../tools/completion.bash" "$@" 2>&1; }
  $ complete_words kivdb d; complete_words kivdb -r . list h
  delete
  drop-table
  dump
  diff
  hosts
  $ complete_words kivdb --root=. list hosts p; complete_words kivdb get hosts 1
  port=
  1
  10
  $ complete_words kivdb list hosts --columns id,n; complete_words kivdb set 'my\ t'
  id,name
  my\ table
  $ complete_words kivdb watch h; complete_words kivdb watch hosts -- my
  hosts
  
  $ complete_words kivdb dump --redact hosts.p; complete_words kivdb import hosts --from j
  hosts.port
  json
  jsonl

Each command of the tool is known.

  $ kivdb help | sed -n '/^Subcommands/,$s/^  \([a-z-]*\) .*/\1/p' | sort >commands
  $ complete_words kivdb '' | sort | diff commands -
