"""What tsprobe answers to wrong arguments, and where its report cannot go."""

import subprocess
import unittest

import samples

SAMPLE = samples.ROOT / "tests" / "data" / "mpeg2.ts"
TSPROBE = samples.ROOT / "build" / "host" / "tsprobe"
FAILED = 2


class Failures(unittest.TestCase):
    def check(self, message, *arguments, out=subprocess.DEVNULL):
        done = subprocess.run([TSPROBE, *arguments, SAMPLE], stdout=out, stderr=subprocess.PIPE, text=True, timeout=60)
        self.assertEqual(done.returncode, FAILED, done.stderr)
        self.assertIn(message, done.stderr)
        self.assertEqual(done.stderr.count("\n"), 1, done.stderr)

    def test_empty_values_are_no_values(self):
        for option in ("--program", "--buffer-size", "--default-pids"):
            with self.subTest(option):
                self.check(f"{option}: ''", option, "")

    def test_full_disk(self):
        with open("/dev/full", "wb") as full:
            self.check("cannot be written", out=full)
            self.check("cannot be written", "--json", out=full)


if __name__ == "__main__":
    unittest.main()
