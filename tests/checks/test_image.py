"""The filter's DLL, by its headers."""

import re
import subprocess
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
IMAGE = ROOT / "build" / "windows" / "ZarnowTSSource.ax"
# What every Windows has.
SYSTEM_DLLS = {"advapi32", "comctl32", "comdlg32", "gdi32", "kernel32", "msvcrt", "ole32", "oleaut32", "shell32",
               "shlwapi", "user32", "version", "winmm"}


@pytest.fixture(scope="module")
def headers():
    return subprocess.run(["x86_64-w64-mingw32-objdump", "-p", "-h", str(IMAGE)], check=True, text=True,
                          stdout=subprocess.PIPE).stdout


def test_imports_system_dlls_only(headers):
    imports = {name.lower().removesuffix(".dll") for name in re.findall(r"DLL Name: (\S+)", headers)}
    assert "kernel32" in imports
    assert imports <= SYSTEM_DLLS


def test_is_hardened(headers):
    flags = headers.partition("DllCharacteristics")[2].partition("SizeOfStackReserve")[0]
    for flag in ("HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"):
        assert flag in flags
    assert ".reloc" in headers, "without relocations it cannot be moved"


def test_no_section_is_writable_and_executable(headers):
    for name, flags in re.findall(r"^ *\d+ (\S+) .*\n +(.*)$", headers, re.MULTILINE):
        assert "CODE" not in flags or "READONLY" in flags, name


def test_exports_the_four_entry_points(headers):
    table = headers.partition("[Ordinal/Name Pointer] Table")[2].partition("\n\n")[0]
    assert sorted(re.findall(r"\[ *\d+\] (\w+)", table)) == [
        "DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"]


def test_resources():
    """The dialog template, the page's title and the version, as a resource compiler reads them."""
    shown = subprocess.run(["x86_64-w64-mingw32-windres", "-J", "coff", "-O", "rc", str(IMAGE)], check=True, text=True,
                           stdout=subprocess.PIPE).stdout
    assert shown == (ROOT / "tests" / "data" / "golden" / "resources.rc").read_text()
