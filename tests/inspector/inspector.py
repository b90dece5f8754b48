"""What the tests of the program share. The program is the first argument."""

import os
import subprocess
import sys
import tempfile
import unittest
from xml.etree import ElementTree

from terminal import TIMEOUT, Terminal, environment

PROGRAM = sys.argv.pop(1)


def live(*arguments, **options):
    return Terminal(PROGRAM, *arguments, **options)


class InHome(unittest.TestCase):
    """Runs the program without a terminal, in a home of its own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="corvane-test-")
        self.addCleanup(folder.cleanup)
        self.home = folder.name

    def start(self, *arguments, stdout=subprocess.PIPE, **variables):
        process = subprocess.Popen([PROGRAM, *arguments], stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.PIPE,
                                   env=environment(self.home, **variables), text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def run_program(self, *arguments, **options):
        process = self.start(*arguments, **options)
        out, err = process.communicate(timeout=TIMEOUT)
        return process.returncode, out, err

    def output(self, *arguments):
        status, out, err = self.run_program(*arguments)
        self.assertEqual((status, err), (0, ""))
        return out

    def write(self, path, content):
        path = os.path.join(self.home, path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(content)

    def check_picture(self, file):
        """The boxes of a picture of a tree by their texts, each of which fits."""
        names = {}
        for group in ElementTree.parse(file).iter("{http://www.w3.org/2000/svg}g"):
            if not group.get("class"):
                continue
            rect, text = group.find("{*}rect"), "".join(group.find("{*}text").itertext())
            names[text] = float(rect.get("x"))
            # Letters of 12 pixels that are 0.602 as wide, those of East Asia twice.
            columns = sum(2 if ord(c) > 0x2e80 and ord(c) != 0xfffd else 1 for c in text)
            self.assertLess(columns * 12 * 0.603, float(rect.get("width")))
        return names

    def check_refused(self, *cases):
        for arguments in cases:
            status, out, err = self.run_program(*arguments)
            self.assertEqual((status, out), (2, ""), arguments)
            self.assertRegex(err, r"\Acorvane-inspector: .+\n\Z")
        self.assertFalse(os.path.exists(os.path.join(self.home, "Library")))
