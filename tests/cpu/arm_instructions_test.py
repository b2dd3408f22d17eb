#!/usr/bin/python3
"""arm_instructions_test.py COMPILER OBJDUMP    arm_instructions.py finds each instruction that a
processor may lack, and nothing else."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

COMPILER, OBJDUMP = sys.argv[1:3]
BASELINE = """vadd.f32 s0, s1, s2; vadd.f64 d0, d1, d2; vmov.f64 d0, #1.0; vmov d0, r0, r1; vmov s0, r0
vcvt.f64.s32 d0, s0; vcvt.f32.f64 s0, d0; vldr d15, [r0]; vstmia r0!, {d0-d3}; vpush {d8-d15}
vmrs APSR_nzcv, fpscr; vsqrt.f32 s0, s1; mla r0, r1, r2, r3; ldrexd r0, r1, [r2]; dmb ish"""
NEON = """vadd.i16 q0, q1, q2; vadd.f32 d0, d1, d2; vadd.f64 d17, d1, d2; vld1.8 {d0}, [r0]; vmov.i32 d0, #0
vorr d0, d1, d1; vmul.f32 q0, q1, q2; vdup.16 d0, r0; vldr d16, [r0]; vqshrun.s16 d0, q1, #7"""
LATER = """sdiv r0, r1, r2; udiv r0, r1, r2; vfma.f32 s0, s1, s2; vfms.f64 d0, d1, d2; vrintn.f32 s0, s1
vcvtm.s32.f32 s0, s1; vmaxnm.f32 s0, s1, s2; vseleq.f32 s0, s1, s2; crc32b r0, r1, r2
aese.8 q0, q1; sha1h.32 q0, q1; lda r0, [r1]; stl r0, [r1]; vmull.p64 q0, d2, d4; vcvtb.f32.f16 s0, s1"""


def instructions(text):
    return [each.strip() for each in text.replace("\n", ";").split(";")]


class ArmInstructionsTest(unittest.TestCase):
    def status_of(self, name, *code):
        """The exit status and the output for an object of this name with this code."""
        with tempfile.TemporaryDirectory() as folder:
            source = pathlib.Path(folder, "code.s")
            source.write_text("\n".join([".syntax unified", ".arch armv8-a", ".fpu crypto-neon-fp-armv8",
                                         ".arch_extension crc", ".thumb", "f:", *code, ""]))
            target = pathlib.Path(folder, name)
            subprocess.run([COMPILER, "-c", "-o", target, source], check=True)
            done = subprocess.run([pathlib.Path(__file__).with_name("arm_instructions.py"), OBJDUMP, target],
                                  capture_output=True, text=True, check=False)
            return done.returncode, done.stdout

    def test_the_baseline_is_allowed_everywhere(self):
        status, output = self.status_of("Clock.cpp.o", *instructions(BASELINE))
        self.assertEqual(status, 0, output)

    def test_neon_is_allowed_in_its_sources_only(self):
        status, output = self.status_of("ImageNeon.cpp.o", *instructions(NEON))
        self.assertEqual(status, 0, output)
        for each in instructions(NEON):
            self.assertEqual(self.status_of("Clock.cpp.o", each)[0], 1, each)

    def test_later_instructions_are_allowed_nowhere(self):
        for each in instructions(LATER):
            for name in ("Clock.cpp.o", "ImageNeon.cpp.o"):
                self.assertEqual(self.status_of(name, each)[0], 1, each)

    def test_what_is_looked_for_at_run_time_is_allowed_where_it_is_used(self):
        self.assertEqual(self.status_of("PointCloudNeon.cpp.o", "vfma.f32 q0, q1, q2")[0], 0)
        self.assertEqual(self.status_of("PointCloudNeon.cpp.o", "vmull.p64 q0, d2, d4")[0], 1)
        self.assertEqual(self.status_of("Crc32Neon.cpp.o", "vmull.p64 q0, d2, d4")[0], 0)
        self.assertEqual(self.status_of("Crc32Neon.cpp.o", "vfma.f32 q0, q1, q2")[0], 1)

    def test_an_object_without_code_is_an_error(self):
        self.assertNotEqual(self.status_of("Clock.cpp.o")[0], 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
