The second release of an appliance over what its owner changed, and migrations.

  $ examples=$TESTDIR/../../examples
  $ kivdb create $examples/appliance.ini --id 7 --host 192.0.2.7
  $ kivdb batch <<'END'
  > set services 8 port=1069
  > set services 3 port=2323
  > delete services 15
  > add services --id 23 name=chat port=5222 protocol=tcp encrypted=yes
  > END
  1
  23
  $ kivdb upgrade $examples/appliance-2.ini --dry-run >foretold 2>&1
  [1]
  $ kivdb upgrade $examples/appliance-2.ini 2>&1 | tee done
  kivdb: services/23: this id is a record of the owner's
  + settings.access varchar
  ~ settings/1 access: "" -> ro
  ~ settings/2 access: "" -> ro
  ~ settings/3 access: "" -> ro
  ~ settings/4 value: "appliance 7 at 192.0.2.7" -> "authorized access only"
  ~ settings/4 access: "" -> rw
  ! services/8 port: shipped 69, now 6969, here 1069
  + services/999 name=reserved port=0 protocol=tcp encrypted=no
  + resolvers
  + resolvers/1 address=192.0.2.53 weight=10
  + resolvers/2 address=192.0.2.7 weight=1
  $ cmp foretold done

The page about upgrades shows the same, and nothing is left to do.

  $ sed -n '/^\$ kivdb upgrade/,/^\$ echo/p' $TESTDIR/../../docs/upgrades.md |
  >   grep -v '^\$' | diff - done
  $ kivdb upgrade $examples/appliance-2.ini
  $ kivdb upgrade $examples/appliance-2.ini --prune -o jsonl 2>&1
  kivdb: services/3: shipped no more, but changed here
  kivdb: services/23: this id is a record of the owner's
  {"change":"-","table":"services","id":1,"column":"name","old":"ftp","new":null,"here":null}
  {"change":"-","table":"services","id":1,"column":"port","old":"21","new":null,"here":null}
  {"change":"-","table":"services","id":1,"column":"protocol","old":"tcp","new":null,"here":null}
  {"change":"-","table":"services","id":1,"column":"encrypted","old":"no","new":null,"here":null}
  [1]
  $ kivdb add services name=next
  1000
  $ kivdb check

Columns that change otherwise are for a migration.

  $ sed 's/|count\[/|number[/' $examples/appliance-2.ini >third.ini
  $ kivdb upgrade third.ini
  kivdb: table [sizes]: columns change, not only new ones at the end: run kivdb migrate sizes 'id:int,name:varchar,count>number:bigint'
  [2]
  $ kivdb migrate sizes 'id:int,name:varchar,count>number:bigint' -o tsv
  change\ttable\tid\tcolumn\told\tnew (esc)
  -\tsizes\t\tcount\tbigint\t (esc)
  +\tsizes\t\tnumber\t\tbigint (esc)
  $ kivdb upgrade third.ini
  kivdb: services/23: this id is a record of the owner's
  [1]
  $ kivdb migrate sizes id:int,number:bigint
  kivdb: table [sizes]: these columns would go: name: --force does it
  [2]
  $ kivdb migrate sizes id:int,number:bigint,unit:varchar --force
  - sizes.name varchar
  + sizes.unit varchar
  $ kivdb list sizes --limit 2; ls kiv; cd kiv/removed; ls -d */*/* | cut -d / -f 2- | sort
  id      number  unit
   1       65536
   2  4294967296
  base.ini
  database
  removed
  schema
  migrate/settings
  migrate/sizes
