"""Reads what the tests compare of a Windows module: exports, imports and resources."""
import pathlib
import struct


class Module:
    def __init__(self, path):
        self.data = pathlib.Path(path).read_bytes()
        pe = self.number("I", 0x3C)
        sections, optional_size = self.number("H", pe + 6), self.number("H", pe + 20)
        optional = pe + 24
        self.bits = {0x10B: 32, 0x20B: 64}[self.number("H", optional)]
        self.directories = optional + (96 if self.bits == 32 else 112)
        table = optional + optional_size
        self.sections = [struct.unpack_from("<8x4I", self.data, table + 40 * i) for i in range(sections)]

    def number(self, kind, offset):
        return struct.unpack_from("<" + kind, self.data, offset)[0]

    def directory(self, index):
        address = self.number("I", self.directories + 8 * index)
        return self.offset(address) if address else None

    def offset(self, address):
        for size, start, raw_size, raw in self.sections:
            if start <= address < start + max(size, raw_size):
                return raw + address - start
        raise ValueError(f"address {address:x} is in no section")

    def text(self, address):
        start = self.offset(address)
        return self.data[start:self.data.index(b"\0", start)].decode("ascii")

    def exports(self):
        table = self.directory(0)
        count, names = self.number("I", table + 24), self.offset(self.number("I", table + 32))
        return [self.text(self.number("I", names + 4 * i)) for i in range(count)]

    def imports(self):
        """Names by library; a library's name is in lower case."""
        found, entry = {}, self.directory(1)
        while self.number("I", entry + 12):
            thunk = self.offset(self.number("I", entry) or self.number("I", entry + 16))
            names, width = [], self.bits // 8
            while value := self.number("I" if width == 4 else "Q", thunk):
                names.append(self.text((value & 0x7FFFFFFF) + 2))
                thunk += width
            found[self.text(self.number("I", entry + 12)).lower()] = names
            entry += 20
        return found

    def resources(self):
        """The bytes of each by type, name and language."""
        root = self.directory(2)

        def entries(directory):
            count = self.number("H", directory + 12) + self.number("H", directory + 14)
            for i in range(count):
                name, target = struct.unpack_from("<II", self.data, directory + 16 + 8 * i)
                if name & 0x80000000:
                    at = root + (name & 0x7FFFFFFF)
                    name = self.data[at + 2:at + 2 + 2 * self.number("H", at)].decode("utf-16-le")
                yield name, root + (target & 0x7FFFFFFF)

        found = {}
        for kind, names in entries(root):
            for name, languages in entries(names):
                for language, leaf in entries(languages):
                    start, size = self.offset(self.number("I", leaf)), self.number("I", leaf + 4)
                    found[kind, name, language] = self.data[start:start + size]
        return found
