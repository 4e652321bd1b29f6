#!/usr/bin/env python3
"""Operators: signals while pages run, hang and wait."""

import os
import signal
import socket
import subprocess
import unittest

from service import ServiceTest


class StopTest(ServiceTest):
    modules = {
        "good.lua": 'response:Write("good")',
        "work.lua": 'print("work has begun") for i = 1, 30000000 do end response:Write("done")',
        "hang.lua": 'print("hang has begun") require "sub.never"',  # a pipe that nobody writes to
    }

    def setUp(self):
        super().setUp()
        (self.folder / "modules" / "sub").mkdir()
        os.mkfifo(self.folder / "modules" / "sub" / "never.lua")

    def begin(self, target):
        """A request that is on its way."""
        host, port = self.address.split(":")
        wire = socket.create_connection((host, int(port)), timeout=100)
        self.addCleanup(wire.close)
        wire.sendall(f"GET {target} HTTP/1.1\r\nHost: test\r\n\r\n".encode())
        return wire

    def test_it_ends_whatever_hangs(self):
        self.write_config("[limits]\nthreads = 1\npage_seconds = 0\nstop_seconds = 2\n")
        self.start()
        hangs = self.begin("/hang")
        self.wait_for_log("hang has begun")
        waits = [self.begin("/good") for _ in range(3)]
        self.assertEqual(self.zuhost("sessions", "list"), "no sessions\n")  # it answers, whatever hangs
        self.assertEqual(self.stop(), 0)
        for wire in [hangs, *waits]:
            self.assertIn(b" 503 ", wire.recv(1000))

    def test_a_second_signal_ends_it_at_once(self):
        self.write_config("[limits]\npage_seconds = 0\nstop_seconds = 3600\n")
        self.start()
        self.begin("/hang")
        self.wait_for_log("hang has begun")
        code = None
        while code is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                code = self.process.wait(0.2)
            except subprocess.TimeoutExpired:
                pass  # two signals may have become one
        self.assertEqual(code, 1)

    def test_other_signals_lose_no_page(self):
        self.start()
        for number in (signal.SIGUSR2, signal.SIGUSR1, signal.SIGHUP):
            self.process.send_signal(number)
        self.wait_for_log("SIGUSR2")
        self.assertEqual(self.ask("/good").body, "good")
        work = self.begin("/work")
        self.wait_for_log("work has begun")
        self.assertEqual(self.stop(signal.SIGQUIT), 0)
        self.assertIn(b"done", work.recv(5000))


class ReloadTest(ServiceTest):
    modules = {"page.lua": 'local t = zu.create("TTemplate") t.Name = "page.html" response:Write(t:BuildTemplate())'}
    HEAD = 'strings = "strings"\n'

    def setUp(self):
        super().setUp()
        (self.folder / "strings").mkdir()
        self.say("first")
        self.write_head(self.HEAD)

    def say(self, word):
        (self.folder / "strings/en.json").write_text(f'{{"word": "{word}"}}')
        (self.folder / "pages/page.html").write_text(word + " {{word}}")

    def write_head(self, head, tables=""):
        self.write_config(tables)
        toml = self.folder / "zuhost.toml"
        toml.write_text(head + toml.read_text())

    def reload(self, outcome):
        self.log = ""
        self.process.send_signal(signal.SIGHUP)
        self.wait_for_log(outcome)

    def test_everything_is_read_anew_or_nothing(self):
        self.start()
        self.assertEqual(self.ask("/page").body, "first first")
        self.say("second")
        self.assertEqual(self.ask("/page").body, "first first")
        faults = {"unknown key": lambda: self.write_head(self.HEAD + "nonsense = 1\n"),
                  "another queue": lambda: self.write_head(self.HEAD, "[limits]\nqueue = 7\n"),
                  "no such log": lambda: self.write_head(self.HEAD, "[log]\nfile = \"nowhere/x.log\"\n"),
                  "bad language": lambda: (self.write_head(self.HEAD),
                                           (self.folder / "strings/ru.json").write_text("{"))}
        for name, make in faults.items():
            with self.subTest(name):
                make()
                self.reload("nothing was read anew, everything stays as it was")
                self.assertEqual(self.ask("/page").body, "first first")
        (self.folder / "strings/ru.json").unlink()
        (self.folder / "modules/new.lua").write_text('response:Write("new")')
        self.write_head(self.HEAD, "[limits]\ninstructions = 1000\n[security]\ncontent_security_policy = \"x\"\n")
        self.reload("were read anew")
        answer = self.ask("/page")
        self.assertEqual((answer.body, answer.headers["Content-Security-Policy"]), ("second second", "x"))
        self.assertEqual(self.ask("/new").body, "new")
        (self.folder / "modules/new.lua").write_text("for i = 1, 100000 do end")
        self.assertEqual(self.ask("/new").status, 500)

    def test_the_log_is_reopened(self):
        self.write_head(self.HEAD, '[log]\nfile = "site.log"\n')
        self.start()
        log, old = self.folder / "site.log", self.folder / "old.log"
        for number in (signal.SIGUSR1, signal.SIGHUP):
            log.rename(old)
            self.process.send_signal(number)
            while not log.exists() or "/page" not in log.read_text():
                self.ask("/page")


if __name__ == "__main__":
    unittest.main()
