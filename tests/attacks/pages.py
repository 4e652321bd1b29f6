#!/usr/bin/env python3
"""Pages that reach for what is not theirs, or never come back."""

import os
import re
import shutil
import unittest
from pathlib import Path

from service import ServiceTest


class FilesTest(ServiceTest):
    modules = {
        "cache.lua": 'zu.cache[request.Params.Value["name"]] = request.Params.Value["value"]',
        "sql.lua": 'response:Write(tostring(db.exec(request.Params.Value["sql"])))',
        "path.lua": "response:Write(request.Path)",
    }

    def test_a_page_cannot_move_the_templates(self):
        self.start()
        for name in ("TemplateDirectory", "Enabled"):
            self.assertEqual(self.ask("/cache", {"name": name}).status, 403)  # no token: not even asked
            self.assertEqual(self.ask(f"/cache?name={name}&value=/etc").status, 500)
        self.wait_for_log("the configuration names the folder of templates") # it may come behind the answer

    def files(self):
        return sorted(path.name for path in self.folder.rglob("*") if not path.name.startswith("site.db-"))

    def test_a_statement_reaches_its_database_only(self):
        self.start()
        refused = ["ATTACH 'other.db' AS other", "attach database 'other.db' as other", "/**/ATTACH 'x.db' AS x",
                   "VACUUM INTO 'copy.db'", "vacuum main into 'copy.db'", "PRAGMA writable_schema = ON",
                   "EXPLAIN PRAGMA writable_schema = 1", "PRAGMA journal_mode = DELETE",
                   "PRAGMA temp_store_directory = '/tmp'", "SELECT load_extension('x')",
                   "UPDATE sqlite_master SET sql = 'x'"]
        before = self.files()
        for sql in refused:
            with self.subTest(sql):
                self.assertEqual(self.ask("/sql?" + "sql=" + sql.replace(" ", "+").replace("'", "%27")).status, 500)
        self.assertEqual(self.files(), before)
        for sql in ("CREATE TABLE A (B)", "INSERT INTO A VALUES (1)", "PRAGMA table_info(A)", "PRAGMA user_version"):
            self.assertEqual(self.ask("/sql?sql=" + sql.replace(" ", "+")).status, 200, sql)

    def test_an_escaped_slash_separates_nothing(self):
        (self.folder / "modules/below.lua").write_text("response:Write(request.Path)")
        self.write_config('"/a/b" = "path.lua"\n"/below/*" = "below.lua"\n')
        self.start()
        for target, expected in {"/a/b": (200, "/a/b"), "/a%2Fb": (404, None), "/a%2fb": (404, None),
                                 "/below%2Fx": (404, None), "/below/x%2fy": (200, "/below/x%2fy")}.items():
            answer = self.ask(target)
            self.assertEqual(answer.status, expected[0], target)
            if expected[1]:
                self.assertEqual(answer.body, expected[1])


class StuckTest(ServiceTest):
    """Pages that never come back cost themselves only."""
    config = "[limits]\npage_seconds = 1\nthreads = 4\ninstructions = 0\n"
    modules = {
        "good.lua": 'response:Write("good")',
        "loop.lua": "while true do pcall(function() while true do end end) end",
        "move.lua": "table.move({}, 1, 1 << 62, 2)",
        "rep.lua": 'local s = ("a"):rep(4000)\ns:find(".-.-.-.-.-b")',
        "sql.lua": 'db.select("WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n) SELECT x FROM n WHERE x < 0")',
        "session.lua": "zu.as_session('s', 'u', function() while true do end end)",
        "pipe.lua": 'zu.pipe_client{ name = "nobody-answers", timeout = 0, answer_timeout = 0 }:request("x")',
    }

    def test_stuck_pages_are_stopped_and_named(self):
        self.start()
        stuck = [name for name in self.modules if name not in ("good.lua", "pipe.lua")]
        answers = self.at_once(2 * len(stuck), lambda number: self.ask("/" + stuck[number % len(stuck)][:-4]))
        self.assertEqual({answer.status for answer in answers}, {503})
        for name in stuck:
            self.assertRegex(self.log, rf"page error \w+ in {name}: stopped, a page may take 1 seconds "
                                       rf"\(limits.page_seconds\); it was at: .*{name}:\d")
        for answer in self.at_once(8, lambda number: self.ask("/good")):
            self.assertEqual(answer.body, "good")

    def test_a_worker_that_does_not_come_back_is_replaced(self):
        # A module that is a pipe which nobody writes to: reading it waits for ever, outside of Lua.
        (self.folder / "modules" / "sub").mkdir()
        os.mkfifo(self.folder / "modules" / "sub" / "never.lua")
        (self.folder / "modules" / "wait.lua").write_text('require "sub.never"')
        self.write_config()
        self.start()
        answers = self.at_once(8, lambda number: self.ask("/wait"))
        self.assertEqual({answer.status for answer in answers}, {503})
        self.wait_for_log(r"page in wait.lua does not end though its time is over; its worker is replaced")
        self.assertEqual(self.ask("/good").body, "good")


class ExampleTest(ServiceTest):
    """Requests that the example's own pages never send."""

    def setUp(self):
        super().setUp()
        shutil.copytree(Path(__file__).parents[2] / "examples/orders", self.folder, dirs_exist_ok=True,
                        ignore=shutil.ignore_patterns("*.db*"))
        (self.folder / "orders.toml").rename(self.folder / "zuhost.toml")
        toml = self.folder / "zuhost.toml"
        toml.write_text(re.sub(r"(?m)^port = .*", "port = 0", toml.read_text()))

    def test_forged_fields_and_overlong_texts_are_bad_requests(self):
        self.start()
        self.assertEqual(self.ask("/orders?q=" + "%25" * 2000).status, 400)
        form = self.ask("/signin")
        token = re.search(r'name="form_token" value="(\w+)"', form.body).group(1)
        cookie = self.ask("/signin", {"form_token": token, "user": "anna", "password": "demo-anna"}, form.cookie).cookie
        for forged in ({"was_status": "lent"}, {"block": "'; DROP"}, {"block": "0" * 5000}, {"id": "1 OR 1"}):
            answer = self.ask("/order/save", {"form_token": token, "action": "save", **forged}, cookie)
            self.assertEqual(answer.status, 400, forged)
        self.assertNotIn(" error ", self.log)


if __name__ == "__main__":
    unittest.main()
