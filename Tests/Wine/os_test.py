"""What the command reports of the operating system under Wine, for each version that Wine can be, and with
values planted in its registry.

Usage: os_test.py RUN-WINE COMMAND PREFIX
"""

import json
import os
import subprocess
import sys
import unittest

RUN_WINE, COMMAND, PREFIX = sys.argv[1:4]
CURRENT = r"HKLM\Software\Microsoft\Windows NT\CurrentVersion"
PRODUCT_OPTIONS = r"HKLM\System\CurrentControlSet\Control\ProductOptions"
ENVIRONMENT = {**os.environ, "ONDREL_WINE_PREFIX": PREFIX}

# Version, its numbers as a program without a manifest has them reported and as they are, service
# pack, kind (1 workstation, 2 server), product value, product and edition.
VERSIONS = [
    ("win10", (6, 2, 9200), (10, 0, 18362), 0, 1, 28, "Windows 10", "N Edition"),
    ("win81", (6, 2, 9200), (6, 3, 9600), 0, 1, 28, "Windows 8.1", "N Edition"),
    ("win8", (6, 2, 9200), (6, 2, 9200), 0, 1, 28, "Windows 8", "N Edition"),
    ("win7", (6, 1, 7601), (6, 1, 7601), 1, 1, 28, "Windows 7", "Ultimate, N Edition"),
    ("win2008r2", (6, 1, 7601), (6, 1, 7601), 1, 2, 7, "Windows Server 2008 R2", "Standard Edition"),
    ("vista", (6, 0, 6002), (6, 0, 6002), 2, 1, 28, "Windows Vista", "Ultimate, N Edition"),
    ("win2008", (6, 0, 6002), (6, 0, 6002), 2, 2, 7, "Windows Server 2008", "Standard Edition"),
    ("win2003", (5, 2, 3790), (5, 2, 3790), 2, 2, 0, "Windows Server 2003", "Standard Edition"),
    ("winxp64", (5, 2, 3790), (5, 2, 3790), 2, 1, 0, "Windows XP Professional x64", "Professional"),
]

# Bits of the flag words.
PRIMARY_DOMAIN_CONTROLLER = 0x4
MULTIPROCESSOR_CHECKED = 0x2000
MEDIA_CENTER = 0x4000
TABLET_PC = 0x8000
CORE_CONNECTED = 0x800000


def wine(*arguments):
    result = subprocess.run([RUN_WINE, *arguments], env=ENVIRONMENT, stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=120)
    if result.returncode != 0:
        raise AssertionError(f"{arguments}: exit status {result.returncode}\n{result.stderr}")
    return result.stdout


def be(version):
    wine("winecfg", "/v", version)


def facts():
    return json.loads(wine(COMMAND, "--json", "os", "--facts"))


def names():
    answer = json.loads(wine(COMMAND, "--json", "os"))
    del answer["jsonVersion"]
    if answer.pop("kind") != "windows":
        raise AssertionError("the names are those of another system")
    return answer


def numbers(half):
    return half["major"], half["minor"], half["build"]


class VersionTest(unittest.TestCase):
    def test_each_version_is_named(self):
        for version, reported, underlying, service_pack, kind, product, name, edition in VERSIONS:
            with self.subTest(version):
                be(version)
                shown = facts()
                self.assertEqual(reported, numbers(shown["reported"]))
                self.assertEqual(underlying, numbers(shown["underlying"]))
                self.assertEqual(service_pack, shown["underlying"]["spMajor"])
                self.assertEqual(kind, shown["osType"])
                self.assertEqual(product, shown["productInfo"])
                self.assertEqual({
                    "vendor": "Microsoft Corporation", "product": name, "edition": edition,
                    "servicePack": str(service_pack or ""),
                    "version": "{}.{}".format(*underlying), "build": str(underlying[2]),
                    "architecture": "x86-64",
                    "features": "64 Bit, Hyper-V Tools" if product == 7 else "64 Bit",
                }, names())


class RegistryTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        be("win10")

    def plant(self, key, name, data, kind="REG_SZ"):
        """Until the test's end; a value that was there stands again afterwards."""
        query = subprocess.run([RUN_WINE, "reg", "query", key, "/v", name], env=ENVIRONMENT,
                               stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120)
        before = None
        if query.returncode == 0:
            before = query.stdout.split(name, 1)[1].strip().split(None, 1)
        wine("reg", "add", key, "/v", name, "/t", kind, "/d", str(data), "/f")
        if before:
            self.addCleanup(wine, "reg", "add", key, "/v", name, "/t", before[0], "/d",
                            before[1].strip() if len(before) > 1 else "", "/f")
        else:
            self.addCleanup(wine, "reg", "delete", key, "/v", name, "/f")

    def test_the_update_build_revision(self):
        self.assertEqual(0, facts()["ubr"])
        self.plant(CURRENT, "UBR", 4170, "REG_DWORD")
        self.assertEqual(4170, facts()["ubr"])

    def test_the_semi_annual_channel_is_shown_by_an_edition_in_its_very_letters(self):
        self.assertEqual(0, facts()["semiAnnual"])
        self.plant(CURRENT, "EditionID", "ServerStandardACor")
        self.assertEqual(1, facts()["semiAnnual"])
        self.plant(CURRENT, "EditionID", "serverstandardacor")
        self.assertEqual(0, facts()["semiAnnual"])

    def test_a_connected_core_is_shown_in_any_case(self):
        self.assertEqual(0, facts()["suite2"] & CORE_CONNECTED)
        self.plant(CURRENT, "EditionID", "CoreConnectedn")
        self.assertEqual(CORE_CONNECTED, facts()["suite2"] & CORE_CONNECTED)

    def test_media_center_and_tablet(self):
        self.assertEqual(0, facts()["suite1"] & (MEDIA_CENTER | TABLET_PC))
        self.plant(r"HKLM\System\WPA\MediaCenter", "Installed", 1, "REG_DWORD")
        self.assertEqual(MEDIA_CENTER, facts()["suite1"] & (MEDIA_CENTER | TABLET_PC))
        self.plant(r"HKLM\System\WPA\TabletPC", "Installed", 1, "REG_DWORD")
        self.assertEqual("Media Center, Tablet PC, 64 Bit", names()["features"])

    def test_the_product_type(self):
        self.plant(PRODUCT_OPTIONS, "ProductType", "LanmanNT")
        shown = facts()
        self.assertEqual(PRIMARY_DOMAIN_CONTROLLER, shown["suite1"] & PRIMARY_DOMAIN_CONTROLLER)

    def test_the_type_of_the_build(self):
        self.plant(CURRENT, "CurrentType", "multiprocessor checked")
        self.assertEqual(MULTIPROCESSOR_CHECKED, facts()["suite1"] & MULTIPROCESSOR_CHECKED)

    def test_the_service_pack(self):
        be("win7")
        self.addCleanup(be, "win10")
        self.plant(CURRENT, "CSDVersion", "Service Pack 3")
        shown = facts()
        self.assertEqual("Service Pack 3", shown["reported"]["csdVersion"])
        self.assertEqual(3, shown["underlying"]["spMajor"])
        self.assertEqual("3", names()["servicePack"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
