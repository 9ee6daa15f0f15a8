"""The completions, as each shell itself gives them."""

import os
import pty
import re
import select
import signal
import time
import unittest

from scratch_root import PROJECT, installed_root, run, scratch_directory

READY = b"ready> "
TIME_LIMIT = 30  # seconds until a shell that says nothing counts as hung
PRINT_LINE = "\x18w"  # Control-X, w: bound to a print of the line in the making

# What is typed before the tab key, and the line that comes of it, in bash and in zsh.
LINES = {
    "edgefold -so": "edgefold -sort ",
    "edgefold -file one.csv -app": "edgefold -file one.csv -append ",
    "edgefold -trace 15 -du": "edgefold -trace 15 -dump ",
    "edgefold -out on": "edgefold -out one.csv ",
    "edgefold -file 'one.csv;tw": "edgefold -file 'one.csv;two.csv'",
    "edgescope com": "edgescope compare ",
    "edgescope top --by ed": "edgescope top --by edges ",
    "edgescope export --to ll": "edgescope export --to llvm ",
    "edgescope compare --min": "edgescope compare --min-overlap ",
    "edgescope view --com": "edgescope view --compare ",
    "edgescope check on": "edgescope check one.csv ",
    "check_edges --max": "check_edges --max-lost ",
    "perf2edges one.csv --deb": "perf2edges one.csv --debug-file ",
    "edgefold -file one.csv\\;tw": "edgefold -file one.csv\\;two.csv",
    "edgefold -file 'one.csv;runs/th": "edgefold -file 'one.csv;runs/three.csv'",
}


def option_names():
    table = (PROJECT / "src/edgefold/options.cpp").read_text(encoding="utf-8")
    return ["-" + name for name in re.findall(r'^    \{"(\w+)", OptionKind::', table, flags=re.M)]


class Terminal:
    """A shell at a terminal. It prints the prompt `READY`, and writes its line on `PRINT_LINE` to
    the file `line`."""

    def __init__(self, command, directory, settings):
        self.directory = directory
        self.child, self.terminal = pty.fork()
        if self.child == 0:
            os.chdir(directory)
            os.execvpe(command[0], command, {**os.environ, "TERM": "dumb", "INPUTRC": "/dev/null",
                                             "HOME": str(directory), **settings})
        self.read_until(lambda seen: READY in seen)

    def read_until(self, done):
        seen, end = b"", time.monotonic() + TIME_LIMIT
        while not done(seen):
            if time.monotonic() > end:
                raise AssertionError("the shell hangs after %r" % seen)
            if select.select([self.terminal], [], [], 0.02)[0]:
                seen += os.read(self.terminal, 65536)

    def line_after(self, keys):
        line = self.directory / "line"
        os.write(self.terminal, (keys + PRINT_LINE).encode())
        self.read_until(lambda _: line.exists())
        return line.read_text()

    def close(self):
        os.kill(self.child, signal.SIGKILL)
        os.close(self.terminal)
        os.waitpid(self.child, 0)


def has_terminals():
    """Some containers have none to give."""
    try:
        for end in os.openpty():
            os.close(end)
    except OSError:
        return False
    return True


class Completions(unittest.TestCase):
    def setUp(self):
        self.directory = scratch_directory()
        self.share = installed_root().path / "usr/share"
        (self.directory / "runs").mkdir()
        for name in ("one.csv", "two.csv", "runs/three.csv"):
            (self.directory / name).touch()

    def line_after(self, command, keys, settings=()):
        terminal = Terminal(command, self.directory, dict(settings))
        try:
            return terminal.line_after(keys)
        finally:
            terminal.close()
            (self.directory / "line").unlink(missing_ok=True)

    @unittest.skipUnless(has_terminals(), "no pseudo-terminals")
    def test_bash_completes_lines(self):
        script = self.directory / "bashrc"
        script.write_text("source %s/bash-completion/completions/edgefold\n"
                          "source %s/bash-completion/completions/edgescope\n"
                          "source %s/bash-completion/completions/perf2edges; PS1='%s'\n"
                          "save() { printf %%s \"$READLINE_LINE\" >saved; mv saved line; }\n"
                          "bind -x '\"\\C-xw\": save'\n" % (self.share, self.share, self.share, READY.decode()))
        for keys, line in LINES.items():
            with self.subTest(keys):
                found = self.line_after(["bash", "--noprofile", "--rcfile", str(script), "-i"],
                                        keys + "\t")
                self.assertEqual(found.rstrip(), line.rstrip())

    @unittest.skipUnless(has_terminals(), "no pseudo-terminals")
    def test_zsh_completes_lines(self):
        (self.directory / ".zshrc").write_text(
            "fpath=(%s/zsh/vendor-completions $fpath); autoload -U compinit; compinit -u -D\n"
            "save() { print -rn -- \"$BUFFER\" >saved; mv saved line }\n"
            "zle -N save; bindkey '^Xw' save; PS1='%s'\n" % (self.share, READY.decode()))
        for keys, line in LINES.items():
            with self.subTest(keys):
                found = self.line_after(["zsh", "-d", "-i"], keys + "\t",
                                        {"ZDOTDIR": str(self.directory)}.items())
                self.assertEqual(found.rstrip(), line.rstrip())

    def test_fish_completes_words(self):
        for line, words in (("edgefold -so", ["-sort"]),
                            ("edgefold -sort ", ["A", "A-", "C", "C-", "L", "L-"]),
                            ("edgefold -out on", ["one.csv"]),
                            ("edgefold -file r", ["runs/"]),
                            ("edgefold -file 'one.csv;tw", ["one.csv;two.csv"]),
                            ("edgefold -file 'one.csv;runs/", ["one.csv;runs/three.csv"]),
                            ("edgescope exp", ["export"]),
                            ("edgescope export --to c", ["callgrind", "csv"]),
                            ("edgefold -", option_names())):
            with self.subTest(line):
                self.assertEqual(self.fish_words(line), words)

    def fish_words(self, line):
        program = line.split()[0]
        out, _ = run(["fish", "--no-config", "-c", "source $argv[1]; complete -C $argv[2]",
                      self.share / ("fish/vendor_completions.d/%s.fish" % program), line],
                     cwd=self.directory, env={**os.environ, "HOME": str(self.directory)})
        return [word.split("\t")[0] for word in out.splitlines()]

    def test_each_shell_knows_each_option_of_edgescope(self):
        program = installed_root().path / "usr/bin/edgescope"
        files = [self.share / "bash-completion/completions/edgescope",
                 self.share / "zsh/vendor-completions/_edgescope",
                 self.share / "fish/vendor_completions.d/edgescope.fish"]
        texts = [path.read_text(encoding="utf-8") for path in files]
        for command in ("top", "check", "compare", "export", "view"):
            help_text, _ = run([program, command, "--help"])
            for option in re.findall(r"--([a-z-]+)", help_text):
                for path, text in zip(files, texts):
                    self.assertRegex(text, r"(--|-l )%s\b" % option, (path, command))

    def test_each_shell_knows_each_option_of_the_producers(self):
        for program in ("callgrind2edges", "perf2edges", "check_edges"):
            help_text, _ = run([installed_root().path / "usr/bin" / program, "--help"])
            options = re.findall(r"(?m)^  (?:-h,)?(--[a-z-]+)", help_text)
            self.assertIn("--help", options)
            bash, _ = run(["bash", "-c", "source $0; _edge_files $1 - x; echo ${COMPREPLY[*]}",
                           self.share / "bash-completion/completions" / program, program])
            self.assertEqual(sorted(bash.split()), sorted(options), program)
            zsh = (self.share / "zsh/vendor-completions/_edge_files").read_text(encoding="utf-8")
            fish = self.fish_words(program + " -")
            for option in options:
                self.assertRegex(zsh, r"--%s\b" % option[2:], program)
                self.assertIn(option, fish, program)

    def test_bash_and_zsh_know_each_option(self):
        bash, _ = run(["bash", "-c", "source $0; _edgefold edgefold - x; echo ${COMPREPLY[*]}",
                       self.share / "bash-completion/completions/edgefold"])
        self.assertEqual(bash.split(), option_names())
        zsh = (self.share / "zsh/vendor-completions/_edgefold").read_text(encoding="utf-8")
        self.assertEqual(re.findall(r"^    '(?:\(.*?\))?(-\w+)\[", zsh, flags=re.M),
                         option_names())


if __name__ == "__main__":
    unittest.main()
