Batches of add, set and delete.

  $ . "$TESTDIR/setup.sh"
  $ mkdir kiv/database/more; printf 'id[int]|x[varchar]\n' >kiv/schema/more
  $ batch() { printf "$1" | kivdb batch; }

Each line sees what those before it leave.

  $ cat >in.txt <<'END'
  > # A comment, and a blank line
  > 
  > add hosts name=new port=1
  >   # one more
  > set hosts 11 port=2
  > add more --id 5 x=five
  > delete hosts 10 11
  > add hosts --max 3 -- name=last
  > add more --id 5 --replace x=5
  > delete more 7 5 --force
  > delete hosts --where name=last port=
  > set hosts 1 port=80
  > add hosts
  > END
  $ ls -i $hosts/1 >before; kivdb batch in.txt --dry-run
  + hosts/3 name="" port=""
  - hosts/10 name=\\x1b[31m\\n\xc3\xa9\\xff port="" (esc)
  $ kivdb batch in.txt
  11
  5
  2
  3
  5
  1
  1
  3
  $ ls $hosts kiv/database/more; ls -i $hosts/1 | cmp - before
  kiv/database/hosts:
  1
  2
  3
  
  kiv/database/more:

Quotes; @ stands for a carriage return.

  $ cat >in.txt <<'END'
  > add	more x=\a\ \\\"\'"b #\$\`\"\\\n"'\c "'#$`*~;\|>@
  > "ad"'d' more x="two@
  > li\
  > nes" \
  >  --id \@
  >  '9' ""@
  > END
  $ sed -i 's/@/\r/; 1s/^/\xef\xbb\xbf/' in.txt; kivdb batch - <in.txt
  kivdb: standard input:2: more: no COLUMN=VALUE: 
  [1]
  $ sed -i 's/ ""//' in.txt; kivdb batch in.txt; kivdb list more -o jsonl
  1
  9
  {"id":1,"x":"a \\\"'b #$`\"\\\\n\\c \"#$`*~;|>"}
  {"id":9,"x":"two\r\nlines"}
  $ touch kiv/database/more/1.tmp; batch 'delete more 1\nadd more --id 1 x=\r'; ls kiv/database/more
  1
  1
  1
  9
  $ kivdb get more 1
  id = 1
  x =
  $ batch ''; batch '\n # add\r\n\t\r\n\\\n#'; kivdb -r none batch </dev/null
  kivdb: no database below none
  [2]

All that is wrong is said; nothing is done.

  $ batch "add more x=1\n\nadd more 'x=\n"; batch 'add more "\n\\"\n'; batch 'add more \\'
  kivdb: standard input:3: a quote is not closed
  kivdb: standard input:1: a quote is not closed
  kivdb: standard input:1: nothing behind a backslash
  [1]
  $ batch 'add more\n#\0\n'; kivdb batch none; kivdb batch kiv
  kivdb: standard input:2: a byte 0
  kivdb: none: cannot open: No such file or directory
  kivdb: kiv: no regular file
  [2]
  $ batch "add more\nlist more\n''\nadd\ndelete more\ndelete more 1 --dry-run\nset -q more 1 x=\nset more 1\nadd more --max x\n"
  kivdb: standard input:2: no add, set or delete: list
  kivdb: standard input:3: no add, set or delete: 
  kivdb: standard input:4: TABLE is required
  kivdb: standard input:5: delete needs either ids or conditions behind --where
  kivdb: standard input:6: not expected in a batch: --dry-run
  kivdb: standard input:7: not expected in a batch: -q
  kivdb: standard input:8: COLUMN=VALUE is required
  kivdb: standard input:9: Could not convert: --max = x
  [1]
  $ mv $hosts/2 $hosts/2.tmp; long=$(head -c 2048 /dev/zero | tr '\0' a)
  $ cat >in.txt <<END
  > delete more 1
  > set more 1 x=2
  > set more 9 y=2
  > set more 9 x=2 x=3
  > set more 007 x=1
  > add more --id 9
  > add more --id 9.tmp
  > add more x=$long
  > add more --max 9
  > set hosts 2 port=1
  > delete hosts 2 'not
  > there' 98
  > delete hosts 98 99
  > delete hosts --where port=5
  > END
  $ kivdb batch in.txt
  kivdb: in.txt:2: more/1: no such record
  kivdb: in.txt:3: more: no column y, there are id, x
  kivdb: in.txt:4: more: twice: x
  kivdb: in.txt:5: more/007: no such record, and no id of a new one
  kivdb: in.txt:6: more/9: is there already; see --replace
  kivdb: in.txt:7: more/9.tmp: no id of a new record
  kivdb: in.txt:8: more.x: over 2047 bytes
  kivdb: in.txt:9: more: the next id is 10, above 9
  kivdb: in.txt:10: hosts/2: only the temporary file is there: run check
  kivdb: in.txt:11: hosts/not\nthere: no such record, and no id of a new one
  kivdb: in.txt:13: hosts/98: no such record
  kivdb: in.txt:13: hosts/99: no such record
  kivdb: in.txt:14: hosts: no such record
  [1]
  $ printf cut >$hosts/4; batch 'set hosts 9 port=\ndelete hosts --where port=80\n'
  kivdb: standard input:1: hosts/9: no such record
  kivdb: standard input:2: hosts/4: 1 of 2 values
  kivdb: standard input:2: hosts: nothing is deleted
  [2]
  $ batch 'add more\nadd none\n'; printf 'add more\nadd hosts' | flock $hosts kivdb batch --wait 0
  kivdb: standard input:2: none: no such table
  kivdb: standard input:2: hosts: cannot lock: Thread lock is not acquired, cannot proceed!
  [2]
  $ printf 'id[int]\n' >kiv/schema/bare; mkdir kiv/database/bare; batch 'add bare\n'
  kivdb: standard input:1: bare: has no column but the id
  [2]
  $ touch -- $hosts/-1; batch 'delete hosts -1\nadd hosts\nadd hosts --id -1\nadd hosts\n'
  kivdb: standard input:4: hosts: no id is free above those that are there
  [2]
  $ ls $hosts kiv/database/more
  kiv/database/hosts:
  -1
  1
  2.tmp
  3
  4
  
  kiv/database/more:
  1
  9

A change that fails ends it, with what was done before.

  $ mkdir kiv/database/more/3; ln -s more kiv/database/same; cp kiv/schema/more kiv/schema/same
  $ batch 'add more\nset more 9 x=8\ndelete more 3\nadd more\n'
  kivdb: standard input:3: more/3: is still there
  kivdb: standard input: 2 of 4 lines were done
  10
  [2]
  $ batch 'add more\nadd same\n'; kivdb get more 9 x; ls kiv/database/more
  kivdb: standard input:2: same/11: has come meanwhile
  kivdb: standard input: 1 of 2 lines were done
  11
  8
  1
  10
  11
  3
  9
