"""What regsvr32 writes to the registry for the filter, and takes away again."""

import samples
from programs import run

FILTER = "build/windows/ZarnowTSSource.ax"
IMAGE = "Z:" + str(samples.ROOT / FILTER).replace("/", "\\")
CLASSES = "HKEY_CLASSES_ROOT\\CLSID\\"
SOURCE = "{4A7E2C19-B3D5-4F08-9C61-2E5D8A3F7B14}"
PAGE = "{6F2D9E41-0A7C-4B3E-A5D2-71C8E94B0F36}"
INSTANCE = "{083863F1-70DE-11d0-BD40-00A0C911CE86}\\Instance\\" + SOURCE
# Merit 0x00200000 and one output pin with one type: MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT.
FILTER_DATA = ("0200000000002000010000000000000030706933080000000100000001000000000000000000000030747933"
               "00000000380000004800000083EB36E44F52CE119F530020AF0BA77023806DE046DBCF11B4D100805F6CBBEA")
KEYS = {SOURCE: f"""
{CLASSES}{SOURCE} (Default) REG_SZ Zarnow Transport Stream Source
{CLASSES}{SOURCE}\\InprocServer32 (Default) REG_SZ {IMAGE} ThreadingModel REG_SZ Both""", PAGE: f"""
{CLASSES}{PAGE} (Default) REG_SZ TS Properties
{CLASSES}{PAGE}\\InprocServer32 (Default) REG_SZ {IMAGE} ThreadingModel REG_SZ Both""", INSTANCE: f"""
{CLASSES}{INSTANCE} CLSID REG_SZ {SOURCE}
FilterData REG_BINARY {FILTER_DATA} FriendlyName REG_SZ Zarnow Transport Stream Source"""}


def test_registration_comes_and_goes_whole():
    for _ in range(2):  # repeatable
        assert run(["wine", "regsvr32", "/s"], FILTER)[0] == 0
    for key, expected in KEYS.items():
        assert run(["wine", "reg", "query"], CLASSES + key, "/s")[1].split() == expected.split()
    for _ in range(2):  # what is not there is no error
        assert run(["wine", "regsvr32", "/s", "/u"], FILTER)[0] == 0
    for key in KEYS:
        assert run(["wine", "reg", "query"], CLASSES + key)[0] == 1
