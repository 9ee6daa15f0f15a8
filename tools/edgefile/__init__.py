"""What the producers of edge files share.

`program` knows the machine code of a binary, `positions` its source lines, `table` writes the edge file.
`callgrind` and `perf_script` turn their tool's recording into counted transfers of control.
"""


class BadInput(Exception):
    """Something that the user has to put right; its text says what."""
