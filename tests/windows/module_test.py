#!/usr/bin/python3
"""module_test.py HT_TEXT.adc: checks the exports, imports and resources of the component's file."""
import pathlib
import re
import struct
import sys
import unittest
import uuid

import pefile

ROOT = pathlib.Path(__file__).parents[2]
ICON, STRING, GROUP_ICON, VERSION = 3, 6, 14, 16
NEUTRAL, ENGLISH, RUSSIAN = 0, 1033, 1049


class ModuleTest(unittest.TestCase):
    module = pefile.PE(sys.argv[-1])

    def test_exports_are_the_four_and_imports_are_system_dlls(self):
        self.assertEqual([export.name for export in self.module.DIRECTORY_ENTRY_EXPORT.symbols],
                         [b"DllCanUnloadNow", b"DllGetClassObject", b"DllRegisterServer", b"DllUnregisterServer"])
        imports = {entry.dll.decode().lower(): entry.imports for entry in self.module.DIRECTORY_ENTRY_IMPORT}
        devices = [call.name.decode() for call in imports.pop("ftd2xx.dll")]
        self.assertLessEqual(set(imports), {"advapi32.dll", "comdlg32.dll", "gdi32.dll", "kernel32.dll", "msvcrt.dll",
                                            "ole32.dll", "oleaut32.dll", "user32.dll"})
        declared = re.findall(r"virtual FT_STATUS (\w+)", (ROOT / "platform/d2xx.h").read_text())
        self.assertEqual(sorted(devices), sorted(declared))

    def test_the_c_library_exports_what_its_header_declares(self):
        library = pefile.PE(str(pathlib.Path(sys.argv[-1]).parents[1] / "halden_text.dll"))
        declared = re.findall(r"^HALDEN_API .*?(halden_\w+)\(", (ROOT / "sdk/c/halden_text.h").read_text(), re.M)
        exported = [export.name.decode() for export in library.DIRECTORY_ENTRY_EXPORT.symbols]
        self.assertEqual(sorted(exported), sorted(declared))

    def test_resources_hold_icons_texts_version_and_type_library(self):
        resources = {tuple(map(str, (kind.name or kind.id, name.name or name.id, leaf.id))):
                     self.module.get_data(leaf.data.struct.OffsetToData, leaf.data.struct.Size)
                     for kind in self.module.DIRECTORY_ENTRY_RESOURCE.entries
                     for name in kind.directory.entries for leaf in name.directory.entries}
        texts = re.findall(r"TEXT_ROW\((\d+)", (ROOT / "backends/text/text_table.inc").read_text())
        expected = {(ICON, i, RUSSIAN) for i in (1, 2, 3, 4)} | {(GROUP_ICON, name, RUSSIAN) for name in (1, "ADC")}
        expected |= {(STRING, 1 + int(id) // 16, language) for id in texts for language in (ENGLISH, RUSSIAN)}
        expected |= {(VERSION, 1, ENGLISH), ("TYPELIB", 1, NEUTRAL), ("TYPELIB", 2, NEUTRAL), ("_IID_HALDEN_TEXT", 1, NEUTRAL)}
        self.assertEqual(set(resources), {tuple(map(str, place)) for place in expected})

        ours = uuid.UUID("0058F2CF-423E-42C8-86C9-F2323C000C21").bytes_le
        contract = uuid.UUID("97B526A8-3B46-11D7-B688-FDAEA8668E28").bytes_le
        self.assertEqual(resources["_IID_HALDEN_TEXT", "1", "0"], struct.pack("<I", 32) + ours + contract)
        self.assertIn(ours, resources["TYPELIB", "1", "0"])
        for library in "12":
            self.assertNotIn(contract, resources["TYPELIB", library, "0"], "registering it must not replace the contract's")
        for text in ("040904B0", "3.02.0002", "HT_TEXT.adc", "OLESelfRegister"):
            self.assertIn(text.encode("utf-16-le"), resources[str(VERSION), "1", str(ENGLISH)])


unittest.main(argv=sys.argv[:1])
