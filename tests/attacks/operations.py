"""What those who run a service ask of it: health, metrics, and a database that is what it was."""

import os
import stat
import urllib.error
import urllib.request

from service import ServiceTest, ZUHOST, subprocess, unittest

PAGE = 'response:Write(#db.select("SELECT 1 AS One", {}))'
USERS = '"/mine" = { module = "index.lua", user = true }\n[session]\nsign_in = "/signin"\n'


class DatabaseTest(ServiceTest):
    modules = {"index.lua": PAGE}

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

    def wait_for_health(self, health, status):
        answer = None
        while answer != status:
            try:
                answer = urllib.request.urlopen(health + "/healthz").status
            except urllib.error.HTTPError as error:
                answer = error.code

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
        self.wait_for_health(health, 503)  # the log is told a moment before
        self.assertEqual(self.ask("/index").status, 503)
        with self.assertRaises(urllib.error.HTTPError) as refused:
            urllib.request.urlopen(health + "/healthz")
        self.assertEqual(refused.exception.code, 503)
        (self.folder / "away.db").rename(database)
        self.wait_for_log("is the one that is open again")
        self.wait_for_health(health, 200)
        self.assertEqual(self.ask("/index").body, "1")

        metrics = urllib.request.urlopen(health + "/metrics").read().decode()
        for line in ('zuhost_requests_total{status="2xx"} 2', 'zuhost_requests_total{status="5xx"} 1',
                     'zuhost_request_seconds_bucket{le="+Inf"} 3', "zuhost_request_seconds_count 3",
                     "zuhost_sessions 0", "zuhost_workers 4", "zuhost_queue_length 0", "zuhost_record_blocks 0"):
            self.assertIn("\n" + line + "\n", metrics)
        self.assertRegex(metrics, r"\nzuhost_database_statements_total [1-9]")
        self.assertRegex(metrics, r"\nzuhost_database_seconds_total 0\.0")


if __name__ == "__main__":
    unittest.main()
