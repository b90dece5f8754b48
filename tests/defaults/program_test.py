"""Runs corvane-defaults and the examples of the guide. Usage: program_test.py PROGRAM EXAMPLE GROUP"""
import os
import pathlib
import plistlib
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAM, EXAMPLE = (os.path.abspath(path) for path in sys.argv[1:3])
ROOT = pathlib.Path(__file__).resolve().parents[2]
GUIDE = (ROOT / "docs/settings.md").read_text()


def block(kind):
    return re.search(rf"^```{kind}\n(.*?)^```", GUIDE, re.M | re.S).group(1)


class Case(unittest.TestCase):
    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = pathlib.Path(home.name)
        self.environment = {"HOME": home.name, "PATH": f"{os.path.dirname(PROGRAM)}:{os.environ['PATH']}",
                            "LC_ALL": "C.UTF-8", "XDG_RUNTIME_DIR": home.name,
                            **{name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}}

    def run_program(self, *arguments, input=b"", program=PROGRAM, **options):
        done = subprocess.run([program, *arguments], input=input, stdout=options.pop("stdout", subprocess.PIPE),
                              stderr=subprocess.PIPE, env=self.environment, cwd=self.home, timeout=60, **options)
        return done.returncode, (done.stdout or b"").decode(), done.stderr.decode()

    def expect(self, *arguments, output="", **options):
        self.assertEqual(self.run_program(*arguments, **options), (0, output, ""), arguments)

    def expect_error(self, status, message, *arguments, **options):
        code, _, errors = self.run_program(*arguments, **options)
        self.assertEqual(code, status, arguments)
        self.assertIn(message, errors)
        self.assertTrue(errors.startswith("corvane-defaults: ") and errors.count("\n") == 1, errors)


class Values(Case):
    def test_every_type_is_stored_and_shown(self):
        rows = [
            (["plain"], "plain", "plain"), ([""], "", ""), (["-5"], "-5", "-5"), (["-string", "-int"], "-int", "-int"),
            (["-int", "-12"], "-12", -12), (["-int", "9223372036854775807"], "9223372036854775807", 2**63 - 1),
            (["-float", "2"], "2", 2.0), (["-float", "1e-3"], "0.001", 0.001), (["-bool", "Yes"], "true", True),
            (["-bool", "0"], "false", False), (["-data", "00fF"], "<00ff>", b"\0\xff"), (["-data", ""], "<>", b""),
            (["-array"], "()", []), (["-array", "a", "-int", "1"], '(\n    "a"\n    1\n)', ["a", 1]),
            (["-date", "2026-03-07T09:05:01Z"], "2026-03-07T09:05:01Z", None), (["--", "-int"], "-int", "-int"),
            (["-dict", "a b", "\"q\\\n", "c", "-bool", "no"], '{\n    "a b" = "\\"q\\\\\\n"\n    c = false\n}',
             {"a b": '"q\\\n', "c": False}),
            (["-plist", "<plist><array><array/><date>2026-03-07T09:05:01Z</date></array></plist>"],
             "(\n    ()\n    2026-03-07T09:05:01Z\n)", None),
        ]
        for arguments, shown, exported in rows:
            self.expect("write", "a.b", "k", *arguments)
            self.expect("read", "a.b", "k", output=shown + "\n")
            if exported is not None:
                value = plistlib.loads(self.run_program("export", "a.b")[1].encode())["k"]
                self.assertEqual((type(value), value), (type(exported), exported))

    def test_wrong_use_stores_nothing_and_ends_with_2(self):
        for command in ("", "nothing", "read a b c", "write a k", "rename a b", "find", "domains x", "export --binary",
                        "write a k 1 2"):
            self.expect_error(2, "(see --help)", *command.split())
        for value in ("-int", "-int +-5", "-int 9223372036854775808", "-date 2026-02-30T00:00:00Z", "-bool maybe",
                      "-data 0", "-data 0g", "-what 1", "-dict x", "-dict x 1 x 2", "-plist <x/>"):
            self.expect_error(2, "(see --help)", "write", "a", "k", *value.split())
        self.expect("domains")

    def test_what_is_not_there_ends_with_1(self):
        self.expect("write", "a.b", "k", "1")
        for command in ("read x", "delete x", "keys x", "export x", "rename x k l"):
            self.expect_error(1, "there is no domain x", *command.split())
        for command in ("read a.b x", "delete a.b x", "rename a.b x l"):
            self.expect_error(1, "a.b has no key x", *command.split())
        self.expect("write", "a.b", "l", "2")
        self.expect_error(1, "a.b has a key l already", "rename", "a.b", "k", "l")
        self.expect("rename", "a.b", "k", "new")
        self.expect("read", "a.b", output='l = "2"\nnew = "1"\n')
        self.expect_error(1, "no setting contains -h", "find", "--", "-h")
        self.expect("find", "NEW", output='a.b: new = "1"\n')
        self.expect("delete", "a.b")
        self.expect("read")
        self.expect("write", "-g", "k", "-int", "1")
        self.expect("read", "--global", "k", output="1\n")
        self.expect("read", output=".global = {\n    k = 1\n}\n")


class Files(Case):
    def test_export_and_import(self):
        values = {"text": "ü\n", "list": [1, {"a": 1.5}], "data": b"\0", "": True}
        self.expect("write", "a.b", "kept", "x")
        self.expect("import", "a.b", input=plistlib.dumps(values))
        for form in ([], ["--binary"]):
            self.expect("export", *form, "a.b", "out.plist")
            bytes_written = (self.home / "out.plist").read_bytes()
            self.assertEqual(bytes_written.startswith(b"bplist"), bool(form))
            self.assertEqual(plistlib.loads(bytes_written), {**values, "kept": "x"})
            self.expect("import", "c.d", "out.plist")
            self.expect("delete", "c.d")
        exported = self.run_program("export", "a.b")[1]
        (self.home / "link").symlink_to("out.plist")
        self.expect("export", "a.b", "link")
        self.assertEqual((self.home / "out.plist").read_text(), exported)
        self.expect("export", "a.b", "/dev/stdout", output=exported)
        code = '"$0" export a.b >(cat >piped; mv piped done) && "$0" import c.d <("$0" export a.b) && "$0" export c.d'
        self.expect("-c", code, PROGRAM, program="bash", output=exported)
        self.expect("delete", "c.d")
        for content in (b"garbage", plistlib.dumps([1])):
            self.expect_error(1, "standard input: ", "import", "e.f", input=content)
        self.expect_error(1, "link/bad: ", "import", "e.f", "link/bad")
        self.expect_error(1, "no/folder", "export", "a.b", "no/folder")
        self.expect("domains", output="a.b\n")
        with open("/dev/full", "wb") as full:
            self.expect_error(1, "cannot write the output", "export", "a.b", stdout=full)


class Guide(Case):
    def test_the_program(self):
        self.expect(program=EXAMPLE, output=block("text"))

    def test_the_command_line(self):
        for command, expected in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block("console"), re.M):
            done = self.run_program("-c", command, program="sh")
            self.assertEqual(done[1] + done[2], expected, command)


unittest.main(argv=[sys.argv[0], sys.argv[3]])
