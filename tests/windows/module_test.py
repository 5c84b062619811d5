#!/usr/bin/env python3
"""Compares what stands in the built component with what a host and the system expect of it.

usage: module_test.py HT_TEXT.adc
"""
import pathlib
import re
import struct
import sys
import unittest
import uuid

from portable_executable import Module

ROOT = pathlib.Path(__file__).parents[2]
ICON, STRING, GROUP_ICON, VERSION = 3, 6, 14, 16
NEUTRAL, ENGLISH, RUSSIAN = 0, 1033, 1049


class ModuleTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.module = Module(sys.argv[-1])
        self.resources = self.module.resources()

    def test_exports_are_undecorated(self):
        self.assertEqual(self.module.exports(),
                         ["DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"])

    def test_imports_are_the_system_and_the_device_library(self):
        imports = self.module.imports()
        devices = imports.pop("ftd2xx.dll")
        self.assertLessEqual(set(imports), {"advapi32.dll", "comdlg32.dll", "gdi32.dll", "kernel32.dll", "msvcrt.dll",
                                            "ole32.dll", "oleaut32.dll", "user32.dll"})
        declared = re.findall(r"virtual FT_STATUS (\w+)", (ROOT / "platform/d2xx.h").read_text())
        self.assertEqual(sorted(devices), sorted(declared))

    def test_resources_are_those_of_the_component(self):
        expected = {(ICON, i, RUSSIAN) for i in (1, 2, 3, 4)} | {(GROUP_ICON, name, RUSSIAN) for name in (1, "ADC")}
        expected |= {(STRING, 1 + id // 16, language) for id in self.texts() for language in (ENGLISH, RUSSIAN)}
        expected |= {(VERSION, 1, ENGLISH), ("TYPELIB", 1, NEUTRAL), ("_IID_HALDEN_TEXT", 1, NEUTRAL)}
        self.assertEqual(set(self.resources), expected)

    @staticmethod
    def texts():
        rows = re.findall(r'TEXT_ROW\((\d+), "(.*)", "(.*)"\)', (ROOT / "platform/text_table.inc").read_text())
        return {int(id): {ENGLISH: english, RUSSIAN: russian} for id, english, russian in rows}

    def test_texts_stand_in_both_languages(self):
        found = {}
        for (kind, block, language), data in self.resources.items():
            place = 0
            for i in range(16 if kind == STRING else 0):
                length = struct.unpack_from("<H", data, place)[0]
                text = data[place + 2:place + 2 + 2 * length].decode("utf-16-le")
                place += 2 + 2 * length
                if text:
                    found.setdefault(16 * (block - 1) + i, {})[language] = text
        self.assertEqual(len(found), 15)
        self.assertEqual(found, self.texts())

    def test_icons_are_drawn_in_16_colours(self):
        shapes = [struct.unpack_from("<4xii2xH", self.resources[ICON, i, RUSSIAN]) for i in (1, 2, 3, 4)]
        self.assertEqual(shapes, [(32, 64, 4), (16, 32, 4)] * 2)
        images = {name: [struct.unpack_from("<H", self.resources[GROUP_ICON, name, RUSSIAN], 18 + 14 * i)[0] for i in (0, 1)]
                  for name in (1, "ADC")}
        self.assertEqual(images, {1: [1, 2], "ADC": [3, 4]})
        self.assertEqual(len({self.resources[ICON, i, RUSSIAN] for i in (1, 2, 3, 4)}), 4)

    def test_version_block(self):
        block = self.resources[VERSION, 1, ENGLISH]
        fixed = struct.unpack_from("<13I", block, 40)
        version = (3 << 16 | 2, 2)
        self.assertEqual(fixed[:1] + fixed[2:6] + fixed[8:10], (0xFEEF04BD, *version, *version, 4, 2))
        text = block.decode("utf-16-le", "replace")
        for key, value in {"FileVersion": "3.02.0002", "ProductVersion": "3.02.0002", "InternalName": "HT_TEXT",
                           "OriginalFilename": "HT_TEXT.adc", "OLESelfRegister": ""}.items():
            place = text.index(key)
            length, start = ord(text[place - 2]), place + len(key) + 1
            start += start & 1
            self.assertEqual(text[start:start + length].rstrip("\0"), value, key)
        self.assertIn("040904B0", text)

    def test_interface_identifiers(self):
        data = self.resources["_IID_HALDEN_TEXT", 1, NEUTRAL]
        library = (ROOT / "com/halden_text.idl").read_text()
        own = re.search(r"uuid\(([-0-9A-F]+)\),\s+version\(1\.0\),\s+hidden", library).group(1)
        self.assertEqual((len(data), data[:4]), (36, struct.pack("<I", 32)))
        self.assertEqual([uuid.UUID(bytes_le=data[4:20]), uuid.UUID(bytes_le=data[20:36])],
                         [uuid.UUID(own), uuid.UUID("97B526A8-3B46-11D7-B688-FDAEA8668E28")])


unittest.main(argv=sys.argv[:1])
