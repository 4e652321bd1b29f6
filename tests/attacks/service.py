"""A service of `zuhost serve` with a small application, for the attacks. ZUHOST names the program."""

import http.client
import os
import re
import signal
import subprocess
import tempfile
import threading
import unittest
import urllib.parse
from pathlib import Path

ZUHOST = os.environ["ZUHOST"]


class Answer:
    def __init__(self, response):
        self.status = response.status
        self.headers = response.headers
        self.body = response.read().decode()
        self.cookie = (response.getheader("Set-Cookie") or "").split(";")[0]


class ServiceTest(unittest.TestCase):
    """`modules` are texts by file name; each answers "/" and its name without ".lua". "signin" is one of them."""

    maxDiff = None
    modules = {}
    config = ""  # tables behind the routes
    SIGN_IN = """
        if request.Method == "POST" then
          local answer = session.sign_in(request.Params.Value["user"], request.Params.Value["password"])
          response:Write(answer)
        else response:Write(request.FormToken) end"""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        for name in ("modules", "pages"):
            (self.folder / name).mkdir()
        for name, text in {"signin.lua": self.SIGN_IN, **self.modules}.items():
            (self.folder / "modules" / name).write_text(text)
        self.write_config()

    def write_config(self, config=None):
        names = sorted(path.stem for path in (self.folder / "modules").glob("*.lua"))
        routes = "".join(f'"/{name}" = {{ module = "{name}.lua", filter = false }}\n' for name in names)
        (self.folder / "zuhost.toml").write_text(
            'port = 0\nmodules = "modules"\ntemplates = "pages"\ndatabase = "sqlite3://site.db"\n'
            f"[routes]\n{routes}" + (self.config if config is None else config))

    def zuhost(self, *arguments, **options):
        """The program's standard output; it must succeed."""
        return subprocess.run([ZUHOST, *arguments], cwd=self.folder, check=True, capture_output=True, text=True,
                              timeout=100, **options).stdout

    def add_user(self, name, *options):
        self.zuhost("users", "--config", "zuhost.toml", "add", name, *options, input="correct horse\n")

    def start(self):
        """Starts the service; its log is collected until it ends."""
        self.process = subprocess.Popen([ZUHOST, "serve"], cwd=self.folder, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.PIPE, text=True)
        self.log, self.log_grew = "", threading.Condition()
        self.reader = threading.Thread(target=self.read_log)
        self.reader.start()
        self.addCleanup(self.kill)
        self.address = self.wait_for_log(r"serving on http://(\S+)/").group(1)
        return self.process

    def read_log(self):
        for line in self.process.stderr:
            with self.log_grew:
                self.log += line
                self.log_grew.notify_all()
        with self.log_grew:
            self.log_grew.notify_all()

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.reader.join()
        self.process.stderr.close()

    def wait_for_log(self, pattern):
        """The first match; the group's time limit ends a wait in vain."""
        with self.log_grew:
            while not (found := re.search(pattern, self.log)):
                self.assertIsNone(self.process.poll(), f"the service ended:\n{self.log}")
                self.log_grew.wait(1)
        return found

    def stop(self, number=signal.SIGTERM):
        self.process.send_signal(number)
        return self.process.wait(100)

    def ask(self, target, form=None, cookie="", headers=None):
        connection = http.client.HTTPConnection(self.address, timeout=100)
        try:
            headers = {**({"Cookie": cookie} if cookie else {}), **(headers or {})}
            if form is None:
                connection.request("GET", target, headers=headers)
            else:
                headers["Content-Type"] = "application/x-www-form-urlencoded"
                connection.request("POST", target, urllib.parse.urlencode(form), headers)
            return Answer(connection.getresponse())
        finally:
            connection.close()

    def sign_in(self, user, password="correct horse"):
        """The answer of the sign-in page; its cookie is the session's."""
        form = self.ask("/signin")
        return self.ask("/signin", {"form_token": form.body, "user": user, "password": password}, form.cookie)

    def at_once(self, count, work):
        """Runs `work(number)` in `count` threads; what they return."""
        results = [None] * count

        def run(number):
            results[number] = work(number)
        threads = [threading.Thread(target=run, args=(number,)) for number in range(count)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        return results
