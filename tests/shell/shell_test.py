#!/usr/bin/env python3
"""Runs zuhost as a person would. ZUHOST names the program, ZU_VERSION the version that it must tell."""

import http.client
import json
import os
import pty
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
import unittest
from pathlib import Path

ZUHOST = os.environ["ZUHOST"]
REPOSITORY = Path(__file__).resolve().parents[2]


class Shell(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def write(self, name, content):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def run_zuhost(self, *arguments, **options):
        options.setdefault("stdout", subprocess.PIPE)
        result = subprocess.run([ZUHOST, *arguments], cwd=self.folder, stdin=subprocess.DEVNULL,
                                stderr=subprocess.PIPE, timeout=100, **options)
        out = None if result.stdout is None else result.stdout.decode()
        return result.returncode, out, result.stderr.decode()

    def expect(self, arguments, code, out="", error=""):
        self.assertEqual(self.run_zuhost(*arguments), (code, out, error), arguments)


class UsageTest(Shell):
    def commands(self):
        listed = self.run_zuhost("--help")[1].split("Subcommands:\n")[1].split("\n\n")[0]
        names = [line.split()[0] for line in listed.splitlines()]
        self.assertLessEqual({"render", "run", "serve", "lint", "api"}, set(names))
        return names

    def test_wrong_usage_exits_with_2_and_prints_no_result(self):
        known = ", ".join(self.commands())
        cases = {
            "no subcommand": ([], f"a subcommand is missing; there are {known}"),
            "unknown subcommand": (["frob", "x"], f'unknown subcommand "frob"; there are {known}'),
            "letter case": (["Render"], f'unknown subcommand "Render"; there are {known}'),
            "unknown option": (["--frob"], "unknown option --frob"),
            "malformed UTF-8": (["render", b"a\xd0=1"], "argument 2 is malformed UTF-8 at byte 2"),
            "render without name": (["render"], "render: the template's name is missing"),
            "render with unknown option": (["render", "a", "--frob"], "render: unknown option --frob"),
            "render with no value": (["render", "a", "b"], 'render: "b" is no name=value'),
            "render with no name of a value": (["render", "a", "=b"], 'render: "=b" has no name before "="'),
            "option without value": (["render", "--language"], "render: --language: 1 required ID missing"),
            "run without script": (["run", "--templates", "x"], "run: the script's name is missing"),
            "run with unknown option": (["run", "--frob", "a.lua"], "run: unknown option --frob"),
            "run with bad database": (["run", "--database", "x", "a.lua"], "run: Database URL: "),
            "lint quiet and json": (["lint", "--quiet", "--json"], "lint: "),
            "port out of range": (["serve", "--port", "65536"], "serve: --port: Value 65536 not in range 0 to 65535"),
            "pipe-serve without job": (["pipe-serve", "x"], "pipe-serve: give either --echo or --script FILE.lua"),
            "pipe-call without request": (["pipe-call", "x"], "pipe-call: the request is missing"),
            "pipe-call with an empty request": (["pipe-call", "x", ""], "pipe-call: the request is empty"),
            "api with a name": (["api", "TTemplate"], "api: "),
        }
        for name, (arguments, message) in cases.items():
            with self.subTest(name):
                code, out, error = self.run_zuhost(*arguments)
                self.assertEqual((code, out), (2, ""))
                self.assertTrue(error.startswith("zuhost: " + message), error)

    def test_help_and_version(self):
        code, out, error = self.run_zuhost("--help")
        self.assertEqual((code, error), (0, ""))
        for command in self.commands():
            with self.subTest(command):
                code, out, error = self.run_zuhost(command, "--help")
                self.assertEqual((code, error), (0, ""))
                self.assertIn(f"Usage: zuhost {command} ", out)
                self.assertIn(f"\nExamples:\n  zuhost {command}", out)
        self.expect(["--version"], 0, f"zuhost {os.environ['ZU_VERSION']}\n")

    def test_an_option_with_nothing_behind_its_equals_sign_is_empty(self):
        self.write("a.txt", "{{k}}")
        filters = ["filters", "--database=sqlite3://f.db"]
        for arguments, code, out, error in (
                ([*filters, "add", "10", "x"], 1, "",
                 "zuhost: there is no database f.db: correct the path, or make a new database there with --create\n"),
                ([*filters, "--create", "add", "10", "x"], 0, "", ""),
                ([*filters, "set-rule", "10", "p", "--wrong=", "--right=0-9"], 0, "", ""),
                ([*filters, "show", "10"], 0, "10\tx\t\n\np\n  wrong: \n  right: 0-9\n", ""),
                (["check", "--wrong=", "--right", "0-9", "12"], 0, "ok\n", ""),
                (["check", "--right=0-9", "--wrong=", "--", "-"], 1, "",
                 'zuhost: Value "-" contain not a right symbol "-" at position 1.\n'),
                (["check", "--right", "--wrong=", "--wrong"], 2, "",
                 "zuhost: check: --wrong: 1 required RULE missing\nSee zuhost check --help\n"),
                (["render", "a.txt", "--language=", "--templates="], 0, "k", ""),
                (["serve", "--port=", "8080"], 2, "",
                 "zuhost: serve: --port: Value  not in range 0 to 65535\nSee zuhost serve --help\n")):
            with self.subTest(arguments):
                self.expect(arguments, code, out, error)

    def test_output_that_nobody_takes_is_a_failure(self):
        self.write("print.lua", "print('x')")
        for arguments in (["--version"], ["api"], ["run", "print.lua"]):
            with self.subTest(arguments), open("/dev/full", "wb") as full:
                code, _, error = self.run_zuhost(*arguments, stdout=full)
                self.assertEqual(code, 1)
                self.assertTrue(error.startswith("zuhost: cannot write to standard output"), error)
        reader, writer = os.pipe()
        os.close(reader)
        with os.fdopen(writer, "wb") as broken:
            code, _, error = self.run_zuhost("api", stdout=broken)
        self.assertEqual((code, error.count("\n")), (1, 1), error)


class RenderTest(Shell):
    def setUp(self):
        super().setUp()
        self.write("pages/letter.txt", "Dear [[NAME]], {{greeting}}! [[name]] [[!ROW]][[X]][[/ROW]]{{unknown}}")
        self.write("texts/en.json", '{"greeting": "hello"}')
        self.write("texts/ru.json", '{"greeting": "привет"}')

    def test_fills_tags(self):
        folders = ["--templates", "pages", "--strings", "texts"]
        cases = {
            "nothing given": ([*folders, "letter.txt"], "Dear , hello!  unknown"),
            "ignoring case": ([*folders, "letter.txt", "Name=Anna"], "Dear Anna, hello! Anna unknown"),
            "UTF-8 and a language": ([*folders, "--language", "ru-RU", "letter.txt", "NAME=Анна 😀"],
                                     "Dear Анна 😀, привет! Анна 😀 unknown"),
            "later value wins": ([*folders, "letter.txt", "NAME=1", "name=2"], "Dear 2, hello! 2 unknown"),
            "first = splits": ([*folders, "letter.txt", "NAME==a=b"], "Dear =a=b, hello! =a=b unknown"),
            "values as they are": ([*folders, "letter.txt", "NAME=[[NAME]]\n@f"],
                                   "Dear [[NAME]]\n@f, hello! [[NAME]]\n@f unknown"),
            "options behind": (["letter.txt", "NAME=x", *folders], "Dear x, hello! x unknown"),
            "keys without texts": (["--templates", "pages", "letter.txt"], "Dear , greeting!  unknown"),
        }
        for name, (arguments, out) in cases.items():
            with self.subTest(name):
                self.expect(["render", *arguments], 0, out)

    def test_warns_and_goes_on(self):
        self.expect(["render", "--templates", "pages", "letter.txt", "X=1", "NAME=a"], 0,
                    "Dear a, greeting! a unknown", 'zuhost: warning: letter.txt has no tag "X"\n')
        self.expect(["render", "--templates", "pages", "--strings", "texts", "--language", "de", "letter.txt"], 0,
                    "Dear , greeting!  unknown", 'zuhost: warning: there is no language file for "de"\n')

    def test_bad_input_exits_with_1_and_names_the_place(self):
        self.write("empty.txt", "")
        self.write("open.txt", "a[[b")
        self.write("part.txt", "a[[!P]]b")
        self.write("malformed.txt", b"a\n\xff")
        self.write("broken/en.json", '{\n"a": 1}')
        cases = {
            "missing": (["none.txt"], "none.txt"),
            "empty": (["empty.txt"], "empty.txt"),
            "unclosed tag": (["open.txt"], "open.txt: Not found close tags (]]) in template: open.txt."),
            "unclosed part": (["part.txt"], 'part.txt: Not found close tags ([[/...]]) of part: "P" in template: .'),
            "malformed": (["malformed.txt"], "malformed.txt"),
            "outside": (["../open.txt"], "../open.txt"),
            "absolute": ([str(self.folder / "open.txt")], "open.txt"),
            "folder": (["pages"], "pages"),
            "no such language folder": (["--strings", "none", "open.txt"], "none"),
            "language file": (["--strings", "broken", "open.txt"], 'broken/en.json:2:6: the value of key "a" is no text'),
        }
        for name, (arguments, place) in cases.items():
            with self.subTest(name):
                code, out, error = self.run_zuhost("render", *arguments)
                self.assertEqual((code, out), (1, ""))
                self.assertTrue(error.startswith("zuhost: "), error)
                self.assertIn(place, error)
                self.assertEqual(error.count("\n"), 1, error)


class LintTest(Shell):
    GOOD = "[[TITLE]]\n[[ROWS]][[!ROW]]<[[CELL x]]>[[/ROW]]{{list.title}}{{list.title}}\n"
    LISTING = ('pages/good.html: 3 tags, 1 part, 1 key\n  tag "TITLE" 1:1\n  tag "ROWS" 2:1\n  part "ROW" 2:9\n'
               '    tag "CELL x" 2:18\n  key "list.title" 2:37, 2 places\n')

    def test_lists_and_exits_with_0(self):
        self.write("pages/good.html", self.GOOD)
        self.write("texts/en.json", '{"list.title": "x"}')
        self.write("texts/en-GB.json", "{}")
        self.expect(["lint", "--templates", "pages"], 0, self.LISTING)
        self.expect(["lint", "--templates", "pages", "--strings", "texts", "good.html"], 0, self.LISTING)
        self.expect(["lint", "--templates", "pages", "--quiet"], 0)

    def test_reports_problems_and_exits_with_1(self):
        self.write("pages/good.html", self.GOOD)
        self.write("pages/sub/bad.html", "x\r\n[[a]]é[[A]]{{k}}\n[[!P]]{{list.title}}")
        self.write("texts/en.json", '{"list.title": "x"}')
        self.write("texts/ru.json", '{"list.title": "x", "k": "y"}')
        problems = ('pages/sub/bad.html:2:7: tag "A" differs only in letter case from "a" at 2:1\n'
                    'pages/sub/bad.html:2:12: language key "k" is missing in language "en"\n'
                    'pages/sub/bad.html:3:1: part "P" is not closed\n')
        arguments = ["lint", "--templates", "pages", "--strings", "texts"]
        self.expect([*arguments, "--quiet"], 1, problems)
        code, out, error = self.run_zuhost(*arguments)
        self.assertEqual((code, error), (1, ""))
        self.assertEqual(out, self.LISTING + 'pages/sub/bad.html: 1 tag, 1 part, 2 keys\n  tag "a" 2:1, 2 places\n'
                         '  part "P" 3:1\n  key "k" 2:12\n  key "list.title" 3:7\n' + problems)

    def test_unreadable_files_do_not_hide_the_others(self):
        self.write("open.html", "[[")
        code, out, error = self.run_zuhost("lint", "--quiet", "none.html", "../x", "open.html")
        self.assertEqual((code, out), (1, '../x:1:1: templates refuse this file name: a part of it is "." or ".."\n'
                                          "open.html:1:1: tag is not closed\n"))
        self.assertIn("none.html", error)
        self.assertEqual(self.run_zuhost("lint", "none.html")[0], 1)
        self.write("good/a.html", "x")
        with open(os.fsencode(self.folder) + b"/good/bad\xff", "wb"):
            code, out, error = self.run_zuhost("lint", "--quiet", "--templates", "good")
        self.assertEqual((code, out), (1, ""))
        self.assertIn("not UTF-8", error)

    def test_an_empty_folder_is_no_success(self):
        (self.folder / "pages").mkdir()
        self.expect(["lint", "--templates", "pages"], 1, "", 'zuhost: there is no file below "pages"\n')

    def test_json(self):
        self.write("good.html", self.GOOD)
        self.write("bad.html", "[[!A]][[!Б]][[x]]{{")
        code, out, error = self.run_zuhost("lint", "--json")
        self.assertEqual((code, error), (1, ""))
        bad, good = json.loads(out)
        self.assertEqual([good["file"], good["problems"], good["keys"]],
                         ["good.html", [], [{"name": "list.title", "line": 2, "column": 37, "count": 2}]])
        self.assertEqual([(part["name"], part["parent"]) for part in bad["parts"]], [("A", -1), ("Б", 0)])
        self.assertEqual(bad["parts"][1]["tags"], [{"name": "x", "line": 1, "column": 13, "count": 1}])
        self.assertEqual([problem["column"] for problem in bad["problems"]], [1, 7, 18])

    def test_deep_and_huge_files(self):
        self.write("deep.html", "[[!P]]" * 100_000 + "[[/P]]" * 100_000)
        with open(self.folder / "huge.html", "wb") as huge:
            huge.truncate(100_000_000)
        code, out, error = self.run_zuhost("lint", "deep.html")
        self.assertEqual((code, error), (0, ""))
        self.assertTrue(out.endswith('part "P" 1:599995, depth 100000\n'), out[-100:])
        self.expect(["lint", "--quiet", "huge.html"], 1,
                    "huge.html:1:1: file of 100000000 bytes is larger than the 67108864 that are analysed\n")

    def test_the_example_is_clean(self):
        example = REPOSITORY / "examples/orders"
        self.expect(["lint", "--quiet", "--templates", str(example / "templates"), "--strings", str(example / "strings")], 0)


class RunTest(Shell):
    def test_options_behind_the_script_are_the_scripts(self):
        self.write("args.lua", "print(arg[0], #arg, table.concat(arg, '|'))")
        self.expect(["run", "args.lua", "--templates", "x", "--", "-h", "Ж"], 0, "args.lua\t5\t--templates|x|--|-h|Ж\n")
        self.expect(["run", "--templates", "x", "--", "args.lua", "--help"], 0, "args.lua\t1\t--help\n")

    def test_templates_texts_and_database(self):
        self.write("pages/a.txt", "[[X]] {{k}}")
        self.write("texts/ru.json", '{"k": "ключ"}')
        self.write("job.lua", """
            local page = zu.create("TTemplate")
            page.LanguageID = "ru"
            page.Name = "a.txt"
            page.X = db.select("SELECT 40 + :N AS Answer", {N = 2})[1].Answer
            print(page:BuildTemplate())""")
        self.expect(["run", "--templates", "pages", "--strings", "texts", "--database", "sqlite3://job.db", "job.lua"], 0,
                    "42 ключ\n")

    def test_configuration_of_serve(self):
        self.write("host/pages/a.txt", "{{k}}")
        self.write("host/texts/ru.json", '{"k": "ключ"}')
        self.write("host/modules/a.lua", "")
        self.write("host/zuhost.toml", 'templates = "pages"\nstrings = "texts"\nmodules = "modules"\n'
                   'languages = ["ru"]\ndefault_language = "ru"\n[routes]\n"/" = "a.lua"\n')
        self.write("other/a.txt", "other {{k}}")
        self.write("job.lua", 'local t = zu.create("TTemplate"); t.Name = "a.txt"; io.write(t:BuildTemplate())')
        self.expect(["run", "--config", "host/zuhost.toml", "job.lua"], 0, "ключ")
        self.expect(["run", "--config", "host/zuhost.toml", "--templates", "other", "job.lua"], 0, "other ключ")

    def test_errors(self):
        self.write("error.lua", "print('before')\nlocal function inner() error('плохо') end\ninner()")
        code, out, error = self.run_zuhost("run", "error.lua")
        self.assertEqual((code, out), (1, "before\n"))
        self.assertTrue(error.startswith("zuhost: error.lua:2: плохо\nstack traceback:\n"), error)
        self.assertIn("error.lua:3: in main chunk", error)
        self.write("syntax.lua", "x = = 1")
        self.assertEqual(self.run_zuhost("run", "syntax.lua")[0], 1)
        self.assertEqual(self.run_zuhost("run", "none.lua")[:2], (1, ""))
        self.write("exit.lua", "print('x') os.exit(7)")
        self.expect(["run", "exit.lua"], 7, "x\n")


class FiltersTest(Shell):
    def filters(self, *arguments):
        return self.run_zuhost("filters", "--database", "sqlite3://app.db", "--create", *arguments)

    def test_a_filter_from_its_making_to_its_end(self):
        missing = 'zuhost: filter 10 has no rule for "x"; it has rules for: "a, b", "c"\n'
        taken = 'zuhost: filter 1 has the name "medium" already; a service finds its filter by name, so each needs ' \
                'one of its own\n'
        gone = "zuhost: there is no filter 10 in the database\n"
        steps = [
            (["list"], 0, "0\tHigh\n1\tMedium\n2\tLow\n", ""),
            (["set-rule", "10", "a", "--wrong", "<"], 1, "", gone),
            (["add", "10", "Orders", "--describe", "of orders"], 0, "", ""),
            (["add", "10", "Ours"], 0, "", ""),
            (["add", "11", "medium"], 1, "", taken),
            (["add", "10", "medium"], 1, "", taken),
            (["set-rule", "10", "a, b", "--wrong", "<"], 0, "", ""),
            (["set-rule", "10", "c", "--right", "0-9"], 0, "", ""),
            (["set-rule", "10", "A,B", "--wrong", ">"], 0, "", ""),
            (["show", "10"], 0, "10\tOurs\tof orders\n\na, b\n  wrong: >\n  right: \n\nc\n  wrong: \n  right: 0-9\n", ""),
            (["remove-rule", "10", "x"], 1, "", missing),
            (["remove-rule", "10", "B , a"], 1, "", missing.replace('"x"', '"B , a"')),
            (["remove-rule", "10", "A , b"], 0, "", ""),
            (["export", "10", "file"], 0, "", ""),
            (["import", "file", "--id", "11"], 1, "", taken.replace("1", "10").replace("medium", "Ours")),
            (["import", "file", "--id", "11", "--name", "Copy"], 0, "11\tCopy\n", ""),
            (["show", "11"], 0, "11\tCopy\tof orders\n\nc\n  wrong: \n  right: 0-9\n", ""),
            (["delete", "1"], 1, "", "zuhost: filter 1 is reserved and cannot be deleted\n"),
            (["delete", "10"], 0, "", ""),
            (["delete", "10"], 1, "", gone),
        ]
        for step in steps:
            self.assertEqual(self.filters(*step[0]), step[1:], step[0])
        code, out, error = self.filters("show", "11", "--json")
        self.assertEqual(json.loads(out)["rules"], [{"params": "c", "wrong": "", "right": "0-9"}], error)
        self.assertEqual(self.filters("remove-rule", "1", "<default>"), (0, "", ""))
        self.assertIn("<Default>", self.filters("show", "1")[1], "Medium is given its rules again")

    def test_no_rule_of_many_at_once_is_lost(self):
        self.filters("add", "10", "Many")
        names = [f"p{number}" for number in range(12)]
        for process in [subprocess.Popen([ZUHOST, "filters", "--database", "sqlite3://app.db", "set-rule", "10", name],
                                         cwd=self.folder) for name in names]:
            self.assertEqual(process.wait(timeout=100), 0)
        shown = json.loads(self.filters("show", "10", "--json")[1])
        self.assertEqual(sorted(rule["params"] for rule in shown["rules"]), sorted(names))

    def test_check(self):
        self.expect(["check", "--right", "a-z", "Ab"], 0, "ok\n")
        self.expect(["check", "--right", "a-z", "a1"], 1, "",
                    'zuhost: Value "A1" contain not a right symbol "1" at position 2.\n')
        self.expect(["check", "--wrong", "<,on", "x<"], 1, "",
                    'zuhost: Value "X<" contain wrong symbol "<" at position 2.\n')


class SettingsTest(Shell):
    def test_a_file_is_looked_into_changed_and_checked(self):
        self.expect(["settings", "get", "a.prm", "S", "k"], 1, error='zuhost: There is no settings file "a.prm"\n')
        self.expect(["settings", "set", "a.prm", "Main", "Title", " Привет "], 0)
        self.expect(["settings", "set", "a.prm", "Main", "ShowCmd", "3"], 0)
        self.expect(["settings", "get", "a.prm", "main", "TITLE"], 0, " Привет \n")
        self.expect(["settings", "list", "a.prm"], 0, "[Main]\nTitle= Привет \nShowCmd=3\n")
        self.expect(["settings", "check", "a.prm"], 0, "ok\n")
        self.expect(["settings", "get", "a.prm", "Main", "x"], 1,
                    error='zuhost: There is no key "x" in [Main] of "a.prm"\n')
        self.write("b.prm", "; kept\n[S]\nk = 1\njunk\nK=2\n")
        self.expect(["settings", "set", "b.prm", "S", "k", "7"], 0)
        self.assertEqual((self.folder / "b.prm").read_text(), "; kept\n[S]\nk = 7\njunk\nK=2\n")
        self.expect(["settings", "check", "b.prm"], 1, 'b.prm:4: the line has no "="\nb.prm:5: a key of this name '
                    "stands above: only the first is read\n")
        self.write("c.prm", b"\0[S]")
        self.expect(["settings", "check", "c.prm"], 1, "c.prm: damaged: it holds NUL characters\n"
                    'c.prm:1: the line has no "="\n')
        self.expect(["settings", "list", "c.prm"], 1,
                    error='zuhost: The settings file "c.prm" is damaged: it holds NUL characters\n')


class ApiTest(Shell):
    def test_reference_page_is_the_output(self):
        code, out, error = self.run_zuhost("api", "--markdown")
        self.assertEqual((code, error), (0, ""))
        self.assertEqual((REPOSITORY / "docs/script-api.md").read_text(), out,
                         "run: zuhost api --markdown > docs/script-api.md")

    def test_lists_registered_and_published_names(self):
        code, out, error = self.run_zuhost("api")
        self.assertEqual((code, error), (0, ""))
        template = out[out.index("\nTTemplate\n") + 1:].split("\n\n")[0]
        for words in ("Tag property 1 argument read/write the value", "TagName property 1 argument read-only the name",
                      "BuildTemplate function 0 arguments the text", "FillTemplate procedure 1 argument (list)",
                      "LastError published property 0 arguments read/write string: the text"):
            self.assertIn("\n" + words, "\n".join(" ".join(line.split()) for line in template.splitlines()))


class NewTest(Shell):
    def test_a_new_application_passes_its_tests_and_migrates(self):
        code, out, error = self.run_zuhost("new", "desk")
        self.assertEqual((code, error), (0, ""))
        self.assertIn("zuhost test .", out)
        code, out, error = self.run_zuhost("test", "desk")
        self.assertEqual((code, error, out.count("  ok  ")), (0, "", 4), out)
        self.write("desk/tests/bad.lua", "test('fails', function(client) check.equal(client:get('/none').status, 200) end)")
        code, out, error = self.run_zuhost("test", "desk", "--only", "fails")
        self.assertEqual(code, 1)
        self.assertIn("found 404, wanted 200", out)
        self.assertIn("1 test failed", error)
        config = ["--config", "desk/desk.toml"]
        self.expect(["migrate", *config, "--list"], 0, "001-loans.sql  to be run\n")
        self.expect(["migrate", *config], 0, "001-loans.sql  run\n")
        self.expect(["migrate", *config], 0)
        self.assertEqual(self.run_zuhost("lint", "--quiet", "--templates", "desk/templates")[0], 0)
        self.write("desk/modules/more.lua", 'zu.text("loans.new") zu.text("none") zu.text("a." .. b)')
        code, out, error = self.run_zuhost("lint", "--quiet", "--templates", "desk/templates", "--strings", "desk/strings",
                                           "--modules", "desk/modules")
        self.assertEqual((code, out.count('language key "none" is missing'), out.count("missing")), (1, 2, 2), out)
        self.assertEqual(self.run_zuhost("new", "desk")[0], 1)
        self.assertEqual(self.run_zuhost("new", "../Desk")[0], 2)


class UsersTest(Shell):
    def users(self, *arguments, typed=None):
        result = subprocess.run([ZUHOST, "users", "--database", "sqlite3://users.db", "--create", *arguments], cwd=self.folder,
                                input=typed, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=100)
        return result.returncode, result.stdout.decode()

    def test_users_and_rights_from_the_shell(self):
        for arguments, typed, expected in (
                (["grant", "Clerks", "Orders", "all"], None, (0, "")),
                (["revoke", "Clerks", "orders", "delete"], None, (0, "")),
                (["rights", "Clerks"], None, (0, "Orders\tview\nOrders\tedit\nOrders\tinsert\n")),
                (["revoke", "Clerks", "Goods"], None, (1, "zuhost: the profile has no such right\n")),
                (["add", "Анна", "--profile", "Clerks"], "пароль12\r\n".encode(), (0, "")),
                (["add", "анна"], b"long enough", (1, 'zuhost: there is a user "анна" already\n')),
                (["add", "boris", "--administrator"], b"long enough", (0, "")),
                (["remove-profile", "Clerks"], None,
                 (1, 'zuhost: The profile "Clerks" is that of the user "Анна"; give its users another one first.\n')),
                (["set", "АННА", "Department", "Sales"], None, (0, "")),
                (["disable", "Boris"], None, (0, "")),
                (["list"], None, (0, "boris\t-\tadministrator\tdisabled\nАнна\tClerks\tDepartment=Sales\n")),
                (["administrator", "boris", "maybe"], None,
                 (2, 'zuhost: users: "maybe" is neither yes nor no\nSee zuhost users --help\n')),
                (["remove", "anna"], None, (1, 'zuhost: there is no user "anna"\n')),
                (["remove", "анна"], None, (0, "")),
                (["remove", "boris"], None,
                 (0, "zuhost: warning: no user is left, so everybody may do everything now\n"))):
            with self.subTest(arguments):
                self.assertEqual(self.users(*arguments, typed=typed), expected)

    def test_passwords_that_are_none(self):
        self.users("add", "anna", typed=b"long enough")
        for typed, part in ((b"", "there is no password"), (b"\n", "too short"), (b"seven77", "too short"),
                            (b"long enough\nx", "more than one line"), (b"x" * 5000, "longer than 1024 bytes"),
                            (b"long enough\xff", "malformed UTF-8")):
            with self.subTest(typed[:20]):
                code, out = self.users("password", "anna", typed=typed)
                self.assertEqual(code, 1)
                self.assertIn(part, out)
                self.assertFalse(typed.strip() and typed.strip().decode(errors="replace") in out)

    def test_terminal_does_not_show_the_password(self):
        def answer(*lines):
            child, terminal = pty.fork()
            if child == 0:
                os.chdir(self.folder)
                os.execv(ZUHOST, [ZUHOST, "users", "--database", "sqlite3://users.db", "--create", "add", "anna"])
            shown = b""
            try:
                for line in lines:
                    while not shown.endswith(b": "):
                        shown += os.read(terminal, 1000)
                    os.write(terminal, line + b"\n")
                    shown += b"|"
                while True:
                    shown += os.read(terminal, 1000)
            except OSError:
                pass  # the terminal is gone with its program
            os.close(terminal)
            return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), shown.decode()

        asked = "Password of anna: |\r\nOnce more: |\r\n"
        self.assertEqual(answer(b"long enough", b"long enouhg"),
                         (1, asked + "zuhost: the two passwords differ; nothing was changed\r\n"))
        self.assertEqual(answer(b"long enough", b"long enough"), (0, asked))
        self.assertEqual(self.users("list"), (0, "anna\t-\n"))


class PipesTest(Shell):
    def setUp(self):
        super().setUp()
        os.environ["XDG_RUNTIME_DIR"] = str(self.folder)

    def serve(self, *arguments):
        log = open(self.folder / "log", "w+")
        server = subprocess.Popen([ZUHOST, "pipe-serve", *arguments], cwd=self.folder, stderr=log, text=True)
        self.addCleanup(log.close)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        while not (self.folder / "log").read_text().startswith("zuhost: serving the pipe"):
            self.assertIsNone(server.poll(), (self.folder / "log").read_text())
        return server

    def call(self, *arguments, data=b""):
        result = subprocess.run([ZUHOST, "pipe-call", *arguments], input=data, capture_output=True, timeout=100)
        return result.returncode, result.stdout, result.stderr.decode()

    def test_echo_of_any_bytes_until_ctrl_c(self):
        server = self.serve("echo", "--echo", "--buffer", "300000")
        data = bytes(range(256)) * 1000
        self.assertEqual(self.call("echo", "hello"), (0, b"hello", ""))
        self.assertEqual(self.call("--answer-timeout", "60000", "echo", "-", data=data), (0, data, ""))
        code, out, error = self.call("echo", "-", data=data * 2)
        self.assertEqual((code, out), (1, b""))
        self.assertIn(r"zuhost: Transact pipe (\\.\pipe\echo) error: ", error)
        code, _, error = self.run_zuhost("pipe-serve", "echo", "--echo")
        self.assertEqual((code, error), (1, 'zuhost: another process serves the pipe "echo" already\n'))
        server.send_signal(signal.SIGINT)
        self.assertEqual(server.wait(20), 0)
        code, _, error = self.call("echo", "x")
        self.assertEqual(code, 1)
        self.assertIn("The system cannot find the file specified(2).", error)

    def test_peers_in_another_language_as_documented(self):
        text = (REPOSITORY / "docs/pipes.md").read_text()
        for name in ("server.py", "client.py"):
            self.write(name, re.search(r"```python " + name + r"\n(.*?)```", text, re.S)[1])
        self.serve("echo", "--echo")
        client = subprocess.run(["/usr/bin/python3", "client.py", "Echo", "hi"], cwd=self.folder, capture_output=True)
        self.assertEqual((client.returncode, client.stdout), (0, b"hi"), client.stderr)
        server = subprocess.Popen(["/usr/bin/python3", "server.py", "greeting"], cwd=self.folder)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        while self.call("greeting", "ask")[0] != 0:  # until it listens
            self.assertIsNone(server.poll())
        self.assertEqual(self.call("--answer-timeout", "60000", "greeting", "you"), (0, b"hello, you", ""))

    def test_a_terminal_shows_how_a_long_answer_is_getting_on(self):
        self.write("answer.lua", """return function(request)
  while not io.open("go") do end
  return request == "boom" and "" or request
end""")
        self.serve("slow", "--script", "answer.lua")
        for request, code, last in (("hello", 0, "\r\x1b[Khello"),
                                    ("boom", 1, "\r\x1b[Kzuhost: Transact pipe (\\\\.\\pipe\\slow) error: ")):
            child, terminal = pty.fork()
            if child == 0:
                os.execv(ZUHOST, [ZUHOST, "pipe-call", "slow", request])
            shown = b""
            try:
                while True:
                    shown += os.read(terminal, 1000)
                    if b" after 1 s " in shown:
                        self.write("go", "")
            except OSError:
                pass  # the terminal is gone with its program
            os.close(terminal)
            shown = shown.decode()
            self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), code, shown)
            self.assertTrue(shown.startswith("\rzuhost: waiting for the answer: 0 bytes after 1 s "), shown)
            self.assertIn(last, shown)
            (self.folder / "go").unlink()

    def test_scripts_answer_and_ask(self):
        self.write("answer.lua", """return function(request)
  if request == "boom" then error("no such order") end
  if request == "nothing" then return "" end
  return request:reverse()
end""")
        self.serve("rev", "--script", "answer.lua")
        self.assertEqual(self.call("rev", "abc"), (0, b"cba", ""))
        for request in ("boom", "nothing"):
            self.assertEqual(self.call("rev", request)[0], 1)
        log = (self.folder / "log").read_text()
        self.assertIn("answer.lua:2: no such order\nstack traceback:\n", log)
        self.assertIn("answer.lua: an empty answer cannot be sent", log)
        self.write("ask.lua", """local c = zu.pipe_client{name = "rev", timeout = 60000, answer_timeout = 60000, buffer = 64}
io.write(tostring(c.connected), c:request("a\\0b"), tostring(c.connected))
c:close()
io.write(tostring(c.connected))
for _, wrong in ipairs{{}, {nme = "x"}, {name = "x", timeout = -1}, {name = "x", buffer = "big"}, {name = "x", answer_timeout = 1.5}} do
  assert(not pcall(zu.pipe_client, wrong))
end
assert(not pcall(function() c.name = "y" end) and not pcall(function() return c.nme end))
c:request("boom")""")
        code, out, error = self.run_zuhost("run", "ask.lua")
        self.assertEqual((code, out), (1, "falseb\0atruefalse"))
        self.assertIn("ask.lua:9: Transact pipe (", error)
        self.write("none.lua", "return 5")
        self.expect(["pipe-serve", "x", "--script", "none.lua"], 1, "",
                    "zuhost: none.lua: must return a function, returned a number value\n")


class HelperTest(Shell):
    """The example application, whose documents are made by a helper process that may die at any time."""

    def get(self, path):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        self.addCleanup(connection.close)
        connection.request("GET", path)
        answer = connection.getresponse()
        return answer.status, answer.getheader("Content-Type"), answer.read().decode()

    def helper(self):
        """The helper's process id, once the service has one whose pipe can be asked."""
        while True:
            children = Path(f"/proc/{self.service.pid}/task").glob("*/children")
            for process in " ".join(each.read_text() for each in children).split():
                asked = subprocess.run([ZUHOST, "pipe-call", "orders-document", "title\tx"], capture_output=True)
                if asked.returncode == 0:
                    return int(process)
            self.assertIsNone(self.service.poll())

    def test_killed_in_the_middle_and_the_next_click_works(self):
        os.environ["XDG_RUNTIME_DIR"] = str(self.folder)
        example = self.folder / "orders"
        shutil.copytree(REPOSITORY / "examples/orders", example, ignore=shutil.ignore_patterns("*.db*"))
        log = open(self.folder / "log", "w")
        self.addCleanup(log.close)
        self.service = subprocess.Popen([ZUHOST, "serve", "--config", example / "orders.toml", "--port", "0"], stderr=log,
                                        # a pipe of its own: other tests run the example at the same time
                                        env={**os.environ, "XDG_RUNTIME_DIR": str(self.folder)})
        self.addCleanup(self.service.wait)
        self.addCleanup(self.service.kill)
        while not (told := re.search(r"serving on http://127.0.0.1:(\d+)", (self.folder / "log").read_text())):
            self.assertIsNone(self.service.poll())
        self.port = int(told[1])
        process = self.helper()
        status, kind, text = self.get("/order/document?id=1&lang=en")
        self.assertEqual((status, kind.split(";")[0]), (200, "text/html"), text)
        self.assertIn("<h1>Order", text)
        self.assertEqual(self.get("/order/document?id=999999")[0], 404)

        os.kill(process, signal.SIGSTOP)  # the next request is on its way when the helper dies
        clicked = []
        click = threading.Thread(target=lambda: clicked.append(self.get("/order/document?id=1&lang=en")))
        click.start()
        os.kill(process, signal.SIGKILL)
        click.join()
        self.assertIn(clicked[0][0], (200, 503))
        self.assertIn("Order" if clicked[0][0] == 200 else "Documents cannot be made at the moment.", clicked[0][2])
        again = self.helper()
        self.assertNotEqual(again, process)
        self.assertEqual(self.get("/order/document?id=1")[0], 200)

        os.kill(again, signal.SIGSTOP)
        status, _, text = self.get("/order/document?id=1&lang=en")
        self.assertEqual(status, 503)
        self.assertIn("The document takes longer than usual.", text)
        self.service.send_signal(signal.SIGTERM)
        self.assertEqual(self.service.wait(60), 0)
        log = (self.folder / "log").read_text()
        self.assertIn('helper of the pipe "orders-document": was ended by signal 9', log)
        self.assertIn("starts again in 100 ms", log)


class CryptoProbeTest(Shell):
    def probe(self, *arguments, fault="", values=""):
        result = subprocess.run([ZUHOST, "crypto-probe", *arguments, os.environ["ZU_ENGINE"]], input=values.encode(),
                                capture_output=True, timeout=100, env={**os.environ, "ZU_SAMPLE_FAULT": fault})
        return result.returncode, result.stdout.decode()

    def test_tells_what_an_engine_offers_and_no_secret(self):
        code, out = self.probe("--types")
        self.assertEqual((code, out.splitlines()[1:]), (0, ["TypeA", "TypeB", "Тип В"]))
        code, out = self.probe()
        self.assertEqual(code, 0)
        self.assertIn("  Владелец=Иванов Иван\n", out)
        self.assertNotIn("k-778", out)
        sign = ("--type", "TypeA", "--sign", "--values")
        self.assertEqual(self.probe(*sign, values="PIN=0\n")[0], 1)
        code, out = self.probe(*sign, "--null", "--json", values="PIN=1234\0")
        self.assertEqual((code, json.loads(out)["engines"][0]["sign"]["signature"]["length"]), (0, 64))
        self.assertEqual(self.run_zuhost("crypto-probe", "--values", "x")[0], 2)
        self.assertEqual(self.run_zuhost("crypto-probe", "nowhere.dll")[:2], (1, self.run_zuhost(
            "crypto-probe", "nowhere.so")[1]))

    def test_faults_are_told_and_the_next_type_is_asked(self):
        # A hang is waited for as long as the bound says, the others end at once.
        for fault, bound, said in (("crash@GetCryptoParamNumber", 60000, "crashed in GetCryptoParamNumber: "),
                                   ("exit@InitCryptoEngine", 60000, "its process in InitCryptoEngine, with exit code 3"),
                                   ("hang@GetCryptoParamName", 300, "within 300 ms, in GetCryptoParamName")):
            with self.subTest(fault):
                code, out = self.probe("--timeout", str(bound), fault=fault)
                self.assertEqual(code, 1)
                self.assertEqual(out.count(said), 3, out)
        self.assertEqual(self.probe("--types", fault="noisy")[1], self.probe("--types")[1])


class GuideTest(Shell):
    def run_examples(self, guide, fewest, **variables):
        """A block with a file name behind its language is that file; a console block holds commands and their output."""
        (self.folder / "bin").mkdir()
        os.symlink(ZUHOST, self.folder / "bin/zuhost")
        environment = dict(os.environ, PATH=f"{self.folder}/bin:{os.environ['PATH']}", **variables)
        text = (REPOSITORY / guide).read_text()
        blocks = re.findall(r"^```(\w+) ?(\S*)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
        for _, name, content in blocks:
            if name:
                self.write(name, content)
        commands = 0
        for language, _, content in blocks:
            if language != "console":
                continue
            for command, expected in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", content, re.MULTILINE):
                with self.subTest(command):
                    result = subprocess.run(command, shell=True, cwd=self.folder, env=environment, timeout=100,
                                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
                    self.assertEqual(result.stdout.decode(), expected)
                    commands += 1
        self.assertGreaterEqual(commands, fewest)

    def test_examples_of_the_guide_give_what_it_shows(self):
        self.run_examples("docs/zuhost.md", 7)

    def test_examples_of_automation_give_what_they_show(self):
        self.run_examples("docs/automation.md", 4)

    def test_class_is_published_in_ten_minutes(self):
        self.run_examples("docs/scripting.md", 3, ZUTOOLS=os.environ["ZU_BUILD"])

    def test_library_that_cannot_be_used_refuses_the_start(self):
        self.write("a.toml", '[[library]]\nfile = "none.so"\n')
        self.write("a.lua", "")
        error = f'a.toml:2:8: library "{self.folder}/none.so": there is no such file\n'
        for command in (["run", "--config", "a.toml", "a.lua"], ["serve", "--config", "a.toml"],
                        ["api", "--config", "a.toml"]):
            code, out, told = self.run_zuhost(*command)
            self.assertEqual((code, out), (1, ""))
            self.assertTrue(told.endswith(error), told)


class ServeTest(Shell):
    CONFIG = ('port = 0\ntemplates = "pages"\nmodules = "modules"\nsetup = "setup.lua"\nlanguages = ["en"]\n'
              'default_language = "en"\n'
              '[routes]\n"/" = "hello.lua"\n')

    def setUp(self):
        super().setUp()
        self.write("pages/hello.html", "<p>[[X]]</p>")
        self.write("modules/setup.lua", "assert(ParamsChecker:CheckParamValue('a', 'b', true) and RecordBlocker and ThreadData and Session)")
        self.write("modules/hello.lua", """
            local page = zu.create("TTemplate")
            page.Name = "hello.html"
            page.X = request.Params.Value["x"]
            response:Write(page:BuildTemplate())""")

    def test_serves_until_told_to_stop(self):
        self.write("zuhost.toml", self.CONFIG)
        for stop in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(stop), subprocess.Popen([ZUHOST, "serve"], cwd=self.folder, stdout=subprocess.PIPE,
                                                      stderr=subprocess.PIPE, text=True) as server:
                try:
                    for line in server.stderr:
                        if "serving on http://" in line:
                            break
                    else:
                        self.fail("it does not serve")
                    address = line.split("http://")[1].strip().rstrip("/")
                    connection = http.client.HTTPConnection(address, timeout=30)
                    connection.request("GET", "/?x=%D0%B9")
                    answer = connection.getresponse()
                    self.assertEqual((answer.status, answer.read().decode()), (200, "<p>й</p>"))
                    connection.close()
                    server.send_signal(stop)
                    out, _ = server.communicate(timeout=60)
                    self.assertEqual((server.returncode, out), (0, ""))
                finally:
                    if server.poll() is None:
                        server.kill()

    def start(self, config):
        """A service with that configuration, ended with the test; its address."""
        self.write("zuhost.toml", config)
        server = subprocess.Popen([ZUHOST, "serve"], cwd=self.folder, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.PIPE, text=True)
        self.addCleanup(server.stderr.close)
        self.addCleanup(server.wait, 60)
        self.addCleanup(server.terminate)
        for line in server.stderr:
            if "serving on http://" in line:
                return server, line.split("http://")[1].strip().rstrip("/")
        self.fail("it does not serve")

    def get(self, address, target, cookie=None):
        connection = http.client.HTTPConnection(address, timeout=30)
        self.addCleanup(connection.close)
        connection.request("GET", target, headers={"Cookie": cookie} if cookie else {})
        answer = connection.getresponse()
        return answer.status, answer.read().decode(), (answer.getheader("Set-Cookie") or "").split(";")[0]

    def test_blocks_of_a_running_service(self):
        self.write("modules/lock.lua", """
            local name = request.Params.Value["t"]
            if name ~= "" then RecordBlocker:LockTable(name) end
            response:Write(tostring(zu.blocks.holder("Orders", "1") ~= nil))""")
        config = self.CONFIG + '"/lock" = "lock.lua"\n[admin]\nsocket = "run/admin.socket"\n'
        server, address = self.start(config)
        self.expect(["blocks", "list"], 0, "no blocks\n")
        self.expect(["blocks", "list", "--json"], 0, "[]\n")
        _, held, cookie = self.get(address, "/lock?t=Orders")
        self.assertEqual(held, "true")

        code, out, error = self.run_zuhost("blocks", "list")
        self.assertEqual((code, error), (0, ""))
        first, newest = out.splitlines()
        self.assertRegex(first, r"^[0-9A-F]{32} LockTable Orders, not signed in, since \d{4}-\d\d-\d\d \d\d:\d\d:\d\d")
        block = first.split()[0]
        history = self.run_zuhost("blocks", "list", "--history")[1]
        self.assertIn("lock.lua:3: in main chunk", history)
        listed = json.loads(self.run_zuhost("blocks", "list", "--json")[1])
        self.assertEqual([(one["id"], one["table"], one["action"]) for one in listed], [(block, "Orders", "LockTable")])

        unknown = "0" * 32
        self.expect(["blocks", "release", unknown], 1, "", f"zuhost: there is no block {unknown}\n")
        self.expect(["blocks", "release", block], 0, f"released {block}\n")
        self.expect(["blocks", "list"], 0, "no blocks\n")
        self.assertEqual(self.get(address, "/lock", cookie)[1], "false")

        server.terminate()
        log = server.stderr.read()
        self.assertRegex(log, r"released by \S.*: LockTable of table Orders")
        self.assertEqual(self.run_zuhost("blocks", "list")[0], 1)

    def test_blocks_go_with_their_session(self):
        self.write("modules/lock.lua", """
            if request.Params.Value["t"] ~= "" then RecordBlocker:LockTable(request.Params.Value["t"]) end
            if request.Params.Value["out"] ~= "" then session.sign_out() end
            response:Write(tostring(zu.blocks.holder("Orders", "1") ~= nil))""")
        config = self.CONFIG + '"/lock" = "lock.lua"\n[session]\nidle_seconds = 1\n'
        _, address = self.start(config)
        self.assertEqual(self.get(address, "/lock?t=Orders&out=1")[1], "false")
        self.assertEqual(self.get(address, "/lock?t=Orders")[1], "true")
        deadline = time.monotonic() + 60
        while "no blocks" not in self.run_zuhost("blocks", "list")[1]:
            self.assertLess(time.monotonic(), deadline, "the block outlives its session")

    def test_blocks_without_a_service(self):
        self.write("zuhost.toml", self.CONFIG)
        code, out, error = self.run_zuhost("blocks", "list")
        self.assertEqual((code, out), (1, ""))
        self.assertTrue(error.startswith("zuhost: the service is not running"), error)
        self.write("off.toml", self.CONFIG + "[admin]\nenabled = false\n")
        self.expect(["blocks", "list", "--config", "off.toml"], 1, "",
                    "zuhost: the configuration says admin.enabled = false\n")
        cases = {
            "no action": (["blocks"], "blocks: the action is missing; there are list, release"),
            "unknown action": (["blocks", "drop"], 'blocks: unknown action "drop"; there are list, release'),
            "release without ID": (["blocks", "release"], "blocks: release takes the ID of one block"),
            "list with a name": (["blocks", "list", "x"], "blocks: list takes no further names"),
        }
        for name, (arguments, message) in cases.items():
            with self.subTest(name):
                code, out, error = self.run_zuhost(*arguments)
                self.assertEqual((code, out), (2, ""))
                self.assertTrue(error.startswith("zuhost: " + message), error)

    def test_bad_configurations(self):
        self.write("typo.toml", "tempaltes = 'x'\n" + self.CONFIG)
        code, out, error = self.run_zuhost("serve", "--config", "typo.toml")
        self.assertEqual((code, out), (1, ""))
        self.assertIn("typo.toml:1:", error)
        self.assertIn('"templates"', error)
        self.assertEqual(self.run_zuhost("serve")[:2], (1, ""))


if __name__ == "__main__":
    unittest.main()
