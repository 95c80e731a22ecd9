# A database of one table in the directory that a test begins in.
umask 022
mkdir -p kiv/schema kiv/database/hosts
chmod 700 kiv kiv/*
printf 'id[int]|name[varchar]|port[int]\n' >kiv/schema/hosts
hosts=kiv/database/hosts
printf 'alpha|80|' >$hosts/1
printf 'b\\x2c \\x7c c|443|' >$hosts/2
printf '\\x1b[31m\\n\xc3\xa9\xff||' >$hosts/10
