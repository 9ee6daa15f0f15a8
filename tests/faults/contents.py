"""What stands in a database, and what should stand there by the log of a run: SQLite's own account
of the rows that it took, of what it committed and what it took back."""

import os
import re
import sqlite3

WRITES = ("CREATE ", "INSERT ", "DELETE ", "UPDATE ")


def writes(events):
    """The kinds of the writes to functions, edges and calls that were tried, in their order."""
    kinds = [re.match(r"(?:INSERT INTO  |DELETE FROM |UPDATE )sf_(?:functions|edges|calls)", e.sql)
             for e in events if e.kind == "S"]
    return [kind[0] for kind in kinds if kind]


def rows_of(connection):
    """All tables of the database with their rows, and all indexes, as one text."""
    objects = connection.execute(
        "SELECT type, name, sql FROM sqlite_master ORDER BY rowid").fetchall()
    lines = [repr(entry) for entry in objects]
    for kind, name, _ in objects:
        if kind == "table":
            lines += [name + repr(row) for row in
                      connection.execute(f"SELECT rowid, * FROM {name} ORDER BY rowid")]
    return "\n".join(lines)


def contents(path):
    """The rows of the file, and "ok" or what is wrong with it; no file has no rows."""
    if not os.path.exists(path):
        return "", "ok"
    connection = sqlite3.connect(path, isolation_level=None)
    try:
        check = connection.execute("PRAGMA integrity_check").fetchall()
        return rows_of(connection), "\n".join(row[0] for row in check)
    except sqlite3.DatabaseError as error:
        return "", str(error)
    finally:
        connection.close()


class Replay:
    """The calls on the connection to a file, made again on a copy of what it held `before`.

    `rows` is what they leave; `problems` names rows that refer to other rows than a search would
    have given at that moment.
    """

    def __init__(self, before, events):
        self.problems = []
        self.function = None  # the one whose edges and calls are being written, if that is known
        self.connection = sqlite3.connect(":memory:", isolation_level=None)
        if before is not None:
            self.connection.deserialize(before)
        for event in events:
            if event.kind in "SX":
                self.follow(event)
        if self.connection.in_transaction:
            self.connection.rollback()
        self.rows = rows_of(self.connection)
        self.connection.close()

    def follow(self, event):
        done = event.code == (101 if event.kind == "S" else 0)
        if event.sql.startswith("INSERT INTO  sf_functions"):
            self.function = None
        if done and event.sql == "BEGIN TRANSACTION":
            self.connection.execute("BEGIN")
        elif done and event.sql == "END TRANSACTION":
            self.connection.execute("COMMIT")
        elif done and event.sql.startswith(WRITES):
            row = self.connection.execute(event.sql).lastrowid
            self.check_ids(event.sql, row)
        if self.connection.in_transaction and event.autocommit:
            self.connection.rollback()  # SQLite took all of it back by itself

    def check_ids(self, sql, row):
        number = re.search(r"(?:VALUES \(|sf_from_func_id=)(-?[0-9]+)", sql)
        if sql.startswith("INSERT INTO  sf_functions"):
            name, file_id = self.value("SELECT sf_func_name, sf_file_id FROM sf_functions "
                                       "WHERE sf_id = ?", row)
            if self.value("SELECT sf_id FROM sf_filenames WHERE sf_id = ?", file_id) is None:
                self.problems.append(f"{name} has the file {file_id}, which there is not")
            self.function = self.value("SELECT sf_id FROM sf_functions WHERE sf_func_name = ? "
                                       "AND sf_file_id = ?", name, file_id)[0]
        elif sql.startswith("DELETE FROM sf_edges"):
            self.function = int(number[1])
        elif sql.startswith(("INSERT INTO  sf_edges", "INSERT INTO  sf_calls")):
            if self.function not in (None, int(number[1])):
                self.problems.append(f"a row of function {self.function} went to {number[1]}")

    def value(self, sql, *parameters):
        return self.connection.execute(sql, parameters).fetchone()
