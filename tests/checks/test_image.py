"""The filter's DLL, by its headers."""

import re
import subprocess
import unittest
from pathlib import Path

IMAGE = Path(__file__).resolve().parents[2] / "build" / "windows" / "ZarnowTSSource.ax"

# What every Windows has.
SYSTEM_DLLS = {"advapi32", "comctl32", "comdlg32", "gdi32", "kernel32", "msvcrt", "ole32", "oleaut32", "shell32",
               "shlwapi", "user32", "version", "winmm"}


class Image(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.headers = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", "-h", str(IMAGE)], check=True, text=True,
                                     stdout=subprocess.PIPE).stdout

    def test_imports_system_dlls_only(self):
        imports = {name.lower().removesuffix(".dll") for name in re.findall(r"DLL Name: (\S+)", self.headers)}
        self.assertIn("kernel32", imports)
        self.assertLessEqual(imports, SYSTEM_DLLS)

    def test_is_hardened(self):
        flags = self.headers.partition("DllCharacteristics")[2].partition("SizeOfStackReserve")[0]
        for flag in ("HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"):
            self.assertIn(flag, flags)
        self.assertIn(".reloc", self.headers, "without relocations it cannot be moved")

    def test_no_section_is_writable_and_executable(self):
        for name, flags in re.findall(r"^ *\d+ (\S+) .*\n +(.*)$", self.headers, re.MULTILINE):
            self.assertFalse("CODE" in flags and "READONLY" not in flags, f"{name}: {flags}")

    def test_exports_the_four_entry_points(self):
        table = self.headers.partition("[Ordinal/Name Pointer] Table")[2].partition("\n\n")[0]
        exports = re.findall(r"\[ *\d+\] (\w+)", table)
        self.assertEqual(sorted(exports), ["DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer",
                                           "DllUnregisterServer"])


if __name__ == "__main__":
    unittest.main()
