"""What stands in the databases below a directory."""
import os
import re

from common import read_file, read_value


class State:
    """By (root, table) its columns; by (root, table, id) its values by column, without
    the empty ones, and whether under the temporary name.  broken are the keys of
    records that are not whole under their own name."""

    def __init__(self, top):
        self.columns, self.records, self.broken = {}, {}, set()
        for root in names(top):
            for table in names(f"{top}/{root}/kiv/schema"):
                self._read_table(f"{top}/{root}/kiv", root, table)

    def _read_table(self, kiv, root, table):
        schema, data = f"{kiv}/schema/{table}", f"{kiv}/database/{table}"
        if not os.path.isdir(data) and os.path.isdir(f"{kiv}/migrate/{table}/old"):
            data, staged = f"{kiv}/migrate/{table}/new", f"{kiv}/migrate/{table}/schema"
            schema = staged if os.path.exists(staged) else schema
        columns = read_columns(read_file(schema))
        if not columns or not os.path.isdir(data):
            return
        self.columns[root, table] = columns
        for name in names(data):
            key = root, table, name.removesuffix(".tmp")
            values = parse(read_file(f"{data}/{name}"), columns)
            if values is None and key[2] == name:
                self.broken.add(key)
            elif values is not None and (key not in self.records or key[2] == name):
                self.records[key] = values, key[2] != name

    def value(self, key):
        return self.records.get(key, (None, False))[0]


def names(directory):
    return sorted(os.listdir(directory)) if os.path.isdir(directory) else []


def read_columns(text):
    line = text.split(b"\n")[0]
    is_whole = line.endswith(b"]") and b"\0" not in line
    return [c.split(b"[")[0].decode() for c in line.split(b"|")] if is_whole else None


def parse(content, columns):
    values = content.split(b"|")
    if len(values) != len(columns) or values.pop() or b"\0" in content:
        return None
    return frozenset((name, value) for name, value
                     in zip(columns[1:], map(read_value, values)) if value)


def parse_dump(text, root):
    records = {}
    for table, line, rows in re.findall(rb"\[(.*)\]\nschema = (.*)\n((?:rec_.*\n)*)",
                                        text):
        for row in re.findall(rb'rec_\d+ = "?(.*?)"?\n', rows):
            number, *values = [value.strip() + b"|" for value in row.split(b",")]
            records[root, table.decode(), number[:-1].decode()] = parse(
                b"".join(values), read_columns(line))
    return records
