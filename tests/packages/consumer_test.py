"""A program of somebody else that reads a sample database: examples/hot_edges, built against the
installed library as its two ways of being found allow."""

import os
import shlex
import subprocess
import unittest

from scratch_root import PROJECT, installed_root, run, scratch_directory, unpacked_archive

SOURCE = PROJECT / "examples/hot_edges"

# Two functions of one name, in two files, so that the file decides.
EDGE_FILE = """\
FromAddress,TypeOfBranch,FromSourceFile,FromSourceLine,FromFunctionMangled,\
DestinationEndOfBlockAddress,DestinationSourceFile,DestinationSourceLine,\
DestinationFunctionMangled,HitCount
10,Cond,a.c,1,work,20,a.c,2,work,5
20,Cond,a.c,2,work,10,a.c,1,work,70
30,Call,b.c,3,main,90,b.c,9,work,8
30,Call,a.c,3,work,40,c.c,7,leaf,6
90,Cond,b.c,9,work,95,b.c,11,work,3
"""


def with_pkg_config(libraries, *options):
    environment = {**os.environ, "PKG_CONFIG_PATH": str(libraries / "pkgconfig")}
    return shlex.split(run(["pkg-config", *options, "hotpath >= 2.0"], env=environment)[0])


class HotEdges(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = scratch_directory()
        (cls.directory / "run.csv").write_text(EDGE_FILE)
        run([installed_root().path / "usr/bin/edgefold", "-nologo", "-file", "run.csv", "-out",
             "run.db"], cwd=cls.directory)

    def check(self, program):
        def out(*arguments):
            return run([program, *arguments], cwd=self.directory)[0]

        self.assertEqual(out("run.db", "a.c", "work"), "          70  line 2 > line 1\n"
                                                       "           5  line 1 > line 2\n"
                                                       "           6  line 3 calls leaf\n")
        self.assertEqual(out("run.db", "B.C", "work"), "           3  line 9 > line 11\n")
        self.assertEqual(out("run.csv", "b.c", "work"), "           3  line 9 > line 11\n")
        for arguments, message in ((["run.db", "a.c", "nobody"], "no samples of nobody"),
                                   (["none.db", "a.c", "work"], "can't open none.db")):
            result = subprocess.run([program, *arguments], cwd=self.directory, text=True,
                                    stderr=subprocess.PIPE)
            self.assertEqual((result.returncode, result.stderr),
                             (1, "hot_edges: " + message + "\n"))

    def test_is_built_by_cmake_against_the_installed_package(self):
        build = scratch_directory()
        run(["cmake", "-G", "Ninja", "-S", SOURCE, "-B", build,
             "-DCMAKE_PREFIX_PATH=%s" % (installed_root().path / "usr")])
        run(["cmake", "--build", build])
        self.check(build / "hot_edges")

    def test_is_built_with_pkg_config_against_the_unpacked_archive(self):
        flags = with_pkg_config(unpacked_archive() / "lib", "--cflags", "--libs")
        program = self.directory / "hot_edges"
        run(["g++", "-std=c++20", SOURCE / "hot_edges.cpp", "-o", program, *flags])
        self.check(program)

    def test_the_headers_installed_are_the_facade_and_need_no_others(self):
        include = installed_root().path / "usr/include/edgefold"
        headers = {path.relative_to(include).as_posix() for path in include.rglob("*.h")}
        self.assertEqual(headers, {"hotpath/facade/function_name.h", "hotpath/facade/row_reader.h",
                                   "hotpath/facade/sample_set.h"})
        flags = with_pkg_config(installed_root().path / "usr/lib", "--cflags")
        for header in sorted(headers):
            with self.subTest(header):
                source = self.directory / "includes_it.cpp"
                source.write_text('#include "%s"\n' % header)
                run(["g++", "-std=c++20", "-Wall", "-Werror", "-fsyntax-only", *flags, source])


if __name__ == "__main__":
    unittest.main()
