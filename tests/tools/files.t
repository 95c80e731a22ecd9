Files: create, dump, diff, import, edit.

  $ printf '%s\n' '[first]' 'a = b' '[hosts]' 'schema = id[int]|name[varchar]|port[int]' \
  >   'rec_1 = 1, {{$kivhost}}, 80' 'rec_2 = "7, b \x2c , "' '[empty]' \
  >   'schema = id[int]|x[bigint]' >new.ini
  $ mkdir db; kivdb -r db create new.ini --host h --dry-run; ls db
  + empty
  + hosts
  + hosts/1 name=h port=80
  + hosts/7 name="b ," port=""
  $ kivdb -r db create new.ini --host h; kivdb -r db list hosts
  id  name  port
   1  h       80
   7  b ,
  $ kivdb -r db create new.ini
  kivdb: db: there is a database already
  [1]
  $ cat db/kiv/base.ini
  [first]
  kivid = 1
  kivhost = h
  a = b
  [hosts]
  schema = id[int]|name[varchar]|port[int]
  rec_1 = 1, {{$kivhost}}, 80
  rec_2 = "7, b \x2c , "
  [empty]
  schema = id[int]|x[bigint]
  $ kivdb -r db dump
  ; The first section is no table.
  [dump]
  
  [empty]
  schema = id[int]|x[bigint]
  
  [hosts]
  schema = id[int]|name[varchar]|port[int]
  rec_1 = 1, h, 80
  rec_2 = "7, b \x2c, "
  $ kivdb -r db dump | kivdb -r copy create -; kivdb -r db diff copy
  $ kivdb -r db diff new.ini
  ~ hosts/1 name: h -> 127.0.0.1
  [1]
  $ kivdb -r copy set hosts 1 port=8080 name=; kivdb -r copy delete hosts 7
  1
  $ kivdb -r copy add empty x=1; kivdb -r copy add-table more id:int,x:int
  1
  $ kivdb -r db diff copy
  + empty/1 x=1
  ~ hosts/1 name: h -> ""
  ~ hosts/1 port: 80 -> 8080
  - hosts/7 name="b ," port=""
  + more
  [1]
  $ kivdb -r copy diff db -o jsonl
  {"change":"-","table":"empty","id":1,"column":"x","old":"1","new":null}
  {"change":"~","table":"hosts","id":1,"column":"name","old":"","new":"h"}
  {"change":"~","table":"hosts","id":1,"column":"port","old":"8080","new":"80"}
  {"change":"+","table":"hosts","id":7,"column":"name","old":null,"new":"b ,"}
  {"change":"+","table":"hosts","id":7,"column":"port","old":null,"new":""}
  {"change":"-","table":"more","id":null,"column":null,"old":null,"new":null}
  [1]
  $ kivdb -r db dump --redact hosts.name | grep rec_
  rec_1 = 1, ***, 80
  rec_2 = "7, ***, "

What create refuses, with nothing made.

  $ refuse() { printf "[f]\n[t]\nschema = id[int]|x[int]\n$1\n" >bad.ini
  >   kivdb -r none create bad.ini; }
  $ for text in 'rec_1 = 1,2\nrec_3 = 2,3' 'rec_1 = 1,2\nrec_2 = 1,3' 'rec_1 = 1' \
  >   'rec_1 = 1,2,3' '[u]\nschema = id' '[v]' '[../w]\nschema = id[int]|x[int]' \
  >   "rec_1 = 1,$(head -c 2048 /dev/zero | tr '\0' a)"; do refuse "$text"; done
  kivdb: bad.ini:5: rec_3 would not be read: there is no rec_2
  kivdb: bad.ini:5: the id 1 is that of line 4
  kivdb: bad.ini:4: 1 of 2 values, with the id
  kivdb: bad.ini:4: 3 of 2 values, with the id
  kivdb: bad.ini:5: a schema without column
  kivdb: bad.ini:4: no schema: v
  kivdb: bad.ini:4: no name of a table: ../w
  kivdb: bad.ini:4: value 2 is over 2047 bytes
  [2]
  $ kivdb -r none create missing.ini; kivdb -r none create db; ls none
  kivdb: missing.ini: cannot open: No such file or directory
  kivdb: db: no regular file
  ls: cannot access 'none': No such file or directory
  [2]

What dump refuses, with the rest dumped.

  $ printf 'a\0|1|' >db/kiv/database/hosts/8; printf 'a|' >db/kiv/database/hosts/9
  $ printf 'a|1|' >db/kiv/database/hosts/007; kivdb -r db dump hosts
  kivdb: hosts/8: 1 of 2 values
  kivdb: hosts/9: 1 of 2 values
  kivdb: hosts/007: the library would write another id
  ; The first section is no table.
  [dump]
  
  [hosts]
  schema = id[int]|name[varchar]|port[int]
  rec_1 = 1, h, 80
  rec_2 = "7, b \x2c, "
  [1]
  $ rm db/kiv/database/hosts/8 db/kiv/database/hosts/9 db/kiv/database/hosts/007

Import.

  $ cd db; printf 'port,name\r\n1,"a, ""b"""\r\n,\r\n' >in.csv
  $ kivdb import hosts in.csv --dry-run; kivdb import hosts in.csv
  + hosts/8 name="a, \"b\"" port=1
  + hosts/9 name="" port=""
  2
  $ kivdb list hosts
  id  name    port
   1  h         80
   7  b ,
   8  a, "b"     1
   9
  $ printf '{"id":8,"port":9}\n{"id":null,"name":"n"}\n' | kivdb import hosts --from jsonl --replace
  2
  $ printf '[{"id":9,"port":10}]' >up.json; kivdb import hosts up.json --update
  1
  $ kivdb list hosts -o tsv
  id\tname\tport (esc)
  1\th\t80 (esc)
  7\tb ,\t (esc)
  8\t\t9 (esc)
  9\t\t10 (esc)
  10\tn\t (esc)
  $ for text in 'port,nmae\n1,2' 'port,port' 'id,port\n1,2' 'id,port\n3,1\n3,2' 'id\n007' \
  >   'port,name\n1' 'port\n"1' 'name\n\n\001\n"a\nb",c'; do
  >   printf "$text" | kivdb import hosts --from csv; done
  kivdb: standard input:1: no column nmae, there are id, name, port
  kivdb: standard input:1: port: twice
  kivdb: standard input:2: hosts/1: is there already; see --replace and --update
  kivdb: standard input:3: hosts/3: twice, first in line 2
  kivdb: standard input:2: hosts/007: no such record, and no id of a new one
  kivdb: standard input:2: 1 cells, the header has 2
  kivdb: standard input:2: a quote is not closed
  kivdb: standard input:4: 2 cells, the header has 1
  [1]
  $ for text in '[{"port":1.5}]' '[{"port":true}]' '[{"port":[1]}]' '{"port":1}' '[1]' \
  >   '[{"port":1},' '[{"port":1,"port":2}]' '[{"name":"\xff"}]' 'x' '[]'; do
  >   printf "$text" | kivdb import hosts --from json; done
  kivdb: standard input:1: port: no integer: 1.5
  kivdb: standard input:1: port: true is no value
  kivdb: standard input:1: port: a value cannot be an array
  1
  kivdb: standard input:1: a record must be an object
  kivdb: standard input:1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal
  kivdb: standard input:1: port: twice
  kivdb: standard input:1: syntax error while parsing value - invalid string: forbidden character after backslash; last read: '"\x'
  kivdb: standard input:1: syntax error while parsing value - invalid literal; last read: 'x'
  0
  $ kivdb import hosts none.csv; kivdb import hosts kiv; kivdb import hosts up.json --update -q
  kivdb: none.csv: cannot open: No such file or directory
  kivdb: kiv: no .csv, .json or .jsonl: name its format with --from
  0
  $ kivdb list hosts -o json >all.json; kivdb list hosts -o csv >all.csv
  $ for file in all.json all.csv; do kivdb clear hosts --force
  >   kivdb import hosts $file; kivdb list hosts -o csv | cmp - all.csv; done
  6
  6

Edit.

  $ export VISUAL="sed -i 's/= 10/= 11/'"; kivdb edit hosts 9; kivdb get hosts 9 port
  11
  $ VISUAL=true kivdb edit hosts 9; VISUAL=false kivdb edit hosts 9
  kivdb: hosts/9: unchanged
  kivdb: false: ended with status 1, nothing is written
  [2]
  $ VISUAL='sed -i s/port/prot/' kivdb edit hosts 9
  kivdb: hosts/9: line 8: no column prot, there are id, name, port
  [2]
  $ VISUAL='kivdb set hosts 9 name=x; sed -i s/11/12/' kivdb edit hosts 9 2>&1 | sed 's/: [^:]*$//'
  kivdb: hosts/9
  $ kivdb get hosts 9 port; kivdb edit hosts 99
  11
  kivdb: hosts/99: no such record
  [1]
