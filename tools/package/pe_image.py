"""Read what a PE32+ DLL exports, imports and carries as resources, and decode the effect's
property list (standard library only). Used by the package check and the Wine tests."""
import struct

# DLLs that every Windows installation has: the only ones a plug-in may import.
SYSTEM_DLLS = {"kernel32.dll", "msvcrt.dll", "user32.dll", "advapi32.dll", "ws2_32.dll",
               "ntdll.dll", "shell32.dll", "ole32.dll", "gdi32.dll"}


class PEImage:
    def __init__(self, source, path="the DLL"):
        """source: the file's bytes (path then only names it in messages), or its path."""
        if isinstance(source, bytes):
            self.data = source
        else:
            path = source
            with open(path, "rb") as f:
                self.data = f.read()
        d = self.data
        if d[:2] != b"MZ":
            raise ValueError(f"{path}: not an MZ executable")
        pe = struct.unpack_from("<I", d, 0x3C)[0]
        if d[pe:pe + 4] != b"PE\0\0":
            raise ValueError(f"{path}: no PE signature")
        self.machine, nsections = struct.unpack_from("<HH", d, pe + 4)
        opt_size, self.characteristics = struct.unpack_from("<HH", d, pe + 20)
        opt = pe + 24
        self.magic = struct.unpack_from("<H", d, opt)[0]       # 0x20B = PE32+
        ndirs = struct.unpack_from("<I", d, opt + 108)[0]
        self.dirs = [struct.unpack_from("<II", d, opt + 112 + 8 * i) for i in range(ndirs)]
        self.sections = []
        sec = opt + opt_size
        for i in range(nsections):
            name, vsize, va, rsize, rptr = struct.unpack_from("<8sIIII", d, sec + 40 * i)
            self.sections.append((name.rstrip(b"\0").decode(), va, max(vsize, rsize), rptr))

    @property
    def is_pe32_plus_dll(self):
        return self.magic == 0x20B and self.machine == 0x8664 and bool(self.characteristics & 0x2000)

    def offset(self, rva):
        for _, va, size, ptr in self.sections:
            if va <= rva < va + size:
                return ptr + rva - va
        raise ValueError(f"RVA {rva:#x} outside every section")

    def cstring(self, rva):
        o = self.offset(rva)
        return self.data[o:self.data.index(b"\0", o)].decode()

    def exports(self):
        rva, size = self.dirs[0]
        if not size:
            return []
        o = self.offset(rva)
        nnames = struct.unpack_from("<I", self.data, o + 24)[0]
        names_rva = struct.unpack_from("<I", self.data, o + 32)[0]
        return [self.cstring(struct.unpack_from("<I", self.data, self.offset(names_rva) + 4 * i)[0])
                for i in range(nnames)]

    def imported_dlls(self):
        rva, size = self.dirs[1]
        dlls, o = [], self.offset(rva)
        while True:
            name_rva = struct.unpack_from("<I", self.data, o + 12)[0]
            if name_rva == 0:
                return dlls
            dlls.append(self.cstring(name_rva))
            o += 20

    def resource(self, type_name, res_id, lang):
        """Bytes of the resource with a string type, an integer id and a language, or None."""
        rva, size = self.dirs[2]
        if not size:
            return None
        base = self.offset(rva)

        def entries(dir_off):
            named, ids = struct.unpack_from("<HH", self.data, dir_off + 12)
            for i in range(named + ids):
                name, target = struct.unpack_from("<II", self.data, dir_off + 16 + 8 * i)
                if name & 0x80000000:
                    so = base + (name & 0x7FFFFFFF)
                    n = struct.unpack_from("<H", self.data, so)[0]
                    key = self.data[so + 2:so + 2 + 2 * n].decode("utf-16-le")
                else:
                    key = name
                yield key, target

        def find(dir_off, wanted):
            for key, target in entries(dir_off):
                if (isinstance(key, str) and isinstance(wanted, str) and key.upper() == wanted.upper()) \
                        or key == wanted:
                    return target
            return None

        t = find(base, type_name)
        if t is None or not t & 0x80000000:
            return None
        i = find(base + (t & 0x7FFFFFFF), res_id)
        if i is None or not i & 0x80000000:
            return None
        leaf = find(base + (i & 0x7FFFFFFF), lang)
        if leaf is None:
            return None
        data_rva, data_size = struct.unpack_from("<II", self.data, base + leaf)
        o = self.offset(data_rva)
        return self.data[o:o + data_size]


def decode_pipl(blob):
    """The property list as [(key, value bytes)], keys in their natural spelling ('kind')."""
    reserved, version, count = struct.unpack_from("<HII", blob, 0)
    if reserved != 1 or version != 0:
        raise ValueError("bad property list header")
    props, o = [], 10
    for _ in range(count):
        vendor, key, _pid, length = struct.unpack_from("<4s4sII", blob, o)
        if vendor[::-1] != b"8BIM":
            raise ValueError("bad vendor code")
        props.append((key[::-1].decode(), blob[o + 16:o + 16 + length]))
        o += 16 + length
    if o != len(blob):
        raise ValueError("trailing bytes after the last property")
    return props

