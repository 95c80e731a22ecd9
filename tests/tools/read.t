What looks at a database.

  $ . "$TESTDIR/setup.sh"
  $ kivdb tables
  table  columns  records  bytes  other
  hosts        3        3     50      0
  $ kivdb schema; kivdb schema hosts -o raw
  table  column  type
  hosts  id      int
  hosts  name    varchar
  hosts  port    int
  id[int]|name[varchar]|port[int]
  $ kivdb list hosts
  id  name             port
   1  alpha              80
   2  b, | c            443
  10  \\x1b[31m\\n\xc3\xa9\\xff (esc)
  $ kivdb list hosts port=443 --columns port,id
  port  id
   443   2
  $ kivdb list hosts --limit 2 -o csv | od -c
  0000000   i   d   ,   n   a   m   e   ,   p   o   r   t  \r  \n   1   ,
  0000020   a   l   p   h   a   ,   8   0  \r  \n   2   ,   "   b   ,    
  0000040   |       c   "   ,   4   4   3  \r  \n
  0000052
  $ kivdb list hosts -o tsv --columns name,port
  name\tport (esc)
  alpha\t80 (esc)
  b, | c\t443 (esc)
  \x1b[31m\\n\xc3\xa9\xff\t (esc)
  $ kivdb list hosts -o json
  [
  {"id":1,"name":"alpha","port":80},
  {"id":2,"name":"b, | c","port":443},
  {"id":10,"name":"\\u001b[31m\\n\xc3\xa9\xef\xbf\xbd","port":""} (esc)
  ]
  $ kivdb list hosts -o jsonl --limit 1; kivdb list hosts -o raw --limit 2
  {"id":1,"name":"alpha","port":80}
  1\talpha|80| (esc)
  2\tb\\x2c \\x7c c|443| (esc)
  $ kivdb list hosts -o ids -0 | tr '\0' :
  1:2:10: (no-eol)
  $ kivdb list hosts --unsorted -o ids | sort; kivdb list hosts --count
  1
  10
  2
  3
  $ kivdb get hosts 2; kivdb get hosts 2 -o json; kivdb get hosts 2 -o raw
  id = 2
  name = b, | c
  port = 443
  {"id":2,"name":"b, | c","port":443}
  b\x2c \x7c c|443|
  $ kivdb get hosts 10 name | od -An -c
   033   [   3   1   m  \n 303 251 377  \n
  $ kivdb get hosts 10 name -o json; kivdb get hosts 2 port -o json
  "\\u001b[31m\\n\xc3\xa9\xef\xbf\xbd" (esc)
  443
  $ kivdb get hosts 9 port --default 7; kivdb get hosts 10 port --default 8
  7
  8

The answer is no.

  $ kivdb get hosts 9
  kivdb: hosts/9: no such record
  [1]
  $ kivdb -q get hosts 9
  [1]
  $ kivdb list hosts name=none
  id  name  port
  [1]
  $ kivdb list hosts name=none -q
  [1]
  $ kivdb list hosts name=none --count -o json
  0
  [1]

Trouble.

  $ kivdb -r none tables
  kivdb: no database below none
  [2]
  $ kivdb get hosts ../../schema/hosts
  kivdb: hosts/../../schema/hosts: no such record, and no id of a new one
  [2]
  $ kivdb get hosts 007; kivdb get hosts 1.tmp; kivdb get hosts a.ADD
  kivdb: hosts/007: no such record, and no id of a new one
  kivdb: hosts/1.tmp: no record, but a leftover or marker
  kivdb: hosts/a.ADD: no record, but a leftover or marker
  [2]
  $ kivdb list none; kivdb list ../hosts; kivdb list ''
  kivdb: none: no such table
  kivdb: ../hosts: no such table
  kivdb: no such table
  [2]
  $ kivdb list hosts nmae=x
  kivdb: hosts: no column nmae, there are id, name, port
  [2]
  $ kivdb list hosts name=x name=y; kivdb list hosts name
  kivdb: hosts: twice: name
  kivdb: hosts: no COLUMN=VALUE: name
  [2]
  $ kivdb get hosts 9 --default x
  kivdb: --default needs a column
  [2]
  $ kivdb lst hosts; kivdb; kivdb list; kivdb list hosts --bogus -o xml
  kivdb: no command lst, perhaps list
  kivdb: no command; see kivdb help
  kivdb: TABLE is required; see kivdb help
  kivdb: --output: xml not in {table,tsv,csv,json,jsonl,raw,ids}; see kivdb help
  [2]
  $ kivdb list hosts -o xml
  kivdb: --output: xml not in {table,tsv,csv,json,jsonl,raw,ids}; see kivdb help
  [2]
  $ kivdb list hosts >/dev/full
  kivdb: standard output: cannot write: No space left on device
  [2]
  $ kivdb --version >/dev/full; kivdb help list >/dev/full
  kivdb: standard output: cannot write: No space left on device
  kivdb: standard output: cannot write: No space left on device
  [2]
  $ kivdb list hosts >&-
  kivdb: standard output: cannot write: Bad file descriptor
  [2]
  $ printf 'cut|' >$hosts/3; mkdir $hosts/4; mkfifo $hosts/5; ln -s 1 $hosts/6
  $ kivdb list hosts --columns id,name
  kivdb: hosts/3: 1 of 2 values
  kivdb: hosts/4: no regular file
  kivdb: hosts/5: no regular file
  id  name
   1  alpha
   2  b, | c
   6  alpha
  10  \\x1b[31m\\n\xc3\xa9\\xff (esc)
  [2]
  $ kivdb -q list hosts --count
  kivdb: hosts/3: 1 of 2 values
  kivdb: hosts/4: no regular file
  kivdb: hosts/5: no regular file
  4
  [2]
  $ mkdir "kiv/schema/odd"; printf x >kiv/schema/bad; touch 'kiv/schema/a "b'
  $ printf 'id[int]|x[int]' >'kiv/schema/a "b'
  $ kivdb tables
  kivdb: a "b: no table directory
  kivdb: bad: the schema has no column
  kivdb: odd: cannot read the schema: no regular file
  table  columns  records  bytes  other
  a "b         2
  bad
  hosts        3        4     54      3
  odd
  [2]

An inspection leaves no trace.

  $ touch -a -d 2001-01-01 kiv/schema/hosts $hosts/1 $hosts kiv/schema
  $ kivdb list hosts -o ids --limit 1; kivdb tables -q 2>&1 | grep -c hosts
  1
  1
  $ stat -c %x kiv/schema/hosts $hosts/1 $hosts kiv/schema | cut -c1-10 | uniq -c
        4 2001-01-01
