"""Cycles that processors need for a loop: from llvm-mca where it has a model of the processor, else
from a plain model of an in-order pipeline that is written down here.

The plain model issues instructions in their order, two a cycle, each when its operands are there and
its unit is free. NEON instructions keep the NEON unit for as many cycles as their operands take; one
load or store goes at a time. Caches always hit and branches are always predicted.
"""
import dataclasses
import re
import subprocess

from arm_loops import CONDITIONS

ROUNDS = 200
PLAIN = re.compile(r"(?<![\w.])(q\d+|d\d+|s\d+|r\d+|sl|fp|ip|sp|lr)(?!\w)")
BOTH_WRITTEN = ("vtrn", "vzip", "vuzp", "vswp")
ALSO_READ = ("vmla", "vmls", "vfma", "vfms", "vsli", "vsri", "vsra", "vrsra", "vbsl", "vbif", "vbit",
             "vaba", "movt", "bfi", "vtbx")
NO_RESULT = ("cmp", "cmn", "tst", "teq", "b", "cb", "pld", "it", "nop", "str", "stm", "vst", "vcmp")
READS_FLAGS = re.compile(r"^(adc|sbc|rsc|b|mov|add|sub|rsb|orr|and|eor|str|ldr|usat|lsl|lsr|asr|mvn)\w*?"
                         r"(eq|ne|cs|cc|mi|pl|vs|vc|hi|ls|ge|lt|gt|le|hs|lo)(\.[wn])?$")


@dataclasses.dataclass(frozen=True)
class InOrder:
    """An in-order processor with two instructions a cycle."""
    neon_bits: int       # that NEON computes in a cycle
    neon_together: bool  # two NEON instructions of half as many bits in one cycle
    load_bits: int       # that a load takes in a cycle
    store_bits: int
    neon_latency: int
    neon_load_latency: int
    load_latency: int


# ARM has published the timing of neither; these are estimates. NEON computes 64 bits a cycle in
# Cortex-A7, and twice 64 in Cortex-A53.
IN_ORDER = {
    "Cortex-A7": InOrder(64, False, 64, 64, 4, 4, 3),
    "Cortex-A53": InOrder(128, True, 64, 128, 4, 4, 3),
}
# The processor, and the one whose model of llvm-mca is used for it.
LLVM_MODELS = {"Cortex-A9": "cortex-a9", "Cortex-A15": "cortex-a15", "Cortex-A57": "cortex-a57"}
PROCESSORS = ["Cortex-A7", "Cortex-A9", "Cortex-A15", "Cortex-A53", "Cortex-A57"]


def parts_of(register):
    """A NEON register as the registers of 64 bits that it consists of."""
    number = int(register[1:]) if register[1:].isdigit() else 0
    if register[0] == "q":
        return [f"d{2 * number}", f"d{2 * number + 1}"]
    if register[0] == "s" and register[1:].isdigit():
        return [f"d{number // 2}"]
    return [register]


def expand_lists(operands):
    """{d0-d3} as {d0,d1,d2,d3}."""
    def expand(found):
        kind = found.group(1)
        return ",".join(f"{kind}{n}" for n in range(int(found.group(2)), int(found.group(3)) + 1))
    return re.sub(r"([rds])(\d+)(?:\[\])?-[rds](\d+)(?:\[\])?", expand, operands)


def registers_of(text):
    return [part for each in PLAIN.findall(text) for part in parts_of(each)]


def operands_of(instruction):
    """The registers with its results, those that it reads, and the address that it moves on."""
    name, operands = instruction.name, expand_lists(instruction.operands)
    writes, reads, moved = [], [], []
    memory = re.search(r"\[(.*?)\](!?)(.*)$", operands) if re.match(r"v?(ld|st)|pld", name) else None
    before = operands[:memory.start()] if memory else operands
    if memory:
        reads += registers_of(memory.group(1) + memory.group(3))
        if memory.group(2) or memory.group(3).strip(", ") or operands.endswith("!"):
            moved += registers_of(memory.group(1))[:1]
    if name.startswith(NO_RESULT):
        reads += registers_of(before)
    elif memory:  # a load; of a lane it keeps the others
        writes += registers_of(before)
        reads += registers_of(before) if re.search(r"\[\d+\]", operands) else []
    else:
        first, _, rest = before.partition(",")
        writes += registers_of(first)
        reads += registers_of(rest)
        if name.startswith(BOTH_WRITTEN):
            writes += registers_of(rest)
        if name.startswith(BOTH_WRITTEN + ALSO_READ) or "[" in first or not rest:
            reads += registers_of(first)
        if re.match(r"(u|s)?(mul|mla)l", name):
            writes += registers_of(rest)[:1]
    if name.startswith(("cmp", "cmn", "tst", "teq")) or re.match(r"(add|sub|rsb|and|orr|eor|ls[lr]|asr)s", name):
        writes.append("flags")
    if READS_FLAGS.match(name):
        reads.append("flags")
    return writes, reads, moved


def units_of(processor, instruction):
    """The cycles for which it keeps the NEON unit, and those for which it keeps the memory unit."""
    name, operands = instruction.name, expand_lists(instruction.operands)
    loads = re.match(r"v?ld|pld", name)
    if loads or re.match(r"v?st", name):
        if not name.startswith("v"):
            return 0, 2 if name.startswith(("ldm", "stm")) else 1
        registers = len(set(re.findall(r"[ds]\d+", operands.split("[r")[0].split("[s")[0].split("[i")[0])))
        bits = processor.load_bits if loads else processor.store_bits
        mixed = 1 if re.match(r"v(ld|st)[34]", name) else 0  # takes the elements apart
        return 0, max(1, -(-64 * registers // bits)) + mixed
    if not name.startswith("v"):
        return 0, 0
    halves = 2 if re.search(r"\bq\d", operands) else 1
    if name.startswith(BOTH_WRITTEN):
        halves *= 2  # two results
    return halves * 64 / processor.neon_bits, 0


def latency_of(processor, instruction):
    name = instruction.name
    if name.startswith("vld"):
        return processor.neon_load_latency
    if name.startswith("ld"):
        return processor.load_latency
    if name.startswith("v"):
        return processor.neon_latency
    return 3 if re.match(r"mul|mla|[us]mul|[us]mla", name) else 1


def in_order_cycles(processor, loop):
    """Cycles of a round, when many have gone before."""
    ready, issue, issued = {}, 0, 0
    neon_free = memory_free = 0.0
    ends = []
    for _ in range(ROUNDS):
        for each in loop:
            writes, reads, moved = operands_of(each)
            neon, memory = units_of(processor, each)
            earliest = max([issue] + [ready.get(register, 0) for register in reads])
            if neon:
                free = neon_free if processor.neon_together else -(-neon_free // 1)
                earliest = max(earliest, int(free))
            if memory:
                earliest = max(earliest, int(-(-memory_free // 1)))
            if earliest == issue and issued == 2:
                earliest += 1
            issued = issued + 1 if earliest == issue else 1
            issue = earliest
            if neon:
                neon_free = max(neon_free, issue) + neon
            if memory:
                memory_free = max(memory_free, issue) + memory
            done = issue + latency_of(processor, each) + max(0, int(max(neon, memory)) - 1)
            ready |= dict.fromkeys(writes, done) | dict.fromkeys(moved, issue + 1)
        ends.append(issue)
    half = ROUNDS // 2
    return (ends[-1] - ends[half - 1]) / (ROUNDS - half)


def without_conditions(loop):
    """The loop without its `it` instructions, for which there is no model; what they make conditional
    is always done."""
    conditional = 0
    for each in loop:
        name = re.sub(r"\.[nw]$", "", each.name)
        if re.fullmatch(r"it[te]*", name):
            conditional = len(name) - 1
            continue
        if conditional:
            conditional -= 1
            name = re.sub(rf"({CONDITIONS})(\.w)?$", "", name)
        yield name, each.operands


def llvm_cycles(model, loop):
    """The same by llvm-mca."""
    lines = [".syntax unified", ".thumb", "again:"]
    for name, operands in without_conditions(loop):
        operands = re.sub(r"\b[0-9a-f]+ <.*", "again", operands)
        # The model of Cortex-A9 lacks these; it has others that use the same units.
        name = name.replace("vswp", "vtrn.32")
        if name.startswith(("vceq", "vcgt", "vcge", "vcle", "vclt")):
            operands = re.sub(r"(\w+), #0$", r"\1, \1", operands)
        lines.append(f"{name} {operands}")
    result = subprocess.run(
        ["llvm-mca", "-mtriple=thumbv8-linux-gnueabihf", f"-mcpu={model}",
         "-mattr=+neon,+vfp4,+d32,+crypto,+crc", f"-iterations={ROUNDS}", "-all-views=0", "-summary-view"],
        input="\n".join(lines) + "\n", capture_output=True, text=True, check=False)
    found = re.search(r"Total Cycles:\s+(\d+)", result.stdout)
    if not found or "error" in result.stderr:
        raise SystemExit(f"llvm-mca: {model}: {result.stderr}")
    return int(found.group(1)) / ROUNDS


def cycles(processor, loop):
    if processor in IN_ORDER:
        return in_order_cycles(IN_ORDER[processor], loop)
    return llvm_cycles(LLVM_MODELS[processor], loop)


def llvm_version():
    text = subprocess.run(["llvm-mca", "--version"], check=True, capture_output=True, text=True).stdout
    return re.search(r"LLVM version ([\d.]+)", text).group(1)
