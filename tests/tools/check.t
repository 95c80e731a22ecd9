What check finds, and what a repair leaves.

  $ . "$TESTDIR/setup.sh"
  $ kivdb check; kivdb check --repair; kivdb check -o json
  []
  $ old() { touch -h -d 2001-01-01 "$@"; }
  $ see() { kivdb check "$@" -o tsv >out; echo "status $?"; sed -e 1d -e 's/\t/ | /g' \
  >   -e 's/, written [^|]*|/ |/' -e 's,kiv/removed/[^/]*,TIME,g' out | sort; }

The five states that a save leaves when it stops: before it wrote, while it
wrote, with all written, with the old record removed, after the rename.

  $ printf 'be' >$hosts/1.tmp; old $hosts/1.tmp
  $ printf 'new|1|' >$hosts/2.tmp; old $hosts/2.tmp
  $ printf 'last|7|' >$hosts/3.tmp; old $hosts/3.tmp
  $ printf 'a\0|7|' >$hosts/4.tmp; old $hosts/4.tmp
  $ printf 'young|' >$hosts/10.tmp
  $ mkfifo $hosts/5.tmp; printf 'x|1|' >$hosts/6.tmp.tmp; old $hosts/[56].tmp*
  $ see
  status 1
  error | hosts | 3.tmp | save-interrupted | a complete save of 2 of 2 values without its record | --restore or --discard
  error | hosts | 4.tmp | save-cut | an incomplete save without its record: an acknowledged record may be lost | move away
  error | hosts | 5.tmp | save-blocked | no regular file: it blocks every save of 5 | move away
  error | hosts | 6.tmp.tmp | save-interrupted | a complete save of 2 of 2 values without its record | --restore or --discard
  warning | hosts | 1.tmp | save-cut | an incomplete save | move away
  warning | hosts | 10.tmp | save-unconfirmed | a complete save that did not replace its record | none: it is younger than 60 seconds
  warning | hosts | 2.tmp | save-unconfirmed | a complete save that did not replace its record | move away
  $ kivdb check -q
  [1]
  $ kivdb check hosts -o json | tail -2 | cut -c1-80
  {"severity":"error","table":"hosts","entry":"6.tmp.tmp","finding":"save-interrup
  ]
  $ kivdb check --repair --dry-run >/dev/null; ls $hosts
  1
  1.tmp
  10
  10.tmp
  2
  2.tmp
  3.tmp
  4.tmp
  5.tmp
  6.tmp.tmp
  $ see --repair
  status 1
  error | hosts | 3.tmp | save-interrupted | a complete save of 2 of 2 values without its record | --restore or --discard
  error | hosts | 4.tmp | save-cut | an incomplete save without its record: an acknowledged record may be lost | moved to TIME/database/hosts/4.tmp
  error | hosts | 5.tmp | save-blocked | no regular file: it blocks every save of 5 | moved to TIME/database/hosts/5.tmp
  error | hosts | 6.tmp.tmp | save-interrupted | a complete save of 2 of 2 values without its record | --restore or --discard
  warning | hosts | 1.tmp | save-cut | an incomplete save | moved to TIME/database/hosts/1.tmp
  warning | hosts | 10.tmp | save-unconfirmed | a complete save that did not replace its record | none: it is younger than 60 seconds
  warning | hosts | 2.tmp | save-unconfirmed | a complete save that did not replace its record | moved to TIME/database/hosts/2.tmp
  $ ls $hosts; find kiv/removed -type f -o -type p | cut -d/ -f 4- | sort
  1
  10
  10.tmp
  2
  3.tmp
  6.tmp.tmp
  database/hosts/1.tmp
  database/hosts/2.tmp
  database/hosts/4.tmp
  database/hosts/5.tmp
  $ kivdb check -o ids | sort
  hosts/10.tmp
  hosts/3.tmp
  hosts/6.tmp.tmp
  $ kivdb check --repair --restore >/dev/null; cat $hosts/3 $hosts/6; echo
  last|7|x|1|
  $ old $hosts/*.tmp; kivdb check --repair --discard >/dev/null; ls $hosts
  1
  10
  2
  3
  6
  $ kivdb check

A leftover with too few values, and one whose record is unusable.

  $ printf 'few|' >$hosts/7.tmp; printf 'good|1|' >$hosts/8.tmp
  $ printf 'bad' >$hosts/8; old $hosts/*.tmp
  $ see --repair --restore
  status 1
  error | hosts | 7.tmp | save-interrupted | a complete save of 1 of 2 values without its record | not restored: 1 of 2 values
  error | hosts | 8 | record-unusable | 1 of 2 values | moved to TIME/database/hosts/8
  error | hosts | 8.tmp | save-interrupted | a complete save of 2 of 2 values without its record | restored as hosts/8
  $ ls $hosts; cat $hosts/8; echo; see --repair --discard
  1
  10
  2
  3
  6
  7.tmp
  8
  good|1|
  status 0
  error | hosts | 7.tmp | save-interrupted | a complete save of 1 of 2 values without its record | moved to TIME/database/hosts/7.tmp
  $ rm -r kiv/removed; kivdb check

Everything else.

  $ printf '1|2|3|\n' >$hosts/20; printf 'a|x|' >$hosts/21; printf 'a|1|\nb' >$hosts/22
  $ printf 'a\0b|1|' >$hosts/23; printf 'a|2147483648|' >$hosts/24; : >$hosts/25
  $ (head -c 2048 /dev/zero | tr '\0' a; printf '|1|') >$hosts/26
  $ mkdir $hosts/30 $hosts/sub; ln -s 1 $hosts/31; printf 'a|1|' >$hosts/name
  $ printf 'a|1|' >$hosts/007; printf 'a|1|' >$hosts/1~; printf 'a|1|' >$hosts/2.dpkg-old
  $ printf 'a|1|' >$hosts/-3; touch $hosts/x.ADD $hosts/2147483647
  $ see
  status 1
  error | hosts | 2147483647 | record-unusable | empty | none
  error | hosts | 23 | record-unusable | 1 of 2 values | none
  error | hosts | 25 | record-unusable | empty | none
  warning | hosts | -3 | allocation | counts as the highest id, 4294967293 | none
  warning | hosts | 007 | odd-entry | the name is no id | none
  warning | hosts | 1~ | leftover | left by an editor or package manager | move away
  warning | hosts | 2.dpkg-old | leftover | left by an editor or package manager | move away
  warning | hosts | 20 | record-doubtful | 3 values, not 2 | none
  warning | hosts | 21 | record-doubtful | port is no int: "x" | none
  warning | hosts | 2147483647 | allocation | counts as the highest id, 2147483647 | none
  warning | hosts | 22 | record-doubtful | more than one line | none
  warning | hosts | 24 | record-doubtful | port is no int: "2147483648" | none
  warning | hosts | 26 | record-doubtful | name has over 2047 bytes | none
  warning | hosts | 30 | odd-entry | no regular file | none
  warning | hosts | 31 | odd-entry | no regular file | none
  warning | hosts | name | odd-entry | the name is no id | none
  warning | hosts | sub | odd-entry | no regular file | none
  warning | hosts | x.ADD | marker | a marker is never a record | move away
  $ see --repair | grep -e moved -e status
  status 1
  warning | hosts | 1~ | leftover | left by an editor or package manager | moved to TIME/database/hosts/1~
  warning | hosts | 2.dpkg-old | leftover | left by an editor or package manager | moved to TIME/database/hosts/2.dpkg-old
  warning | hosts | x.ADD | marker | a marker is never a record | moved to TIME/database/hosts/x.ADD
  $ rm -r kiv/removed $hosts/[2-9]?* $hosts/-3 $hosts/name $hosts/007 $hosts/sub

Schemas.

  $ cd kiv/schema; : >empty; mkdir dir; printf 'id[int]|x' >cut
  $ printf 'id[int]|x[int]|x[int]' >twice; printf 'n[int]|x[int]' >noid
  $ printf 'id[int]' >one; printf 'id[int]|x[int]' >nodir; ln -s hosts link
  $ printf 'id[int]|x[int]' >hosts~; mkdir ../database/empty ../database/stray
  $ for table in cut twice noid one link; do mkdir ../database/$table; done
  $ printf 'x' >../database/cut/1.tmp; cd ../..; old kiv/database/*/*.tmp
  $ see
  status 1
  error | cut |  | schema-damaged | the schema is columns only up to id | none
  error | cut | 1.tmp | save-cut | an incomplete save without its record: an acknowledged record may be lost | none: the schema has an error
  error | dir |  | schema-unusable | the schema is no regular file | move away
  error | empty |  | schema-unusable | the schema is empty | move away
  error | nodir |  | no-directory | the table directory is missing | make it
  error | twice |  | schema-damaged | the schema has the column x twice | none
  warning | hosts~ |  | schema-leftover | left by an editor or package manager | move away
  warning | noid |  | schema-doubtful | the first column is n, not id | none
  warning | one |  | schema-doubtful | the schema has one column | none
  warning | stray |  | no-schema | a directory without a schema | none
  $ see --repair | grep -v none$
  status 1
  error | cut | 1.tmp | save-cut | an incomplete save without its record: an acknowledged record may be lost | none: the schema has an error
  error | dir |  | schema-unusable | the schema is no regular file | moved to TIME/schema/dir
  error | empty |  | schema-unusable | the schema is empty | moved to TIME/database/empty and TIME/schema/empty
  error | nodir |  | no-directory | the table directory is missing | made kiv/database/nodir
  warning | hosts~ |  | schema-leftover | left by an editor or package manager | moved to TIME/schema/hosts~
  $ kivdb check -o ids; ls kiv/schema kiv/database
  cut
  cut/1.tmp
  noid
  one
  stray
  twice
  kiv/database:
  cut
  hosts
  link
  nodir
  noid
  one
  stray
  twice
  
  kiv/schema:
  cut
  hosts
  link
  nodir
  noid
  one
  twice
  $ kivdb check hosts; kivdb check nope
  kivdb: nope: no such table
  [2]
  $ kivdb check >/dev/full
  kivdb: standard output: cannot write: No space left on device
  [2]
  $ kivdb check --restore
  kivdb: --restore requires --repair; see kivdb help
  [2]
