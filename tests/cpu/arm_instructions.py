#!/usr/bin/python3
"""arm_instructions.py OBJDUMP FILE...    fails when code for 32-bit ARM has an instruction that a
processor may lack on which it runs.

The baseline is ARMv7-A with VFPv3 and 16 registers of 64 bits. Sources named ...Neon.cpp run where
there is NEON. MORE has what some of them may use beyond that, because it is looked for at run time.
Each FILE is an object, an archive of objects or a library.
"""
import collections
import re
import subprocess
import sys

MORE = {
    "PointCloudNeon.cpp.o": re.compile(r"vfm[as]\.f32"),
    "Crc32Neon.cpp.o": re.compile(r"vmull\.p64"),
}
CONDITION = r"(eq|ne|cs|cc|mi|pl|vs|vc|hi|ls|ge|lt|gt|le|hs|lo)?"
# What came with VFPv4, with the division of later ARMv7 and with ARMv8.
LATER = re.compile(rf"""(sdiv|udiv|vfn?m[as]{CONDITION}\.|vrint|vcvt[anpmbt]{CONDITION}\.|v(max|min)nm|vsel|
                    crc32|aes(d|e|mc|imc)|sha\d|vmull\.p64|lda|stl|sevl|hlt|v\w+\.f16)""", re.VERBOSE)
# VFPv3 on registers of 32 and 64 bits.
VFP = re.compile(rf"""(v(add|sub|mul|nmul|mla|mls|nmla|nmls|div|sqrt|abs|neg|cmpe?|mov){CONDITION}\.f(32|64)|
                  vcvtr?{CONDITION}(\.[fsu](16|32|64)){{2}}|vmov{CONDITION}(\.(8|16|32))?|v(ldr|str){CONDITION}(\.\d+)?|
                  v(ldm|stm)(ia|db|fd|ea)?{CONDITION}|f(ld|st)mx?\w*|v(push|pop){CONDITION}|vm(rs|sr){CONDITION})$""",
                 re.VERBOSE)
SINGLE = re.compile(rf"v(add|sub|mul|mla|mls|abs|neg){CONDITION}\.f32")  # NEON on registers of 64 bits
VECTORS = re.compile(r"\bq\d|\bd(1[6-9]|2\d|3[01])\b")
MEMBER = re.compile(r"^(\S+):\s+file format")
INSTRUCTION = re.compile(r"^\s+[0-9a-f]+:\t(?:[0-9a-f]{4,8} ?)+\s*\t(v?\w[\w.]*)\s*([^@;]*)")


def is_neon(name, operands):
    if not name.startswith("v"):
        return False
    if VECTORS.search(operands) or not VFP.match(name):
        return True
    # An immediate or a copy of 64 bits is VFP only as .f64.
    return bool(re.search(r"\bd\d", operands) and SINGLE.match(name))


def faults_in(lines):
    """The instructions that should not be there, by the file that has them, and how many there are."""
    faults, count, member = collections.Counter(), collections.Counter(), ""
    for line in lines:
        found = MEMBER.match(line)
        if found:
            member = found.group(1).rsplit("/", 1)[-1]
            continue
        found = INSTRUCTION.match(line)
        if not found:
            continue
        name, operands = found.groups()
        count[member] += 1
        if member in MORE and MORE[member].fullmatch(name):
            continue
        if LATER.match(name) or (is_neon(name, operands) and not member.endswith("Neon.cpp.o")):
            faults[f"{member}: {name} {operands.strip()}"] += 1
    return faults, count


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    output = subprocess.run([sys.argv[1], "-d", *sys.argv[2:]], check=True, capture_output=True, text=True)
    faults, count = faults_in(output.stdout.splitlines())
    if not count or min(count.values()) == 0:
        sys.exit("arm_instructions: no code was found")
    for fault, times in faults.items():
        print(f"{fault} ({times} times)")
    print(f"{sum(count.values())} instructions of {len(count)} files")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
