"""zu.ask_values without a display: at a terminal, where secrets do not show, and with answers from a pipe.

ZUFORMS names the program."""

import os
import pathlib
import pty
import subprocess
import tempfile
import unittest

LIMIT = 60  # seconds that the program may take
SCRIPT = """
local list = zu.create("TParamsList")
list.Host = "here"
local ok, message = pcall(zu.ask_values, list, "Connect", "Where?", {
    {name = "Port", kind = "number", required = true, most = 99},
    {name = "Mode", kind = "choice", choices = {"fast", "safe"}},
    {name = "PIN", kind = "secret"}})
print(message, list.Port, list.Mode, list.PIN, list.Host)
print(pcall(zu.ask_values, list, "", "", {{nam = "x"}}))
"""


class AskValues(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.script = pathlib.Path(folder.name, "ask.lua")
        self.script.write_text(SCRIPT, encoding="utf-8")
        hidden = ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")
        self.environment = {name: value for name, value in os.environ.items() if name not in hidden}

    def start(self, **streams):
        return subprocess.Popen([os.environ["ZUFORMS"], "--language", "en", "--script", self.script],
                                env=self.environment, **streams)

    def test_answers_from_a_pipe(self):
        for answers, told in (
                ("100\n80\nquick\nsafe\n1234\n\n", "true 80 safe 1234 here"),
                ("80\n", "false    here")):  # the input ends: nothing is stored
            with self.subTest(answers):
                pipe = subprocess.PIPE
                program = self.start(stdin=pipe, stdout=pipe, stderr=pipe, text=True)
                out, questions = program.communicate(answers, timeout=LIMIT)
                self.assertEqual(program.returncode, 0, questions)
                first, second = out.splitlines()[:2]
                self.assertEqual(first.split("\t"), told.split(" "))
                self.assertIn('a field has no "nam"', second)
                self.assertEqual("The most is 99" in questions, "100" in answers)
                self.assertIn("Mode (fast, safe): ", questions)

    def test_secrets_do_not_show_at_a_terminal(self):
        ours, theirs = pty.openpty()
        self.addCleanup(os.close, ours)
        program = self.start(stdin=theirs, stdout=theirs, stderr=theirs)
        os.close(theirs)
        seen = b""
        for question, answer in ((b"Port *: ", b"80\n"), (b"Mode (fast, safe): ", b"\n"), (b"PIN: ", b"Xyzzy\n"),
                                 (b"Host [here]: ", b"there\n")):
            while question not in seen:
                seen += os.read(ours, 4096)
            os.write(ours, answer)
        try:
            while more := os.read(ours, 4096):
                seen += more
        except OSError:  # the program has closed the terminal
            pass
        self.assertEqual(program.wait(LIMIT), 0)
        questions, _, answers = seen.partition(b"true\t")
        self.assertNotIn(b"Xyzzy", questions)
        self.assertIn(b"there", questions)
        self.assertTrue(answers.startswith(b"80\t\tXyzzy\tthere"), answers)


if __name__ == "__main__":
    unittest.main()
