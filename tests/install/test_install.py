"""Uses all that is installed: the program, its pages and completions, the library through each of its packages.

Run as: python3 test_install.py BUILD_FOLDER [unittest arguments]
"""

import gzip
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
EXAMPLE = SOURCE / "examples/cpp"


def run(*args, **options):
    done = subprocess.run([*map(str, args)], capture_output=True, text=True, timeout=1200, check=False, **options)
    assert done.returncode == 0, f"{args}: {done.returncode}\n{done.stdout}{done.stderr}"
    return done.stdout


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.work = pathlib.Path(cls.folder.name)
        cls.root = cls.work / "usr"
        run("cmake", "--install", BUILD, "--prefix", cls.root)
        cls.program = cls.root / "bin/ulix"

    def assert_reads(self, example):
        """The example reads a simulated instrument."""
        line = subprocess.Popen([self.program, "simulate", "kelvo10"], stdout=subprocess.PIPE, text=True)
        try:
            device = line.stdout.readline().strip()
            self.assertRegex(run(example, "kelvo10", device), r"\AIN -?\d+(\.\d+)?\n\Z")
        finally:
            line.terminate()
            line.communicate(timeout=20)

    def built(self, name, *options):
        folder = self.work / name
        launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
        run("cmake", "-S", EXAMPLE, "-B", folder, "-G", "Ninja", "-DCMAKE_UNITY_BUILD=ON", "-DCMAKE_UNITY_BUILD_BATCH_SIZE=25", *launcher, *options)
        run("cmake", "--build", folder, "--target", "read_channels")
        return folder / "read_channels"


class Installed(InstallTest):
    def test_the_program_runs(self):
        self.assertIn("kelvo10", run(self.program, "models"))
        self.assertTrue((self.root / "share/doc/ulix/copyright").read_text().strip())

    def test_every_verb_has_a_page(self):
        pages = self.root / "share/man/man1"
        verbs = run("bash", "-c", f"source {self.completion()}; COMP_WORDS=(ulix ''); COMP_CWORD=1; _ulix; echo ${{COMPREPLY[*]}}").split()
        self.assertIn("read", verbs)
        self.assertEqual({f"ulix-{verb}.1.gz" for verb in verbs} | {"ulix.1.gz"}, {page.name for page in pages.iterdir()})
        text = gzip.decompress((pages / "ulix-scan.1.gz").read_bytes()).decode("utf-8")
        self.assertIn(".B \\-\\-period MS", text)
        if shutil.which("man"):
            for page in pages.iterdir():
                warned = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", page], capture_output=True, text=True, check=True,
                                        env={**os.environ, "MANWIDTH": "80"})
                self.assertEqual(warned.stderr, "", page)

    def completion(self):
        return self.root / "share/bash-completion/completions/ulix"

    def test_words_are_completed(self):
        for typed, wanted in (("sca", {"scan"}), ("read kelv", {"kelvo10"}), ("config kelvo10 s", {"show", "send"}),
                              ("read kelvo10 --par", {"--parity"}), ("read kelvo10 --parity e", {"even"}), ("help plo", {"plot"})):
            words = " ".join(f"'{word}'" for word in ["ulix", *typed.split(" ")])
            count = len(typed.split(" "))
            got = run("bash", "-c", f"source {self.completion()}; COMP_WORDS=({words}); COMP_CWORD={count}; _ulix; echo ${{COMPREPLY[*]}}")
            self.assertEqual(set(got.split()), wanted, typed)
        if shutil.which("zsh"):
            run("zsh", "-n", self.root / "share/zsh/site-functions/_ulix")

    def test_found_as_a_package(self):
        self.assert_reads(self.built("found", f"-DCMAKE_PREFIX_PATH={self.root}"))

    def test_found_by_pkg_config(self):
        flags = run("pkg-config", "--define-prefix", "--cflags", "--libs", "ulix",
                    env={**os.environ, "PKG_CONFIG_PATH": ":".join(map(str, self.root.glob("lib/**/pkgconfig")))}).split()
        example = self.work / "by-pkg-config"
        run("g++", "-std=c++20", EXAMPLE / "read_channels.cc", "-o", example, *flags)
        self.assert_reads(example)


class Sources(InstallTest):
    def test_built_with_its_sources(self):
        self.assert_reads(self.built("sources", f"-DULIX_SOURCE={SOURCE}", "-DCMAKE_CXX_COMPILER=clang++"))


if __name__ == "__main__":
    BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main(verbosity=2)
