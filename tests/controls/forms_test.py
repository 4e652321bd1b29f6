"""A program with a window on real screens: under Xvfb with a window manager, and on Qt's offscreen platform with
screens of any number, place and scale. Every wait is for something to happen, with a bound.

FORM_PROGRAM names the program (FormProgram.cpp tells its orders), CONTROLS_TESTS the tests of the controls."""

import json
import os
import pathlib
import select
import shutil
import subprocess
import tempfile
import time
import unittest

LIMIT = 30  # seconds


class Form:
    """The program and its answers."""

    def __init__(self, settings, environment):
        self.process = subprocess.Popen([os.environ["FORM_PROGRAM"], str(settings)], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True, env={**os.environ, **environment})

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.wait(LIMIT)
        self.process.stdout.close()

    def order(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        if not select.select([self.process.stdout], [], [], LIMIT)[0]:
            self.process.kill()
            raise TimeoutError(line)
        return self.process.stdout.readline().strip()

    def place(self, line):
        """(x, y, width, height, state, screen) after an order."""
        answer = self.order(line).split()
        assert answer[:1] == ["shown"], (line, answer)
        return (*map(int, answer[1:5]), *answer[5:7])

    def comes_to(self, wanted, again="where"):
        """The place as soon as it is the wanted one, or as it is in the end: the window manager has its time. `again` is
        ordered until then: a move is lost when the frame comes after it."""
        end = time.monotonic() + LIMIT
        while (place := self.place("where"))[:len(wanted)] != wanted and time.monotonic() < end:
            self.place(again)
        return place[:len(wanted)]


class Display:
    """A screen in memory with a window manager, on a display number that the server finds itself."""

    def __init__(self, size="1280x800"):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        ready, told = os.pipe()
        self.server = subprocess.Popen(["Xvfb", "-displayfd", str(told), "-screen", "0", size + "x24", "-nolisten", "tcp"],
                                       pass_fds=[told], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(told)
        with open(ready) as number:
            if not select.select([number], [], [], LIMIT)[0]:
                raise TimeoutError("Xvfb")
            display = ":" + number.readline().strip()
        self.environment = {"DISPLAY": display, "QT_QPA_PLATFORM": "xcb", "HOME": str(self.folder),
                            "XDG_RUNTIME_DIR": str(self.folder)}
        # openbox starts a program when it manages windows: what that writes is the sign.
        os.mkfifo(self.folder / "sign")
        sign = os.open(self.folder / "sign", os.O_RDWR)
        self.manager = subprocess.Popen(["openbox", "--startup", f"sh -c 'echo ready >{self.folder}/sign'"],
                                        env={**os.environ, **self.environment},
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        managed = select.select([sign], [], [], LIMIT)[0]
        os.close(sign)
        if not managed:
            self.close()
            raise TimeoutError("openbox")

    def close(self):
        for process in (self.manager, self.server):
            process.terminate()
            process.wait(LIMIT)
        shutil.rmtree(self.folder)


class WithFolder(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.settings = self.folder / "form.ini"


class DesktopTest(WithFolder):
    """Move, size, maximize, minimize, close, open again, compare."""

    def setUp(self):
        super().setUp()
        self.display = Display()
        self.addCleanup(self.display.close)

    def form(self):
        return Form(self.settings, self.display.environment)

    def test_everything_comes_back(self):
        placed = (210, 140, 610, 390, "normal")
        with self.form() as form:
            form.place("show")
            form.place("move 210 140")
            form.place("resize 610 390")
            self.assertEqual(form.comes_to(placed), placed)
            form.order("text Customer Анна")
            self.assertEqual(form.order("close"), "closed")
            self.assertEqual(form.place("show")[2:4], placed[2:4])  # of the same process
            form.place("move 210 140")
            self.assertEqual(form.comes_to(placed, "move 210 140"), placed)
            form.order("close")
        for _ in range(3):  # and of others: it does not wander by its frame
            with self.form() as form:
                form.place("show")
                self.assertEqual(form.comes_to(placed), placed)
                self.assertEqual(form.order("text Customer"), "text Анна")
                form.order("close")
        for state in ("maximize", "minimize"):
            with self.form() as form:
                form.place("show")
                self.assertEqual(form.comes_to(placed), placed)
                large = form.place(state)
                form.order("close")
            with self.form() as form:
                again = form.place("show")
                if state == "maximize":
                    self.assertEqual(again[2:], large[2:])
                    self.assertGreater(again[2], placed[2])
                form.place("normal")
                form.place("move 210 140")
                self.assertEqual(form.comes_to(placed, "move 210 140"), placed, state)
                form.order("close")

    def test_the_crypto_editor_is_worked_by_keys(self):
        # The system's D-Bus library leaks on a real screen; the same test looks for our leaks without one.
        done = subprocess.run([os.environ["CONTROLS_TESTS"], "--gtest_filter=CrprmsedTest.ByKeyboard*"],
                              env={**os.environ, **self.display.environment,
                                   "ASAN_OPTIONS": "detect_leaks=0:strict_string_checks=0"},
                              capture_output=True, text=True)
        self.assertIn("[  PASSED  ] 1 test", done.stdout, done.stderr)
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_a_lost_window_comes_back_to_the_screen(self):
        for stored in ("-5000,-5000,-4400,-4600", "9000,20,9600,400", "300,790,900,1200"):
            self.settings.write_text(f"[OrderForm]\nNormPos={stored}\nPixelsPerInch=96\n")
            with self.form() as form:
                x, y, width, height, *_ = form.place("show")
                left, top, right, bottom = map(int, stored.split(","))
                self.assertEqual((width, height), (right - left, bottom - top))
                self.assertGreaterEqual(min(x + width, 1280) - max(x, 0), 96, stored)
                self.assertTrue(0 <= y <= 800 - 20, (stored, y))
                form.order("close")


def screens(*rows):
    """Each (name, x, y, width, height, scale)."""
    return {"screens": [{"name": name, "x": x, "y": y, "width": width, "height": height, "logicalDpi": 96,
                         "logicalBaseDpi": 96, "dpr": scale} for name, x, y, width, height, scale in rows]}


class ScreensTest(WithFolder):
    """Screens that come, go, move and change their scale between two runs."""

    def form(self, layout):
        file = self.folder / "screens.json"
        file.write_text(json.dumps(layout))
        return Form(self.settings, {"QT_QPA_PLATFORM": f"offscreen:configfile={file}",
                                    "XDG_RUNTIME_DIR": str(self.folder)})

    def test_the_window_is_where_it_was_or_in_reach(self):
        one, two = ("one", 0, 0, 1920, 1080, 1), ("two", 1920, 0, 2560, 1440, 1)
        left, scaled = ("two", -2560, 0, 2560, 1440, 1), ("two", 1920, 0, 2560, 1440, 2)
        small = ("one", 0, 0, 1280, 800, 1)
        rows = [  # stored on, at, shown on, screen, whether it stays where it was
            ("the same", [one, two], (2100, 300), [one, two], "two", True),
            ("the second is gone", [one, two], (2100, 300), [one], "one", False),
            ("the second on the other side", [one, left], (-900, 300), [one, two], "one", False),
            ("the second scaled", [one, two], (2100, 300), [one, scaled], "two", True),
            ("the first smaller", [one, two], (900, 700), [small], "one", True),
            ("the first far smaller", [one, two], (1500, 1000), [small], "one", False),
        ]
        for name, before, (x, y), after, screen, stays in rows:
            with self.subTest(name):
                self.settings.unlink(missing_ok=True)
                with self.form(screens(*before)) as form:
                    form.place("show")
                    form.place("resize 600 400")
                    form.place(f"move {x} {y}")
                    form.order("close")
                with self.form(screens(*after)) as form:
                    now = form.place("show")
                    form.order("close")
                self.assertEqual(now[2:4], (600, 400))
                self.assertEqual(now[5], screen)
                self.assertEqual(now[0:2] == (x, y), stays, now)
                areas = [(row[1], row[2], row[1] + row[3] // row[5], row[2] + row[4] // row[5]) for row in after]
                self.assertTrue(any(min(now[0] + 600, right) - max(now[0], left) >= 96 and top <= now[1] < bottom
                                    for left, top, right, bottom in areas), now)

    def test_another_density_of_the_first_screen_is_not_applied(self):
        with self.form(screens(("one", 0, 0, 1920, 1080, 1))) as form:
            form.place("show")
            form.place("resize 600 400")
            form.place("move 300 200")
            form.order("close")
        with self.form(screens(("one", 0, 0, 3840, 2160, 2))) as form:
            self.assertEqual(form.place("show")[2:4], (520, 320))  # as it was designed


class ProgramsTest(WithFolder):
    """Two programs that keep their forms in one file, at the same time."""

    def test_they_lose_nothing_of_each_other(self):
        environment = {"QT_QPA_PLATFORM": "offscreen", "XDG_RUNTIME_DIR": str(self.folder)}
        self.settings.write_text("; by hand\n[Other]\nkept = as it is\n")
        with Form(self.settings, environment) as first, Form(self.settings, environment) as second:
            for form in (first, second):
                form.place("show")
            first.order("text Customer Anna")
            second.order("text City Minsk")
            for form in (first, second):  # sent together, answered each in its time
                form.process.stdin.write("close\n")
                form.process.stdin.flush()
            for form in (first, second):
                self.assertEqual(form.process.stdout.readline().strip(), "closed")
        with Form(self.settings, environment) as third:
            third.place("show")
            told = {third.order("text Customer"), third.order("text City")}
        self.assertTrue(told & {"text Anna", "text Minsk"}, told)  # of a key that both wrote the later one stays
        self.assertTrue(self.settings.read_text().startswith("; by hand\n[Other]\nkept = as it is\n"))


if __name__ == "__main__":
    unittest.main()
