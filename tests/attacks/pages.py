#!/usr/bin/env python3
"""Pages that reach for what is not theirs, or never come back."""

import unittest

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
        self.assertIn("the configuration names the folder of templates", self.log)

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


if __name__ == "__main__":
    unittest.main()
