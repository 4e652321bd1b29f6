#!/usr/bin/python3
"""The pictures of the documentation, taken of the running example application.

    pictures.py ZUHOST FOLDER
"""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/browser"))
import blocking  # noqa: E402
from application import Page, Server, new_browser  # noqa: E402


def of_two_people(server, folder):
    first, second = new_browser(1280, 760), new_browser(1280, 480)
    try:
        anna, mark = Page(first, server.url), Page(second, server.url)

        def picture(page, name):
            page.browser.save_screenshot(str(folder / name))
            print(folder / name)

        anna.open("/signin?lang=ru")
        anna.browser.set_window_size(1280, 900)
        picture(anna, "sign-in.png")
        anna.browser.set_window_size(1280, 760)
        team = blocking.Team(server, anna, mark)
        anna, mark, order = team.sign_in("anna", "mark")
        blocking.edit(anna, order)
        anna.fill("note", "Позвонить до обеда")
        picture(anna, "edit.png")
        blocking.edit(mark, order)
        picture(mark, "conflict.png")
        mark.sign_in("admin")
        mark.open("/admin/blocks?lang=ru")
        picture(mark, "blocks.png")
        with team.database() as database:
            database.execute("UPDATE Orders SET Note = 'Звонить после обеда', CustomerEn = 'Volga Cable PLC' "
                             "WHERE ID = ?", (order,))
        anna.press("save")
        anna.browser.set_window_size(1280, 880)
        picture(anna, "changed.png")
    finally:
        first.quit()
        second.quit()


def of_a_document(zuhost, folder):
    for name, with_helper in (("document.png", True), ("document-away.png", False)):
        server, browser = Server(zuhost, with_helper=with_helper), new_browser(1000, 620)
        try:
            page = Page(browser, server.url)
            page.open("/order?id=7&lang=ru")
            if with_helper:
                page.print_order()
            else:
                page.follow(page.one("a.document"))
            browser.save_screenshot(str(folder / name))
            print(folder / name)
        finally:
            browser.quit()
            server.stop()


def take(zuhost, folder):
    folder.mkdir(parents=True, exist_ok=True)
    server = Server(zuhost)
    try:
        for name, path, width, height in (
                ("orders-list.png", "/orders?lang=ru", 1280, 900), ("orders-list-en.png", "/orders?lang=en&q=cable", 1280, 900),
                ("filters.png", "/admin/filters?lang=ru", 1280, 1000),
                ("order.png", "/order?id=7&lang=ru", 1280, 700), ("orders-phone.png", "/orders?lang=ru", 500, 900)):
            browser = new_browser(width, height)
            try:
                page = Page(browser, server.url)
                if name == "filters.png":
                    page.sign_in("admin")
                page.open(path)
                if name == "filters.png":
                    page.one("textarea[name=value]").send_keys("Доставка до обеда <script>alert(1)</script>")
                    page.follow(page.one("form.stack button"))
                browser.save_screenshot(str(folder / name))
                print(folder / name)
            finally:
                browser.quit()
        of_two_people(server, folder)
        of_a_document(zuhost, folder)
    finally:
        server.stop()


if __name__ == "__main__":
    take(sys.argv[1], pathlib.Path(sys.argv[2]))
