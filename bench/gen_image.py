#!/usr/bin/env python3
"""Writes a deterministic synthetic linked image and its objdump listing.

usage: gen_image.py OUTDIR [--functions N] [--lines L] [--calls C]

OUTDIR/image.elf holds a .text section and one global function symbol per
function; OUTDIR/image.elf.dis is the listing as valdrin-llvm-objdump
prints it: a header per function, then L instruction lines with a frame,
C direct calls to later functions, jumps, constant extenders and
sub-instruction pairs. Calls go to deeper layers only (function i is in
layer i % LAYERS), so worst-case paths are at most LAYERS long as in real
programs.
"""
import argparse
import os
import random
import struct

LAYERS = 24


def build_elf(names, starts, sizes, text_size):
    strtab = b"\0"
    syms = [b"\0" * 16]
    for name, start, size in zip(names, starts, sizes):
        syms.append(struct.pack("<IIIBBH", len(strtab), start, size, (1 << 4) | 2, 0, 1))
        strtab += name.encode() + b"\0"
    symtab = b"".join(syms)
    shstrtab = b"\0.text\0.symtab\0.strtab\0.shstrtab\0"
    # .text holds no bytes in the file (NOBITS): the analysis reads only symbols.
    header_size = 52
    symtab_off = header_size
    strtab_off = symtab_off + len(symtab)
    shstr_off = strtab_off + len(strtab)
    sh_off = (shstr_off + len(shstrtab) + 3) & ~3
    def sh(name, typ, flags, addr, off, size, link, info, align, entsize):
        return struct.pack("<10I", name, typ, flags, addr, off, size, link, info, align, entsize)
    sections = [
        b"\0" * 40,
        sh(1, 8, 6, 0x20000, 0, text_size, 0, 0, 16, 0),
        sh(7, 2, 0, 0, symtab_off, len(symtab), 3, 1, 4, 16),
        sh(15, 3, 0, 0, strtab_off, len(strtab), 0, 0, 1, 0),
        sh(23, 3, 0, 0, shstr_off, len(shstrtab), 0, 0, 1, 0),
    ]
    ident = b"\x7fELF\x01\x01\x01" + b"\0" * 9
    header = ident + struct.pack("<HHIIIIIHHHHHH", 2, 0x5644, 1, 0x20000, 0, sh_off, 0x4,
                                 header_size, 0, 0, 40, len(sections), 4)
    body = header + symtab + strtab + shstrtab
    body += b"\0" * (sh_off - len(body))
    return body + b"".join(sections)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("outdir")
    ap.add_argument("--functions", type=int, default=100000)
    ap.add_argument("--lines", type=int, default=30)
    ap.add_argument("--calls", type=int, default=4)
    a = ap.parse_args()
    rnd = random.Random(1234)
    os.makedirs(a.outdir, exist_ok=True)
    n = a.functions
    names = ["fn_%06d" % i for i in range(n)]
    size = a.lines * 4
    starts = [0x20000 + i * size for i in range(n)]
    with open(os.path.join(a.outdir, "image.elf"), "wb") as f:
        f.write(build_elf(names, starts, [size] * n, n * size))
    with open(os.path.join(a.outdir, "image.elf.dis"), "w") as out:
        out.write("\nimage.elf:\tfile format elf32-valdrin\n\nDisassembly of section .text:\n\n")
        for i in range(n):
            base = starts[i]
            out.write("%08x <%s>:\n" % (base, names[i]))
            calls = set()
            depth = LAYERS - 1 - i % LAYERS
            for _ in range(a.calls if depth > 0 else 0):
                j = i + rnd.randrange(1, min(depth, 4) + 1) + LAYERS * rnd.randrange(max(1, (n - i) // LAYERS))
                if j < n:
                    calls.add(j)
            calls = sorted(calls)
            for k in range(a.lines):
                addr = base + 4 * k
                if k == 0:
                    ins = "{ \tallocframe(#%d) } " % (8 * rnd.randrange(0, 16))
                elif k == 1:
                    ins = "{ \tr29 = add(r29,#-%d) } " % (8 * rnd.randrange(1, 8))
                elif calls and k % 5 == 2:
                    ins = "{ \tcall 0x%x } " % starts[calls.pop()]
                elif k % 7 == 3:
                    ins = "{ \tr1 = memw(r29+#%d); \tr0 = add(r0,#1) } " % (4 * k)
                elif k % 11 == 4:
                    ins = "{ \tr0 = ##%d } " % (143000 + k)
                elif k % 13 == 5:
                    ins = "{ \tif (p0) jump:nt 0x%x } " % base
                else:
                    ins = "  \tr%d = add(r%d,#%d)" % (k % 28, (k + 3) % 28, k)
                out.write("%8x:\t00 c0 00 78\t7800c000 %s\n" % (addr, ins))
            out.write("\n")


if __name__ == "__main__":
    main()
