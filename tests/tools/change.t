What changes a database.

  $ . "$TESTDIR/setup.sh"
  $ kivdb add hosts name='a, |b\x41 ' port=7; cat $hosts/11; echo
  11
  a\x2c \x7cb\\x41\x20|7|
  $ kivdb add hosts --id -5 name=low; kivdb get hosts -5 name
  -5
  low
  $ kivdb add hosts --id 1 name=other
  kivdb: hosts/1: is there already; see --replace
  [1]
  $ ls -i $hosts/1 >before; kivdb add hosts --id 1 name=alpha port=80 --replace
  1
  $ kivdb set hosts 1 port=80; ls -i $hosts/1 | cmp - before
  $ kivdb add hosts --id 1 port=81 --replace; cat $hosts/1; echo
  1
  |81|
  $ kivdb set hosts 1 name== port=; cat $hosts/1; echo
  =||
  $ kivdb add hosts --max 11
  kivdb: hosts: the next id is 4294967292, above 11
  [1]
  $ kivdb set hosts 99 port=1
  kivdb: hosts/99: no such record
  [1]
  $ kivdb set hosts 1 id=2
  kivdb: hosts: the id cannot be set
  [2]
  $ kivdb set hosts 1 nmae=2
  kivdb: hosts: no column nmae, there are id, name, port
  [2]
  $ kivdb set hosts 1 port=1 port=2
  kivdb: hosts: twice: port
  [2]
  $ kivdb set hosts 1 port
  kivdb: hosts: no COLUMN=VALUE: port
  [2]
  $ kivdb add hosts --id 007; kivdb add hosts --id 1.tmp; kivdb add none
  kivdb: hosts/007: no id of a new record
  kivdb: hosts/1.tmp: no id of a new record
  kivdb: none: no such table
  [2]
  $ kivdb add hosts name=$(head -c 2048 /dev/zero | tr '\0' a)
  kivdb: hosts.name: over 2047 bytes
  [2]
  $ kivdb add hosts name=$(head -c 600 /dev/zero | tr '\0' ,)
  kivdb: hosts.name: escaped, over 2047 bytes
  [2]
  $ kivdb set hosts 1 name=$(head -c 600 /dev/zero | tr '\0' ,)
  kivdb: hosts.name: escaped, over 2047 bytes
  [2]
  $ kivdb list hosts --count; rm $hosts/-5
  5

A record whose save was interrupted is not written over.

  $ mv $hosts/2 $hosts/2.tmp
  $ kivdb set hosts 2 port=1
  kivdb: hosts/2: only the temporary file is there: run check
  [1]
  $ kivdb add hosts --id 2 port=1
  kivdb: hosts/2: only the temporary file is there: run check
  [1]
  $ kivdb delete hosts 2
  kivdb: hosts/2: only the temporary file is there: run check
  [1]
  $ cat $hosts/2.tmp; echo; mv $hosts/2.tmp $hosts/2
  b\x2c \x7c c|443|

Deleting.

  $ kivdb delete hosts 1 99 1.tmp
  kivdb: hosts/1.tmp: no record, but a leftover or marker
  [2]
  $ kivdb delete hosts 1 99
  kivdb: hosts/99: no such record
  [1]
  $ kivdb delete hosts; kivdb delete hosts 1 --where id=1
  kivdb: delete needs either ids or conditions behind --where
  kivdb: delete needs either ids or conditions behind --where
  [2]
  $ kivdb delete hosts --where name=none
  kivdb: hosts: no such record
  [1]
  $ kivdb delete hosts --where port=443 --dry-run; ls $hosts
  - hosts/2 name="b, | c" port=443
  1
  10
  11
  2
  $ kivdb delete hosts --where port=443
  1
  $ touch $hosts/1.tmp; kivdb delete hosts 1 1 99 --force
  1
  $ ls $hosts; ls kiv/removed/*/database/hosts
  10
  11
  1.tmp

Others wait, and the tool waits for them.

  $ flock $hosts kivdb --wait 0 set hosts 10 port=1
  kivdb: hosts: cannot lock: Thread lock is not acquired, cannot proceed!
  [2]
  $ flock $hosts kivdb list hosts -o ids
  10
  11
  $ flock kiv/schema kivdb --wait 0.01 add-table t id:int,x:int
  kivdb: t: cannot lock: Thread lock is not acquired, cannot proceed!
  [2]

Tables.

  $ kivdb add-table 'a "b' 'id:int,x(bigint), y : varchar'
  $ kivdb schema 'a "b' -o raw; stat -c %a 'kiv/database/a "b'
  id[int]|x[bigint]|y[varchar]
  755
  $ kivdb add-table hosts id:int,x:int
  kivdb: hosts: is there already
  [1]
  $ for columns in id:int id:int,x name:int,x:int id:int,x:int,x:int id:int,x:text \
  >   'id:int,a|b:int' ''; do kivdb add-table t "$columns"; done
  kivdb: a table has two columns or more
  kivdb: no column NAME:TYPE: x
  kivdb: the first column must be id
  kivdb: column twice: x
  kivdb: no type: text, there are int, bigint, varchar
  kivdb: no name of a column: a|b:int
  kivdb: no column NAME:TYPE: 
  [2]
  $ kivdb add-table ../t id:int,x:int
  kivdb: ../t: no name of a table
  [2]
  $ mkdir kiv/database/t; touch kiv/database/t/1; kivdb add-table t id:int,x:int
  kivdb: t: its directory is there already: Directory not empty
  [1]
  $ kivdb add 'a "b' x=1; kivdb drop-table 'a "b' </dev/null; kivdb clear hosts </dev/null
  1
  kivdb: a "b: needs --force where nobody can be asked
  kivdb: hosts: needs --force where nobody can be asked
  [2]
  $ kivdb drop-table 'a "b' --dry-run; kivdb drop-table 'a "b' --force; kivdb tables
  - a "b/1 x=1 y=""
  - a "b
  table  columns  records  bytes  other
  hosts        3        2     47      0
  $ kivdb clear hosts --dry-run; kivdb clear hosts --force; ls $hosts
  - hosts/10 name=\\x1b[31m\\n\xc3\xa9\\xff port="" (esc)
  - hosts/11 name="a, |b\x41 " port=7
  $ rmdir $hosts; kivdb drop-table hosts; kivdb tables
  table  columns  records  bytes  other
