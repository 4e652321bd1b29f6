"""What a screen reader is told of the gallery: under Xvfb, over a session bus and an accessibility bus of the test's own,
a client of AT-SPI that shares no code with the controls prints the tree of each panel and works it. Every wait is for
something to be seen, with a bound.

ZUFORMS names the program. `accessible_test.py PANEL ...` prints these panels only."""

import contextlib
import os
import pathlib
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

from forms_test import LIMIT, Display

ACTIONS = {"push button": {"Press"}, "check box": {"Toggle"}, "combo box": {"ShowMenu"}, "page tab": {"Press"},
           "spin button": {"Increase", "Decrease"}, "text": {"SetFocus"}}


class Bus:
    """A session bus that starts the accessibility bus when somebody asks for it."""

    def __init__(self, environment):
        self.process = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                                        env={**os.environ, **environment})
        if not select.select([self.process.stdout], [], [], LIMIT)[0]:
            raise TimeoutError("dbus-daemon")
        self.address = self.process.stdout.readline().strip()

    def close(self):
        self.process.terminate()
        self.process.wait(LIMIT)
        self.process.stdout.close()


def until(happened, what):
    """What `happened` returns, as soon as that is something; events are taken meanwhile."""
    context = GLib.MainContext.default()
    end = time.monotonic() + LIMIT
    while time.monotonic() < end:
        with contextlib.suppress(GLib.Error):  # it went while it was asked
            if result := happened():
                return result
        wake = GLib.timeout_source_new(50)
        wake.set_callback(lambda *_: GLib.SOURCE_REMOVE)
        wake.attach(context)
        context.iteration(True)
        wake.destroy()
    raise TimeoutError(what)


class Node:
    """An object as a client sees it now."""

    def __init__(self, own, depth=0):
        own.clear_cache()
        self.own, self.depth = own, depth
        self.role, self.name = own.get_role_name(), own.get_name() or ""
        self.description = own.get_description() or ""
        self.labels = [relation.get_target(0).get_name() for relation in own.get_relation_set()
                       if relation.get_relation_type() == Atspi.RelationType.LABELLED_BY]
        self.states = {state.value_nick for state in own.get_state_set().get_states()}
        action = own.get_action_iface()
        self.actions = [Atspi.Action.get_action_name(action, index)
                        for index in range(Atspi.Action.get_n_actions(action))] if action else []
        value = own.get_value_iface()
        keys = {Atspi.Action.get_key_binding(action, index).upper() for index in range(len(self.actions))}
        self.keys = {key for key in keys if key.startswith("ALT+") and self.role != "page tab list"}  # that has its tab's
        self.value = tuple(float(get(value)) for get in (Atspi.Value.get_minimum_value, Atspi.Value.get_current_value,
                                                         Atspi.Value.get_maximum_value)) if value else None
        self.rows = self.cells() if self.role == "table" else []
        self.children = []
        if "manages-descendants" not in self.states:  # tables tell their cells when they are asked for
            for index in range(own.get_child_count()):
                child = own.get_child_at_index(index)
                if child is not None:
                    self.children.append(Node(child, depth + 1))

    def cells(self, most=100):
        """The first rows as a client reads a table that keeps its cells for itself: by row and column."""
        table = self.own.get_table_iface()
        return [[Node(Atspi.Table.get_accessible_at(table, row, column), self.depth + 1)
                 for column in range(Atspi.Table.get_n_columns(table))]
                for row in range(min(most, Atspi.Table.get_n_rows(table)))]

    def texts(self):
        return [[cell.name for cell in row] for row in self.rows]

    def __iter__(self):
        yield self
        for row in self.rows:
            yield from row
        for child in self.children:
            yield from child

    def __str__(self):
        said = [self.role, f'"{self.name}"']
        if self.description:
            said.append(f"({self.description!r})")
        if self.value:
            said.append("value " + "<".join(f"{number:g}" for number in self.value))
        said += [state for state in ("busy", "read-only", "checked") if state in self.states]
        said += [f'labelled "{label}"' for label in self.labels]
        if self.actions:
            said.append("actions " + ",".join(self.actions))
        return "  " * self.depth + " ".join(said)

    def called(self):
        """What a screen reader can call it: a drop-down's own name is its text."""
        named = [self.name] if self.role != "combo box" else []
        return [text for text in (*named, self.description, *self.labels) if text]

    def find(self, role, name):
        return next((node for node in self
                     if node.role == role and name in node.called() and "showing" in node.states), None)

    def act(self, name):
        Atspi.Action.do_action(self.own.get_action_iface(), self.actions.index(name))


class Gallery:
    """zuforms on one panel, and its tree."""

    def __init__(self, panel, folder, environment, language="en"):
        chosen = ["--panel", panel] if panel else []
        self.process = subprocess.Popen(
            [os.environ["ZUFORMS"], *chosen, "--language", language, "--store", str(folder / "zuforms.ini")],
            env={**os.environ, **environment, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"})

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait(LIMIT)

    def windows(self):
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        for index in range(desktop.get_child_count()):
            program = desktop.get_child_at_index(index)
            if program is not None and program.get_process_id() == self.process.pid:
                return [window for window in Node(program).children if "showing" in window.states]
        return []

    def find(self, role, name):
        return until(lambda: next((found for window in self.windows() if (found := window.find(role, name))), None),
                     f'{role} "{name}"')

    def gone(self, role, name):
        until(lambda: not any(window.find(role, name) for window in self.windows()), f'{role} "{name}" to go')


# Of each panel: what stands in it as (role, name), and what of it is looked at closer.
PANELS = {
    "ask": [("push button", "Ask for values")],
    "crypto": [("combo box", "CryptoEngine type:"), ("table", "Parameters of the engine"), ("push button", "Check"),
               ("push button", "Import from file"), ("check box", "Show the secret")],
    "folder": [("push button", "Choose a folder")],
    "logfile": [("text", "Path of the file"), ("push button", "Choose the file"), ("push button", "Open..."),
                ("check box", "Ограничение на размер файла"), ("combo box", "Unit of the size"),
                ("spin button", "Ограничение на размер файла"), ("text", "ID трассировки:")],
    "message": [("push button", "Show the message box"), ("push button", "Question")],
    "params": [("table", "Parameters"), ("text", "Filter"), ("push button", "Actions")],
    "path": [("combo box", "File to import:"), ("push button", "Choose")],
    "progress": [("progress bar", "Progress"), ("progress bar", "csGreen"), ("progress bar", "Standing")],
    "wave": [("progress bar", "Loading orders")],
}


DOTS = "\N{BULLET}" * 8
# Of these panels: the table, its cells after each of the states, and the secrets that nobody is told of.
SECRETS = {
    "crypto": ("Parameters of the engine",
               {"With a private key": [["Algorithm", "Ed25519"], ["Private key", DOTS], ["Comment", "For the orders"]],
                "With a PIN": [["Владелец", "Иванов Иван"], ["Container", "main"], ["PIN", DOTS], ["RootPath", ...]]},
               ("k-778", "1234"), ("CryptoParams", DOTS)),
    "params": ("Parameters",
               {"A service": [["Host", "orders.example", "Where the service runs"], ["Port", "8080", "From 1 to 65535"],
                              ["Since", "2026-11-21", ""], ["Mode", "safe", ""], ["Log", "/var/log/orders.log", ""],
                              ["Color", "#2f7fd1", ""], ["Retry", "Yes", ""], ["Title", "Orders", "Without < and >"],
                              ["Password", DOTS, ""]]},
               ("not shown",), ("Text", DOTS)),
}


class AccessibleTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.display = Display()
        cls.addClassCleanup(cls.display.close)
        cls.environment = {**cls.display.environment, "GSETTINGS_BACKEND": "memory", "NO_AT_BRIDGE": "0"}
        bus = Bus(cls.environment)
        cls.addClassCleanup(bus.close)
        cls.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address
        os.environ.update(cls.environment)
        global Atspi, Gio, GLib, PORTAL  # they look for their bus when they are loaded
        import gi
        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi, Gio, GLib
        PORTAL = Gio.DBusNodeInfo.new_for_xml("""<node><interface name="org.freedesktop.portal.FileChooser">
            <method name="OpenFile"><arg type="s" direction="in"/><arg type="s" direction="in"/>
            <arg type="a{sv}" direction="in"/><arg type="o" direction="out"/></method></interface></node>""")
        Atspi.init()
        Atspi.set_timeout(LIMIT * 1000, LIMIT * 1000)

    def gallery(self, panel, **more):
        return Gallery(panel, self.folder, self.environment, **more)

    def check(self, window):
        """What holds of everything that can be seen, in any language."""
        keys = {}
        for node in window:
            if "showing" not in node.states or node.role == "table cell":  # a cell may be empty
                continue
            passes_on = any("focusable" in other.states for other in node if other is not node)
            if "focusable" in node.states and not passes_on:
                self.assertTrue(node.called(), f"{node} has no name")
                self.assertNotIn(node.role, ("filler", "panel", "unknown"), str(node))
            if "sensitive" in node.states:
                self.assertTrue(ACTIONS.get(node.role, set()) <= set(node.actions), str(node))
            for key in node.keys:
                self.assertNotIn(key, keys, f"{node} and {keys.get(key)} have one access key")
                keys[key] = node
        return keys

    def test_panels_tell_what_stands_on_them(self):
        listed = subprocess.run([os.environ["ZUFORMS"], "--list"], capture_output=True, text=True, check=True)
        for panel in sys.argv[1:] or listed.stdout.split():
            for language, tab in ("en", "Properties"), ("ru", "Свойства"):
                with self.subTest(panel, language=language), self.gallery(panel, language=language) as gallery:
                    gallery.find("page tab", tab)
                    window = gallery.windows()[0]
                    keys = self.check(window)
                    self.assertGreaterEqual(len(keys), 3, "the tabs have access keys")
                    if language == "en":
                        print(f"\n== {panel}", *window, sep="\n", flush=True)
                        for role, name in PANELS.get(panel, []):
                            gallery.find(role, name)

    def test_every_cell_is_read_and_no_secret(self):
        for panel, (name, states, secrets, inspected) in SECRETS.items():
            with self.subTest(panel), self.gallery(panel) as gallery:
                for state, wanted in states.items():
                    gallery.find("push button", state).act("Press")
                    until(lambda: gallery.find("table", name).texts()[0] == wanted[0], state)
                    read = gallery.find("table", name).texts()
                    self.assertEqual([[told if told is not ... else cell for told, cell in zip(*rows, strict=True)]
                                      for rows in zip(wanted, read, strict=True)], read)
                    self.assertIn(list(inspected), gallery.find("table", "Properties").texts())
                told = "\n".join(map(str, gallery.windows()[0]))
                for secret in secrets:
                    self.assertNotIn(secret, told)

    def test_pictures_are_alike_whatever_the_secret(self):
        built = pathlib.Path(os.environ["ZUFORMS"])
        zuforms = pathlib.Path(shutil.copy(built, self.folder))  # it takes the engine that stands beside it
        engine = (built.parent / "../../examples/cryptengine/CryptCore2x.so").read_bytes()
        pictures = []
        for before, after in ("", ""), ("k-778", "W_999"), ("Ed25519", "Ed448__"):
            (self.folder / "CryptCore2x.so").write_bytes(engine.replace(before.encode("utf-16le"), after.encode("utf-16le"))
                                                         if before else engine)
            picture = self.folder / "crypto.png"
            subprocess.run([zuforms, "--shot", "crypto", picture], check=True,
                           env={**os.environ, "QT_QPA_PLATFORM": "offscreen"})
            pictures.append(picture.read_bytes())
        self.assertEqual(pictures[0], pictures[1])
        self.assertNotEqual(pictures[0], pictures[2])

    def test_the_panel_comes_back_unless_another_is_asked_for(self):
        store = self.folder / "zuforms.ini"
        panels = subprocess.run([os.environ["ZUFORMS"], "--list"], capture_output=True, text=True, check=True).stdout
        store.write_text(f"[Gallery]\nPanels_currentRow={panels.split().index('progress')}\n")
        self.addCleanup(store.unlink)
        with self.gallery(None) as gallery:
            gallery.find("progress bar", "csGreen")
        with self.gallery("wave") as gallery:
            gallery.find("progress bar", "Loading orders")

    def test_values_follow(self):
        with self.gallery("progress") as gallery:
            self.assertEqual(gallery.find("progress bar", "Progress").value, (0, 65, 100))
            gallery.find("push button", "Half done").act("Press")
            until(lambda: gallery.find("progress bar", "Progress").value == (0, 50, 100), "50 of 100")
            gallery.find("push button", "Unknown end").act("Press")
            until(lambda: "busy" in gallery.find("progress bar", "Progress").states, "busy")

    def test_dialogs_are_worked_by_actions_alone(self):
        for panel, opener, title, inside, closer in (
                ("message", "Show the message box", "Orders", ("push button", "Discard"), "Save"),
                ("folder", "Choose a folder", "Select Folder", ("tree", "Folders"), "Cancel")):
            with self.subTest(panel), self.gallery(panel) as gallery:
                gallery.find("push button", opener).act("Press")
                gallery.find(*inside)
                box = next(window for window in gallery.windows() if window.name == title)
                print(f"\n== {title}", *box, sep="\n", flush=True)
                self.assertEqual(box.role, "dialog")
                self.check(box)
                if panel == "message":
                    self.assertTrue(box.find("image", "Question"))
                    self.assertIn("Order 1042 was changed by somebody else.", box.description)
                box.find("push button", closer).act("Press")
                gallery.gone(*inside)

    def test_the_portals_dialog_is_asked(self):
        bus = Gio.bus_get_sync(Gio.BusType.SESSION)
        asked = []

        def answer(_connection, sender, _path, _interface, method, arguments, call):
            _window, title, options = arguments.unpack()
            asked.append((method, title, bytes(options.get("current_folder", b""))))
            handle = f"/org/freedesktop/portal/desktop/request/{sender[1:].replace('.', '_')}/{options['handle_token']}"
            call.return_value(GLib.Variant("(o)", (handle,)))
            code, uris = answers.pop(0)
            bus.emit_signal(sender, handle, "org.freedesktop.portal.Request", "Response",
                            GLib.Variant("(ua{sv})", (code, {"uris": GLib.Variant("as", uris)})))

        answers = [(1, []), (0, ["file:///srv/orders%202026.csv"])]
        registered = bus.register_object("/org/freedesktop/portal/desktop", PORTAL.interfaces[0], answer)
        self.addCleanup(bus.unregister_object, registered)
        owned = Gio.bus_own_name_on_connection(bus, "org.freedesktop.portal.Desktop", Gio.BusNameOwnerFlags.NONE)
        self.addCleanup(Gio.bus_unown_name, owned)
        with self.gallery("path") as gallery:
            for wanted in "/home/anna/orders-2026.csv", "/srv/orders 2026.csv":
                before = len(asked)
                gallery.find("push button", "Choose").act("Press")
                until(lambda: len(asked) > before, "the portal is asked")
                until(lambda: gallery.find("combo box", "File to import:").name == wanted, wanted)
        self.assertEqual(asked, [("OpenFile", "", b"/home/anna\0")] * 2)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], warnings="ignore")
