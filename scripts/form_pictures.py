#!/usr/bin/env python3
"""The pictures of docs/settings.md: a window on a screen in memory as a person leaves it, and as another run of the
program shows it. They must be the same.

    form_pictures.py FORM_PROGRAM FOLDER
"""

import os
import pathlib
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/controls"))
from forms_test import Display, Form  # noqa: E402


def main(program, folder):
    os.environ["FORM_PROGRAM"] = program
    display = Display("900x560")
    try:
        with tempfile.TemporaryDirectory() as kept:
            settings = pathlib.Path(kept) / "orders.ini"
            names = [pathlib.Path(folder) / f"form-{name}.png" for name in ("first", "left", "back")]
            for name in names:
                with Form(settings, display.environment) as form:
                    form.order("fill")
                    form.place("show")
                    if name == names[1]:
                        form.place("move 120 60")
                        form.place("resize 640 380")
                        form.order("arrange")
                        form.order("text Customer Anna Petrova")
                        form.order("text City Minsk")
                    if form.order(f"picture {name.resolve()}") != "picture":
                        raise RuntimeError(f"no picture {name}")
                    print(name)
                    form.order("close")
            if names[1].read_bytes() != names[2].read_bytes():
                raise RuntimeError("the window did not come back as it was left")
    finally:
        display.close()


if __name__ == "__main__":
    main(*sys.argv[1:])
