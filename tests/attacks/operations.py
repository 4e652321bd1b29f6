"""What those who run a service ask of it: health, metrics, and a database that is what it was."""

import os
import pathlib
import re
import shutil
import socket
import stat
import urllib.error
import urllib.request

from service import ServiceTest, ZUHOST, subprocess, unittest

EXAMPLE = pathlib.Path(__file__).resolve().parents[2] / "examples" / "orders"
PAGE = 'response:Write(#db.select("SELECT 1 AS One", {}))'
USERS = '"/mine" = { module = "index.lua", user = true }\n[session]\nsign_in = "/signin"\n'


class DatabaseTest(ServiceTest):
    modules = {"index.lua": PAGE}

    def until(self, target, status):
        """The log tells a moment before it is so; the group's time limit ends a wait in vain."""
        while self.ask(target).status != status:
            pass

    def start_fails(self):
        process = subprocess.run([ZUHOST, "serve"], cwd=self.folder, capture_output=True, text=True, timeout=100)
        self.assertEqual(process.returncode, 1, process.stderr)
        return process.stderr

    def test_a_database_that_is_missing_or_empty_is_not_served_to_everybody(self):
        self.write_config(USERS)
        self.assertIn("there is no database", self.start_fails())
        self.assertFalse((self.folder / "site.db").exists())
        self.write_config(USERS + "without_users = true\n")
        self.assertIn("there is no database", self.start_fails())
        (self.folder / "site.db").touch()
        self.start()
        self.stop()
        self.write_config(USERS)
        self.assertIn("routes ask for users, and the database has none", self.start_fails())
        self.add_user("anna")
        self.start()
        self.assertEqual(self.ask("/mine").status, 303)

    def test_a_file_is_made_for_its_owner_and_its_loss_is_noticed(self):
        self.config = '[admin]\nhttp = "127.0.0.1:0"\nsocket = "run/admin"\n'
        self.write_config()
        previous = os.umask(0)
        try:
            self.start()
        finally:
            os.umask(previous)
        self.assertEqual(self.ask("/index").body, "1")
        for file in self.folder.glob("site.db*"):
            self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o600, file)

        health = "http://" + self.wait_for_log(r"health and metrics on (\S+)").group(1)
        self.assertEqual(urllib.request.urlopen(health + "/healthz").read(), b"ok\n")
        database = self.folder / "site.db"
        database.rename(self.folder / "away.db")
        database.touch() # another one in its place
        self.wait_for_log("was deleted or replaced while it is open")
        self.until("/index", 503)
        with self.assertRaises(urllib.error.HTTPError) as unhealthy:
            urllib.request.urlopen(health + "/healthz")
        self.assertEqual(unhealthy.exception.code, 503)
        (self.folder / "away.db").rename(database)
        self.wait_for_log("is the one that is open again")
        self.until("/index", 200)

        metrics = urllib.request.urlopen(health + "/metrics").read().decode()
        # The last answers may not be counted yet, nor their worker idle: at least what came before them.
        for line in ('zuhost_requests_total{status="2xx"} [1-9]', 'zuhost_requests_total{status="5xx"} [1-9]',
                     r'zuhost_request_seconds_bucket{le="\+Inf"} [2-9]', "zuhost_request_seconds_count [2-9]",
                     "zuhost_sessions 0", r"zuhost_workers_busy \d", "zuhost_queue_length 0", "zuhost_record_blocks 0"):
            self.assertRegex(metrics, "\n" + line)
        self.assertRegex(metrics, r"\nzuhost_database_statements_total [1-9]")
        self.assertRegex(metrics, r"\nzuhost_database_seconds_total [0-9]")


class ManagerTest(ServiceTest):
    modules = {"index.lua": PAGE}

    def test_a_service_manager_is_told_of_start_life_and_stop(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.bind(str(self.folder / "notify"))
            os.environ |= {"NOTIFY_SOCKET": str(self.folder / "notify"), "WATCHDOG_USEC": "2000000"}
            try:
                self.start()
            finally:
                del os.environ["NOTIFY_SOCKET"], os.environ["WATCHDOG_USEC"]
            told = [manager.recv(1000).decode() for _ in range(3)]
            self.assertIn("READY=1\nSTATUS=serving on http://" + self.address, told[0])
            self.assertEqual(told[1:], ["WATCHDOG=1"] * 2)
            self.stop()
            while (last := manager.recv(1000)) == b"WATCHDOG=1":
                pass
            self.assertEqual(last, b"STOPPING=1")

    def test_check_tells_every_fault_and_makes_nothing(self):
        def check():
            return subprocess.run([ZUHOST, "serve", "--check"], cwd=self.folder, capture_output=True, text=True,
                                  timeout=100)
        good = check()
        self.assertEqual((good.returncode, good.stdout, good.stderr), (0, "ok\n", ""))
        self.assertFalse((self.folder / "site.db").exists())
        self.write_config('"/x" = "gone.lua"\n"/y" = 5\n[limits]\nthreads = 0\nbody_byte = 1\n'
                          '[proxy]\ntrusted = ["10.0.0.1/8", "x"]\n[log]\nformat = "xml"\n')
        bad = check()
        self.assertEqual(bad.returncode, 1)
        self.assertEqual(len(bad.stderr.splitlines()), 7, bad.stderr)
        for fault in ("limits.threads", "limits.body_byte", "10.0.0.1/8", '"x" is neither', "log.format", "gone.lua",
                      'a table, not a whole number'):
            self.assertIn(fault, bad.stderr)
        self.write_config(USERS + '[log]\n')
        (self.folder / "pages/ru.json").write_text("{}")
        file = self.folder / "zuhost.toml"
        file.write_text('address = "0.0.0.0"\nstrings = "pages"\n' + file.read_text())
        bad = check()
        self.assertEqual(bad.returncode, 1)
        self.assertRegex(bad.stderr, "warning: the service listens on 0.0.0.0, beyond this machine, without `secure")
        self.assertIn("there is no database", bad.stderr)
        self.assertIn('no texts for the language "en"', bad.stderr)
        self.assertFalse((self.folder / "site.db").exists())


class OrdersTest(ServiceTest):
    """examples/orders on each database there is: with what its users may view."""

    def check(self, database):
        shutil.copytree(EXAMPLE, self.folder, dirs_exist_ok=True, ignore=shutil.ignore_patterns("*.db*"))
        text = (EXAMPLE / "orders.toml").read_text()
        for was, now in (("port = 8080", "port = 0"), ("sqlite3://orders.db", database)):
            self.assertIn(was, text)
            text = text.replace(was, now)
        (self.folder / "zuhost.toml").write_text(text + '[admin]\nsocket = "run/admin"\n')
        self.start()
        for path, holds in {"/orders?lang=en": ">240</b>", "/orders?q=%D0%81%D0%9B%D0%9A%D0%98": "Ёлки", "/order?id=5": "ZT-",
                            "/orders?sort=number&dir=asc&page=12": "ZT-11680", "/orders?sort=customer": "АО «"}.items():
            answer = self.ask(path)
            self.assertEqual(answer.status, 200, self.log)
            self.assertTrue(holds in answer.body, f"{path} holds no {holds}")
        self.zuhost("users", "--config", "zuhost.toml", "grant", "Narrow", "Orders", "view", "--filter", "CityRu = :City")
        self.add_user("nina", "--profile", "Narrow")
        self.zuhost("users", "--config", "zuhost.toml", "set", "nina", "City", "Москва")
        form = self.ask("/signin")
        fields = {"form_token": re.search('name="form_token" value="([^"]+)"', form.body).group(1),
                  "user": "nina", "password": "correct horse"}
        cookie = self.ask("/signin", fields, form.cookie).cookie
        page = self.ask("/orders", cookie=cookie).body
        cities = re.findall('<td class="city"[^>]*>([^<]+)</td>', page)
        self.assertEqual(set(cities), {"Москва"})
        self.assertTrue(f'<b>{len(cities)}</b>' in page, "what is hidden is not counted")

    def test_on_sqlite(self):
        self.check("sqlite3://orders.db")

    @unittest.skipUnless(os.environ.get("ZU_TEST_POSTGRES"), "no PostgreSQL; see scripts/postgres-for-tests")
    def test_on_postgresql(self):
        server = os.environ["ZU_TEST_POSTGRES"].rsplit("/", 1)[0]
        script = self.folder / "make.lua"
        script.write_text('db.exec("DROP DATABASE IF EXISTS zu_orders") db.exec("CREATE DATABASE zu_orders")')
        self.zuhost("run", "--database", server + "/zu", str(script))
        self.check(server + "/zu_orders")


if __name__ == "__main__":
    unittest.main()
