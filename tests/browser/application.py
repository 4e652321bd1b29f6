"""The example application as a running service, and its pages in a browser."""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import threading

from selenium import webdriver
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select, WebDriverWait

ROOT = pathlib.Path(__file__).resolve().parents[2]
WAIT_SECONDS = 30  # a limit for a hung page, not a delay: every wait ends when its condition holds


class Server:
    """`zuhost serve` in a temporary copy of the example."""

    def __init__(self, zuhost, session="", with_helper=True):
        """`session` replaces the lines of [session] that tell how long one lasts."""
        self.zuhost = zuhost
        self.folder = tempfile.TemporaryDirectory(prefix="zuhost-orders-")
        application = pathlib.Path(self.folder.name) / "orders"
        shutil.copytree(ROOT / "examples" / "orders", application, ignore=shutil.ignore_patterns("*.db*"))
        self.config, self.database = application / "orders.toml", application / "orders.db"
        text = self.config.read_text(encoding="utf-8")
        if session:
            text, count = re.subn(r"(?m)^idle_minutes = .*$", session, text)
            assert count == 1
        if not with_helper:
            text = re.sub(r"(?m)^\[\[helper\]\]\n(\w+ = .*\n)*", "", text)
            assert "[[helper]]" not in text
        # A socket of its own: tests must not meet a service that runs from the sources.
        text += f'\n[admin]\nsocket = "{application / "run" / "admin.socket"}"\n'
        self.config.write_text(text, encoding="utf-8")
        self.process = subprocess.Popen(
            [zuhost, "serve", "--config", str(self.config), "--port", "0"],
            stderr=subprocess.PIPE, stdout=subprocess.DEVNULL, stdin=subprocess.DEVNULL, text=True, encoding="utf-8",
            env=dict(os.environ, XDG_RUNTIME_DIR=self.folder.name))
        self.lines = []
        for line in self.process.stderr:
            self.lines.append(line)
            found = re.search(r"serving on (http://[0-9.]+:\d+)/", line)
            if found:
                self.url = found.group(1)
                break
        else:
            raise RuntimeError("zuhost did not start:\n" + "".join(self.lines))
        # Read on, or a full pipe would hold the service up.
        self.reader = threading.Thread(target=lambda: self.lines.extend(self.process.stderr), daemon=True)
        self.reader.start()

    def filters(self, *arguments):
        """What `zuhost filters` prints, run beside the service."""
        command = [self.zuhost, "filters", "--database", f"sqlite3://{self.database}", *arguments]
        return subprocess.run(command, check=True, capture_output=True, text=True, encoding="utf-8").stdout

    def signal_helper(self, number):
        """Sends a signal to the helper process that documents are asked from."""
        for children in pathlib.Path(f"/proc/{self.process.pid}/task").glob("*/children"):
            for process in children.read_text().split():
                os.kill(int(process), number)

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(timeout=WAIT_SECONDS)
        self.reader.join(timeout=WAIT_SECONDS)
        self.folder.cleanup()
        return self.process.returncode


def new_browser(width=1280, height=900, languages="ru-RU,ru"):
    options = Options()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update", "--disable-sync",
                     "--disable-dev-shm-usage", "--force-device-scale-factor=1", "--hide-scrollbars",
                     f"--accept-lang={languages}", f"--window-size={width},{height}"):
        options.add_argument(argument)
    options.add_experimental_option("prefs", {"intl.accept_languages": languages})
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class Page:
    """What the tests read off the order list."""

    def __init__(self, browser, url, server=None):
        self.browser, self.url, self.server = browser, url, server

    def open(self, path):
        self.browser.get(self.url + path)

    def all(self, css):
        return self.browser.find_elements(By.CSS_SELECTOR, css)

    def one(self, css):
        return self.browser.find_element(By.CSS_SELECTOR, css)

    def column(self, name):
        return [cell.text for cell in self.all(f"table.orders tbody td.{name}")]

    def follow(self, element):
        """Clicks a link or a button and waits for the next page."""
        before = self.one("html")
        element.click()
        WebDriverWait(self.browser, WAIT_SECONDS).until(lambda _: self.gone(before))
        WebDriverWait(self.browser, WAIT_SECONDS).until(
            lambda browser: browser.execute_script("return document.readyState") == "complete")

    @staticmethod
    def gone(element):
        with contextlib.suppress(Exception):
            element.is_enabled()
            return False
        return True

    def wait(self, condition, what):
        """Waits until `condition()` holds; a page that changes meanwhile is looked at again."""
        WebDriverWait(self.browser, WAIT_SECONDS, poll_frequency=0.1,
                      ignored_exceptions=[WebDriverException]).until(lambda _: condition(), what)

    def fill(self, name, text):
        field = self.one(f"form.edit [name={name}]")
        field.clear()
        field.send_keys(text)

    def value(self, name):
        return self.one(f"form.edit [name={name}]").get_attribute("value")

    def choose(self, name, value):
        Select(self.one(f"form.edit [name={name}]")).select_by_value(value)

    def print_order(self):
        """Asks for the order's document, again while the helper is away."""
        self.follow(self.one("a.document"))

        def printed():
            if self.all(".refused"):
                self.follow(self.one(".refused a.button"))
            return not self.all(".refused")
        self.wait(printed, "the helper makes the document")

    def press(self, action):
        self.follow(self.one(f"button[name=action][value={action}]"))

    def sign_in(self, user):
        """Signs in as a demo user, unless that is who is signed in."""
        self.open("/orders?lang=ru")
        here = self.all(".who .user")
        if here and here[0].text == user:
            return
        if here:
            self.follow(self.one(".who button"))
        self.follow(self.one(".who a"))
        self.one("#signin [name=user]").send_keys(user)
        self.one("#signin [name=password]").send_keys("demo-" + user)
        self.follow(self.one("#signin button"))
        expect(self.one(".who .user").text == user, f"{user} is signed in")

    def search(self, text):
        field = self.one("#q")
        field.clear()
        field.send_keys(text)
        self.follow(self.one(".search button"))


def expect(condition, text):
    if not condition:
        raise AssertionError(text)
