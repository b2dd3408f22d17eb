"""Finds loops in the machine code of 32-bit ARM and counts the bytes that they store."""
import dataclasses
import functools
import re
import struct
import subprocess

OBJDUMP, NM, READELF = (f"arm-linux-gnueabihf-{each}" for each in ("objdump", "nm", "readelf"))
LINE = re.compile(r"^\s*([0-9a-f]+):\t(.*)$")
CONDITIONS = "eq|ne|cs|cc|mi|pl|vs|vc|hi|ls|ge|lt|gt|le|hs|lo"
BRANCH = re.compile(rf"b({CONDITIONS})?(\.[wn])?|cbn?z")
MEMORY = re.compile(rf"(v(ld|st)[1-4]\.\d+|v(ld|st)r(\.\d+)?|v(ld|st)m\w*|(ld|st)rs?(h|b|d)?|(ld|st)m\w*)"
                    rf"({CONDITIONS})?(\.w)?$")


class LoopError(Exception):
    """A loop was not found, or it is not the one that was expected."""


@dataclasses.dataclass
class Instruction:
    address: int
    name: str
    operands: str

    @property
    def text(self):
        return f"{self.name}\t{self.operands}".strip()

    @property
    def target(self):
        """Where a branch leads; None for all else."""
        if not BRANCH.fullmatch(self.name):
            return None
        found = re.search(r"\b([0-9a-f]+) <", self.operands + " <")
        return int(found.group(1), 16) if found else None


@functools.lru_cache
def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def instructions_of(lines):
    code = []
    for line in lines:
        found = LINE.match(line)
        if found:
            text = re.sub(r"\s*@.*$", "", found.group(2)).replace("; ", "@").split("@")[0]
            name, _, operands = text.strip().partition("\t")
            code.append(Instruction(int(found.group(1), 16), name.strip(), operands.strip()))
    return code


def function_named(path, pattern):
    """The code of the only function of an object or a library whose readable name matches."""
    dynamic = ["-D"] if ".so" in str(path) else []
    functions = {}
    for line in run(NM, "-SC", "--defined-only", *dynamic, str(path)).splitlines():
        found = re.match(r"([0-9a-f]+) ([0-9a-f]+) [tTW] (.*)$", line)
        if found and re.search(pattern, found.group(3).split("@@")[0]):
            functions[found.group(3)] = [int(each, 16) for each in found.groups()[:2]]
    if len(functions) != 1:
        raise LoopError(f"{path}: {len(functions)} functions match {pattern}")
    return function_at(path, *functions.popitem()[1])


def all_of(path):
    return instructions_of(run(OBJDUMP, "-d", "--no-show-raw-insn", str(path)).splitlines())


def function_at(path, address, size):
    return instructions_of(run(
        OBJDUMP, "-d", "-M", "force-thumb", "--no-show-raw-insn", f"--start-address={address & ~1}",
        f"--stop-address={(address & ~1) + size}", str(path)).splitlines())


class Tables:
    """The constant tables of addresses in a stripped library."""

    def __init__(self, path):
        self.path = path
        self.bytes = path.read_bytes()
        self.sections = {}
        for line in run(READELF, "-SW", str(path)).splitlines():
            found = re.match(r"\s*\[ *\d+\] (\S+) +\S+ +([0-9a-f]+) ([0-9a-f]+) ([0-9a-f]+)", line)
            if found:
                self.sections[found.group(1)] = [int(each, 16) for each in found.groups()[1:]]
        address, offset, size = self.sections[".data.rel.ro"]
        self.address = address
        self.words = struct.unpack(f"<{size // 4}I", self.bytes[offset:offset + size // 4 * 4])

    def address_of_text(self, text):
        """Where a text stands that nothing precedes."""
        at = self.bytes.index(b"\0" + text.encode() + b"\0") + 1
        for address, offset, size in self.sections.values():
            if offset <= at < offset + size and address:
                return address + at - offset
        raise LoopError(f"{self.path}: {text} is in no section")

    def virtual_function(self, type_name, slot):
        """The code of a class's virtual function, which is found by the name of its type."""
        info = self.address + 4 * (self.words.index(self.address_of_text(type_name)) - 1)
        return self.code(self.words[self.words.index(info) + 1 + slot])

    def entries(self, used, index):
        """The code that an entry of these tables leads to; `used` has an x for each that is not 0."""
        kinds = "".join("x" if word else "-" for word in self.words)
        return [self.code(self.words[found.start() + index]) for found in re.finditer(rf"(?={used})", kinds)]

    def code(self, address, most_bytes=4000):
        code = function_at(self.path, address, most_bytes)
        ends = [i for i, each in enumerate(code)
                if re.match(r"(pop|ldm\w*(\.w)?)$", each.name) and "pc}" in each.operands]
        return code[:ends[0] + 1] if ends else code


def loops_of(code):
    """The innermost loops of a function: bodies of code that a branch at their end repeats."""
    found = []
    for last, instruction in enumerate(code):
        target = instruction.target
        if target is None or target > instruction.address:
            continue
        first = next((i for i, each in enumerate(code) if each.address == target), None)
        if first is not None:
            found.append(range(first, last + 1))
    innermost = [loop for loop in found
                 if not any(other != loop and other.start >= loop.start and other.stop <= loop.stop
                            for other in found)]
    return [[code[i] for i in loop] for loop in innermost]


def registers_in(operands):
    """The number of registers in {d0-d3}, {d0, d2} or {r4, r5}."""
    count = 0
    for part in re.search(r"\{(.*?)\}", operands).group(1).split(","):
        ends = [int(re.search(r"\d+", end).group()) for end in part.split("-") if re.search(r"\d", end)]
        count += ends[-1] - ends[0] + 1 if ends else 1
    return count


def bytes_moved(instruction):
    """How many bytes it loads from images or stores there, not on its own stack."""
    name, operands = instruction.name, instruction.operands
    if not MEMORY.fullmatch(name) or re.search(r"\[sp|^sp|\[pc", operands):
        return 0
    if re.match(r"v..[1-4]", name):
        lane = re.search(r"\[\d+\]", operands.split("}")[0])
        return registers_in(operands) * (int(name.split(".")[1]) // 8 if lane else 8)
    if re.match(r"v..r", name):
        return 4 if operands.startswith("s") else 8
    if re.match(r"v?..m", name):
        return registers_in(operands) * (8 if "{d" in operands else 4)
    return {"b": 1, "h": 2, "d": 8}.get(re.match(r"..rs?(.?)", name).group(1), 4)


def bytes_stored(loop):
    return sum(bytes_moved(each) for each in loop if re.match(r"v?st", each.name))


def bytes_loaded(loop):
    return sum(bytes_moved(each) for each in loop if re.match(r"v?ld", each.name))


def advances_by(instruction, distance):
    """Whether it moves an address on: by an addition to a register, or after a load or store."""
    return bool(re.match(rf"(add|sub)s?(\.w)? (\w+), (\3, )?#-?{distance}$", f"{instruction.name} {instruction.operands}")
                or re.search(rf"\], #-?{distance}$|#-?{distance}\]!$", instruction.operands))


def the_loop(functions, wanted):
    """The innermost loop that is as wanted: that stores or loads so many bytes in a round, moves an
    address on by so many, and has so many instructions of each name. Of copies, the longest."""
    loops = [loop for code in functions for loop in loops_of(code)]
    found = [loop for loop in loops
             if (not wanted.stores or bytes_stored(loop) == wanted.stores)
             and (not wanted.loads or bytes_loaded(loop) == wanted.loads)
             and (not wanted.advances or any(advances_by(each, wanted.advances) for each in loop))
             and all(sum(each.name.startswith(name) for each in loop) == count
                     for name, count in wanted.counts.items())]
    if len(found) != wanted.copies:
        raise LoopError(f"{wanted}: {len(found)} of {len(loops)} loops are like that; they store "
                        f"{sorted(set(map(bytes_stored, loops)))} bytes")
    return max(found, key=len)
