#!/usr/bin/env python3
"""Writes a synthetic tree of compiler-style Valdrin assembly files.

Deterministic for given counts. The functions look like the compiler's
output: packets in braces, allocframe, spills, local branch labels, calls
to functions of any file, r29 adjustments by immediate and by register,
string literals, initialised and common data.

usage: gen_asm.py OUTPUT_DIR [--files N] [--per-file M] [--calls K]

--calls is the mean number of direct calls per function (default 1).

The call graph is layered as real programs are: a function calls only
functions of deeper layers (so worst-case paths are at most LAYERS long),
except for a rare call of a function to itself, as recursion is rare.
"""

import argparse
import os
import random

FUNCTIONS_PER_FILE = 100
CALLS_PER_FUNCTION = 1.0
BODY_BLOCKS = 3  # basic blocks per function; sets the size per function
LAYERS = 24
SELF_CALL_RATE = 0.001


def layer_of(index):
    return index % min(LAYERS, FUNCTIONS_PER_FILE)


def pick_callee(rng, file_index, index, total_files, same_file):
    """A callee of a deeper layer (rarely itself); None for the deepest."""
    layers = min(LAYERS, FUNCTIONS_PER_FILE)
    low = layer_of(index) + 1
    if rng.random() < SELF_CALL_RATE:
        return function_name(file_index, index)
    if low >= layers:
        return None
    layer = rng.randrange(low, min(low + 4, layers))
    callee_index = layer + layers * rng.randrange((FUNCTIONS_PER_FILE - 1 - layer) // layers + 1)
    callee_file = file_index if same_file else rng.randrange(total_files)
    if callee_file != file_index and callee_index % 7 == 6:
        callee_file = file_index  # static functions are only called from their own file
    return function_name(callee_file, callee_index)


def function_name(file_index, function_index):
    return "fn_%d_%d" % (file_index, function_index)


def write_function(out, rng, file_index, index, total_files, is_static):
    name = function_name(file_index, index)
    if not is_static:
        out.append("\t.globl\t%s                       // -- Begin function %s\n" % (name, name))
    out.append("\t.p2align\t4\n\t.type\t%s,@function\n%s:                    // @%s\n// %%bb.0:\n"
               % (name, name, name))
    frame = 8 * rng.randint(1, 40)
    out.append("\t{\n\t\tallocframe(r29,#%d):raw\n\t}\n" % frame)
    kind = rng.random()
    if kind < 0.05:
        out.append("\t{\n\t\tr29 = add(r29,#-%d)\n\t}\n" % (8 * rng.randint(1, 100)))
    elif kind < 0.08:
        out.append("\t{\n\t\tr1 = #%d\n\t}\n\t{\n\t\tr29 = sub(r29,r1)\n\t}\n" % (8 * rng.randint(1, 50)))
    for block in range(BODY_BLOCKS):
        out.append(".LBB%d_%d:                                //   in Loop: Header=BB%d_1 Depth=1\n"
                   % (index, block, index))
        out.append("\t{\n\t\tr0 = memw(r30+#-%d)\n\t}                                       "
                   "// 4-byte Folded Reload\n" % (4 * rng.randint(1, 30)))
        out.append("\t{\n\t\tr1 = add(r0,#%d)\n\t\tp0 = cmp.gt(r0,#%d)\n\t}\n"
                   % (rng.randint(1, 99), rng.randint(0, 99)))
        roll = rng.random()
        calls = int(CALLS_PER_FUNCTION / BODY_BLOCKS) + (1 if rng.random() < (CALLS_PER_FUNCTION / BODY_BLOCKS) % 1 else 0)
        for k in range(calls):
            callee = pick_callee(rng, file_index, index, total_files, k == calls - 1 and rng.random() < 0.5)
            if callee is not None:
                out.append("\t{\n\t\tcall %s\n\t}\n" % callee)
        if roll < 0.05:
            out.append("\t{\n\t\tcall printf\n\t\tr0 = ##.L.str.%d\n\t}\n" % (index % 4))
        elif roll < 0.10:
            target = pick_callee(rng, file_index, index, total_files, True)
            if target is not None:
                out.append("\t{\n\t\tr2 = ##%s\n\t}\n\t{\n\t\tcallr r2\n\t}\n" % target)
        out.append("\t{\n\t\tmemw(r30+#-%d) = r1\n\t}                                       "
                   "// 4-byte Folded Spill\n" % (4 * rng.randint(1, 30)))
        out.append("\t{\n\t\tif (p0) jump:nt .LBB%d_%d\n\t}\n\t{\n\t\tjump .LBB%d_%d\n\t}\n"
                   % (index, rng.randrange(BODY_BLOCKS), index, (block + 1) % BODY_BLOCKS))
    out.append("\t{\n\t\tr31:30 = dealloc_return(r30):raw\n\t}\n")
    out.append(".Lfunc_end%d:\n\t.size\t%s, .Lfunc_end%d-%s\n                                        "
               "// -- End function\n" % (index, name, index, name))


def write_file(path, rng, file_index, total_files):
    out = ["\t.text\n\t.file\t\"unit_%d.c\"\n" % file_index]
    for index in range(FUNCTIONS_PER_FILE):
        write_function(out, rng, file_index, index, total_files, is_static=(index % 7 == 6))
    for i in range(4):
        out.append("\t.type\t.L.str.%d,@object\n\t.section\t.rodata.str1.1,\"aMS\",@progbits,1\n"
                   ".L.str.%d:\n\t.string\t\"unit %d message %d: %%d\\n\"\n\t.size\t.L.str.%d, 20\n"
                   % (i, i, file_index, i, i))
    out.append("\t.type\ttable_%d,@object\n\t.data\n\t.globl\ttable_%d\n\t.p2align\t3\ntable_%d:\n"
               "\t.space\t64\n\t.size\ttable_%d, 64\n" % (file_index, file_index, file_index, file_index))
    out.append("\t.type\tcounter_%d,@object\n\t.comm\tcounter_%d,4,4\n" % (file_index, file_index))
    out.append("\t.ident\t\"Valdrin Clang version 14.0.6\"\n\t.section\t\".note.GNU-stack\",\"\",@progbits\n")
    with open(path, "w") as handle:
        handle.write("".join(out))


def main():
    global FUNCTIONS_PER_FILE, CALLS_PER_FUNCTION
    ap = argparse.ArgumentParser(usage=__doc__)
    ap.add_argument("root")
    ap.add_argument("--files", type=int, default=2000)
    ap.add_argument("--per-file", type=int, default=100)
    ap.add_argument("--calls", type=float, default=1.0)
    a = ap.parse_args()
    root = a.root
    FUNCTIONS_PER_FILE = a.per_file
    CALLS_PER_FUNCTION = a.calls
    total_files = a.files
    rng = random.Random(20240611)
    for file_index in range(total_files):
        folder = os.path.join(root, "dir%02d" % (file_index % 40))
        os.makedirs(folder, exist_ok=True)
        write_file(os.path.join(folder, "unit_%d.s" % file_index), rng, file_index, total_files)
    print("%d files, %d functions" % (total_files, total_files * FUNCTIONS_PER_FILE))


if __name__ == "__main__":
    main()
