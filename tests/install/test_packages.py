"""The Debian packages, installed, used and removed on a clean Debian: a separate root made by debootstrap.

Skipped if the user may not make a root, or if it cannot be fetched. The root is kept in /var/lib/ulix-package-root, or
ULIX_PACKAGE_ROOT, for the next run; each run works on a copy. Run as: python3 test_packages.py [unittest arguments]
"""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
CLEAN = pathlib.Path(os.environ.get("ULIX_PACKAGE_ROOT", "/var/lib/ulix-package-root"))
PLAIN = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "HOME": "/root", "LANG": "C.UTF-8", "DEBIAN_FRONTEND": "noninteractive"}


def run(*args, check=True, **options):
    done = subprocess.run([*map(str, args)], capture_output=True, text=True, timeout=1500, check=False, **options)
    assert not check or done.returncode == 0, f"{args}: {done.returncode}\n{done.stdout}{done.stderr}"
    return done.stdout


def make_clean_root():
    if CLEAN.exists():
        return
    part = CLEAN.with_suffix(".part")
    shutil.rmtree(part, ignore_errors=True)
    run("debootstrap", "--variant=minbase", "bookworm", part)
    part.rename(CLEAN)


@unittest.skipUnless(os.geteuid() == 0 and shutil.which("debootstrap"), "takes the superuser and debootstrap")
class PackagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        run(SOURCE / "scripts/package")
        cls.packages = sorted((SOURCE / "build/packages").glob("*.deb"))
        try:
            make_clean_root()
        except AssertionError as failure:
            raise unittest.SkipTest(f"no clean Debian: {failure}") from failure
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.root = pathlib.Path(folder.name) / "root"
        run("cp", "-a", CLEAN, cls.root)
        for name in "dev/pts", "proc":
            (cls.root / name).mkdir(parents=True, exist_ok=True)
        for kind, name in (("proc", "proc"), ("devpts", "dev/pts")):
            run("mount", "-t", kind, kind, cls.root / name)
            cls.addClassCleanup(run, "umount", cls.root / name)
        (cls.root / "dev/ptmx").unlink(missing_ok=True)
        (cls.root / "dev/ptmx").symlink_to("pts/ptmx")

    def inside(self, *args, **options):
        return run("chroot", self.root, *args, env=PLAIN, **options)

    def test_installed_used_and_removed(self):
        self.assertEqual({package.name.split("_")[0] for package in self.packages}, {"libulix-dev", "python3-ulix", "ulix", "ulix-publish", "ulix-udev"})
        for package in self.packages:
            shutil.copy(package, self.root / "tmp")
        shutil.copy("/etc/resolv.conf", self.root / "etc/resolv.conf")
        self.inside("apt-get", "update", "-qq")
        self.inside("apt-get", "install", "-y", "-qq", "--no-install-recommends", *(f"/tmp/{p.name}" for p in self.packages))

        self.assertIn("kelvo10", self.inside("ulix", "models"))
        self.assertRegex(self.inside("ulix", "read", "kelvo10", "--port", "sim"), r"^0 +IN +\d+\.\d+ +V\n$")
        self.inside("sh", "-c", "cd /tmp && ulix demo --seconds 2 </dev/null")
        self.assertIn("ulix-scan.1.gz", self.inside("dpkg", "-L", "ulix"))
        self.assertTrue((self.root / "usr/lib/udev/rules.d/60-ulix.rules").read_text().count("dialout"))
        self.assertTrue((self.root / "usr/include/ulix/core/instrument.h").exists())

        self.assertIn("ulix-publish", self.inside("ulix-publish", "--version"))
        self.assertIn("ulix:", self.inside("getent", "passwd", "ulix"))

        self.assertIn("kelvo10", self.inside("python3", "-c", "import ulix; print(ulix.models())"))

        installed = ("ulix", "ulix-publish", "python3-ulix", "libulix-dev", "ulix-udev")
        before = set(self.inside("dpkg", "-L", *installed).split())
        self.inside("dpkg", "--purge", *installed)
        self.assertFalse([name for name in before if "ulix" in name and (self.root / name.lstrip("/")).exists()])


if __name__ == "__main__":
    unittest.main(verbosity=2)
