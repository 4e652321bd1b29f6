#!/usr/bin/env python3
"""Sessions and sign-ins: guessed passwords, users who are gone, one client who takes everything."""

import unittest

from service import ServiceTest


class SignInsTest(ServiceTest):
    modules = {"page.lua": 'response:Write("here")'}
    config = "[limits]\nthreads = 2\n"

    def test_pages_come_while_passwords_are_guessed(self):
        self.add_user("anna")
        self.start()
        form = self.ask("/signin")

        def work(number):
            if number % 4 == 0:
                return self.ask("/page").body
            return self.ask("/signin", {"form_token": form.body, "user": f"u{number}", "password": "wrong"},
                            form.cookie).body
        answers = self.at_once(64, work)
        self.assertEqual(set(answers[::4]), {"here"})
        guesses = [answer for number, answer in enumerate(answers) if number % 4]
        self.assertLessEqual(set(guesses), {"refused", "wait"})
        self.assertLessEqual(guesses.count("refused"), 20)  # the address has no more tries
        self.assertEqual(self.sign_in("anna").body, "wait")


class SessionsTest(ServiceTest):
    modules = {
        "who.lua": 'response:Write(session.user .. ":" .. request.FormToken)',
        "lock.lua": 'RecordBlocker:LockTable("A")',
        "held.lua": 'response:Write(tostring(zu.blocks.holder("A", "1") ~= nil))',
        "setup.lua": 'if db.select("SELECT count(*) AS N FROM sqlite_master WHERE name = \'A\'")[1].N == 0 then '
                     'db.exec("CREATE TABLE A (B INTEGER PRIMARY KEY)") end',
    }

    def setUp(self):
        super().setUp()
        toml = self.folder / "zuhost.toml"
        toml.write_text('setup = "setup.lua"\n' + toml.read_text())

    def user_of(self, cookie):
        return self.ask("/who", cookie=cookie).body.split(":")[0]

    def test_sessions_end_with_their_user(self):
        for name in ("anna", "boris", "vera"):
            self.add_user(name)
        self.start()
        cookies = {name: self.sign_in(name).cookie for name in ("anna", "boris", "vera")}
        other = self.sign_in("anna").cookie
        for name, cookie in cookies.items():
            self.assertEqual(self.user_of(cookie), name)
        self.zuhost("users", "--config", "zuhost.toml", "password", "anna", input="another horse\n")
        self.zuhost("users", "--config", "zuhost.toml", "disable", "boris")
        self.zuhost("users", "--config", "zuhost.toml", "remove", "vera")
        self.add_user("vera", "--administrator")  # another one
        for cookie in [*cookies.values(), other]:
            self.assertEqual(self.user_of(cookie), "")
        self.assertEqual(self.sign_in("anna", "another horse").body, "ok")

    def test_sessions_are_listed_and_ended(self):
        self.add_user("anna")
        self.start()
        first, second = self.sign_in("anna"), self.sign_in("anna")
        self.assertEqual(self.zuhost("sessions", "list").count("anna, from 127.0.0.1, for 0:00:0"), 2)
        sid = self.zuhost("sessions", "list").split()[0]
        self.assertEqual(self.zuhost("sessions", "end", sid), "ended 1\n")
        self.assertEqual(sorted([self.user_of(first.cookie), self.user_of(second.cookie)]), ["", "anna"])
        self.assertEqual(self.zuhost("sessions", "end", "--user", "ANNA"), "ended 1\n")
        self.assertEqual(self.zuhost("sessions", "list"), "no sessions\n")

    def test_visitors_push_nobody_out(self):
        self.config = "[session]\ncount = 3\n"
        self.write_config()
        self.add_user("anna")
        self.start()
        user = self.sign_in("anna").cookie
        visitor = self.ask("/who")
        self.ask("/lock", cookie=visitor.cookie)
        for _ in range(50):
            self.ask("/who")
        self.assertEqual(self.user_of(user), "anna")
        self.assertEqual(self.ask("/who", cookie=visitor.cookie).body, visitor.body)
        self.assertEqual(self.ask("/held").body, "true")
        self.assertEqual(len(self.zuhost("sessions", "list").splitlines()), 2)


if __name__ == "__main__":
    unittest.main()
