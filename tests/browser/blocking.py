"""Two people and one record: what the example application shows and does, in two independent browsers."""

import contextlib
import html
import http.cookiejar
import re
import sqlite3
import subprocess
import urllib.error
import urllib.parse
import urllib.request

from selenium.webdriver.common.by import By

from application import Page, Server, expect

EDITED = "Запись редактируется в другой сессии"
DELETED = "Запись удаляется в другой сессии"
NO_RIGHTS = "У пользователя нет прав на совершение операции"
GONE = "По указаным параметрам запись не найдена"
NOT_FOUND = "Не найдена запись по идентификатору"


class Team:
    """Two browsers at one service, and orders of Moscow, each handed out once."""

    def __init__(self, server, first, second):
        self.server, self.first, self.second = server, first, second
        with self.database() as database:
            self.orders = [row[0] for row in database.execute("SELECT ID FROM Orders WHERE CityRu = 'Москва' ORDER BY ID")]

    @contextlib.contextmanager
    def database(self):
        """The database beside the service, as another program would change it."""
        connection = sqlite3.connect(self.server.database, timeout=30)
        try:
            yield connection
            connection.commit()
        finally:
            connection.close()

    def sign_in(self, first, second):
        self.first.sign_in(first)
        self.second.sign_in(second)
        return self.first, self.second, self.orders.pop()


def edit(page, order):
    page.open(f"/order/edit?id={order}")


def expect_form(page, what):
    expect(page.all("form.edit button[value=save]"), f"{what}: {page.one('main').text}")


def expect_refused(page, title, holder=None):
    expect(page.one("h1").text == title, f"refused with the blocker's words: {page.one('h1').text}")
    if holder:
        expect(page.one(".holder").text.split()[0] == holder, f"{holder} has it: {page.one('.holder').text}")
        expect(re.fullmatch(r"\d\d\.\d\d\.\d{4} \d\d:\d\d", page.one(".since").text), page.one(".since").text)


def expect_done(page, text):
    expect(page.one(".notice[role=status]").text == text, f"{text}: {page.one('main').text}")


def wait_for_form(page, what):
    page.wait(lambda: page.all("form.edit button[value=save]"), what)


def test_sign_in_refuses_wrong_passwords_and_keeps_the_way(team):
    page, order = team.first, team.orders[0]
    page.open("/orders?lang=ru")
    if page.all(".who .user"):
        page.follow(page.one(".who button"))
    edit(page, order)
    expect(page.one("h1").text == "Вход", "whoever wants to edit signs in first")
    page.one("#signin [name=user]").send_keys("anna")
    page.one("#signin [name=password]").send_keys("wrong-password")
    page.follow(page.one("#signin button"))
    expect("не подходят" in page.one("[role=alert]").text, "the refusal is told")
    expect(page.one("#signin [name=user]").get_attribute("value") == "anna", "the name stays")
    page.one("#signin [name=password]").send_keys("demo-anna")
    page.follow(page.one("#signin button"))
    expect_form(page, "signing in leads on to where the user wanted to go")
    page.press("cancel")


def test_second_session_is_refused_until_the_first_cancels(team):
    anna, mark, order = team.sign_in("anna", "mark")
    edit(anna, order)
    expect_form(anna, "the first one gets the form")
    edit(mark, order)
    expect_refused(mark, EDITED, "anna")
    mark.follow(mark.one("#retry button"))
    expect_refused(mark, EDITED, "anna")
    mark.open(f"/order?id={order}")
    expect("anna" in mark.one(".busy").text, "the order's page says who has it")
    edit(mark, f"{order}&lang=en")
    expect(mark.one("h1").text == "The record is being edited in another session", mark.one("h1").text)
    edit(mark, f"{order}&lang=ru")
    anna.press("cancel")
    wait_for_form(mark, "the waiting page takes the record by itself")
    edit(anna, order)
    expect_refused(anna, EDITED, "mark")
    mark.press("cancel")


def test_leaving_the_page_releases(team):
    anna, mark, order = team.sign_in("anna", "mark")
    edit(anna, order)
    edit(mark, order)
    expect_refused(mark, EDITED, "anna")
    anna.follow(anna.one(".brand"))
    wait_for_form(mark, "a link away from the form gives the record back")
    mark.press("cancel")

    home = anna.browser.current_window_handle
    anna.browser.switch_to.new_window("tab")
    edit(anna, order)
    edit(mark, order)
    expect_refused(mark, EDITED, "anna")
    anna.browser.close()
    anna.browser.switch_to.window(home)
    wait_for_form(mark, "a closed tab gives the record back")
    mark.browser.refresh()
    wait_for_form(mark, "a reloaded form has the record")
    mark.fill("note", "после обновления страницы")
    mark.press("save")
    expect_done(mark, "Заказ сохранён.")


def test_saved_change_is_seen_by_the_other(team):
    anna, mark, order = team.sign_in("anna", "mark")
    edit(anna, order)
    anna.fill("note", "Позвонить до обеда & после")
    anna.choose("status", "paid")
    anna.press("save")
    expect_done(anna, "Заказ сохранён.")
    mark.open(f"/order?id={order}")
    expect(mark.one("dd.note").text == "Позвонить до обеда & после", "the note is there")
    expect(mark.one("h1 .badge").text == "Оплачен", "the status too")
    edit(mark, order)
    expect(mark.value("note") == "Позвонить до обеда & после", "the form begins with the saved values")
    mark.press("cancel")


def test_new_order_gets_its_id_and_document_number(team):
    anna, mark, _ = team.sign_in("anna", "mark")
    for page in (anna, mark):  # new orders do not exclude each other
        page.follow(page.one(".title .button"))
        page.fill("customer_ru", "ООО «Новый»")
        page.fill("customer_en", "New LLC")
        page.choose("city", "Москва")
    found = []
    for page in (anna, mark):
        page.press("save")
        expect_done(page, "Заказ создан.")
        new_id = int(re.search(r"id=(\d+)", page.browser.current_url).group(1))
        found.append((new_id, page.one("dd.document").text.split(",")[0]))
    expect(found[0][0] > 240 and found[1][0] == found[0][0] + 1, f"new IDs: {found}")
    expect([number for _, number in found] == ["ORD-1", "ORD-2"], f"numbers without gaps: {found}")
    expect("ORD-1" in anna.one("h1").text, "the document's number is the order's")
    mark.open("/orders?q=ord-1")
    expect(mark.column("number") == ["ORD-1"], "and is found")


def test_delete_excludes_others_and_deletes(team):
    anna, mark, order = team.sign_in("anna", "mark")
    anna.open(f"/order/delete?id={order}")
    edit(mark, order)
    expect_refused(mark, DELETED, "anna")
    anna.press("cancel")
    wait_for_form(mark, "a cancelled deletion gives the record back")
    anna.open(f"/order/delete?id={order}")
    expect_refused(anna, EDITED, "mark")
    mark.press("cancel")
    anna.open(f"/order/delete?id={order}")
    anna.press("delete")
    expect_done(anna, "Заказ удалён.")
    edit(mark, order)
    expect_refused(mark, NOT_FOUND)


def test_rights_are_told_before_and_at_the_save(team):
    anna, vera, order = team.sign_in("anna", "vera")
    edit(vera, order)
    expect_refused(vera, NO_RIGHTS)
    vera.open(f"/order/delete?id={order}")
    expect_refused(vera, NO_RIGHTS)
    vera.open("/admin/blocks")
    expect("Отказано" in vera.one("h1").text, "the administration is for administrators")
    vera.sign_in("boris")
    edit(vera, order)
    expect_refused(vera, NO_RIGHTS)
    edit(anna, order)
    anna.choose("city", "Казань")
    anna.fill("note", "переезд")
    anna.press("save")
    expect(anna.one("[role=alert]").text == NO_RIGHTS, f"no moving into another city: {anna.one('main').text}")
    expect(anna.value("note") == "переезд" and anna.value("city") == "Казань", "what was typed is still there")
    anna.choose("city", "Москва")
    anna.press("retake")
    expect(anna.value("note") == "переезд", "and stays with the record taken again")
    anna.press("save")
    expect_done(anna, "Заказ сохранён.")


def test_sign_out_gives_blocks_back_and_keeps_what_was_typed(team):
    anna, mark, order = team.sign_in("anna", "mark")
    edit(anna, order)
    anna.fill("note", "набрано до выхода")
    edit(mark, order)
    home = anna.browser.current_window_handle
    anna.browser.switch_to.new_window("tab")
    anna.open("/orders")
    anna.follow(anna.one(".who button"))
    anna.browser.close()
    anna.browser.switch_to.window(home)
    wait_for_form(mark, "signing out gives everything back")

    anna.press("save")
    expect("Сеанс завершён" in anna.one("[role=alert]").text, anna.one("main").text)
    expect(anna.value("note") == "набрано до выхода", "nothing typed is lost")
    anna.one("#user").send_keys("anna")
    anna.one("#password").send_keys("demo-anna")
    anna.follow(anna.one("button[formaction='/signin']"))
    expect_refused(anna, EDITED, "mark")
    mark.fill("note", "Марк был быстрее")
    mark.fill("customer_en", "Mark & Co")
    mark.press("save")
    wait_for_form(anna, "the waiting page brings the typed values along")
    expect(anna.value("note") == "набрано до выхода", "what both changed stays as typed")
    expect("Марк был быстрее" in anna.one("#note-hint").text, "and shows the other's value")
    expect(anna.value("customer_en") == "Mark & Co", "what only the other changed is taken over")
    anna.press("save")
    expect_done(anna, "Заказ сохранён.")


def test_administrator_releases_a_block(team):
    anna, admin, order = team.sign_in("anna", "admin")
    edit(anna, order)
    anna.fill("note", "набрано до снятия")
    admin.open("/admin/blocks")
    rows = [row for row in admin.all("table.blocks tbody tr") if f"Orders {order}" in row.text]
    expect(len(rows) == 1 and "anna" in rows[0].text and "изменение" in rows[0].text, admin.one("main").text)
    shell = subprocess.run([team.server.zuhost, "blocks", "--config", str(team.server.config), "list"],
                           capture_output=True, text=True, encoding="utf-8", timeout=30, check=True)
    expect("anna" in shell.stdout and "Orders" in shell.stdout, f"the shell lists the same: {shell.stdout}")
    admin.follow(rows[0].find_element(By.CSS_SELECTOR, "button"))
    expect_done(admin, "Блокировка снята.")
    anna.press("save")
    expect("больше не за вами" in anna.one("[role=alert]").text, anna.one("main").text)
    expect(anna.value("note") == "набрано до снятия", "nothing typed is lost")
    anna.press("retake")
    anna.press("save")
    expect_done(anna, "Заказ сохранён.")
    expect(anna.one("dd.note").text == "набрано до снятия", "and is written in the end")


def test_block_list_is_paged(team):
    anna, admin, _ = team.sign_in("anna", "admin")
    for _ in range(21):  # a form that is left without a script to say so
        anna.browser.execute_script("return fetch('/order/edit').then(answer => answer.text())")
    admin.open("/admin/blocks")
    seen = len(admin.all("table.blocks tbody tr"))
    admin.follow(admin.one(".pager a[rel=next]"))
    expect(seen == 20 and len(admin.all("table.blocks tbody tr")) >= 1, "twenty a page, then the rest")
    anna.follow(anna.one(".who button"))
    admin.open("/admin/blocks")
    expect(admin.all(".empty"), f"signing out gives all of them back: {admin.one('main').text}")


def test_field_errors_keep_what_was_typed(team):
    anna, _, order = team.sign_in("anna", "mark")
    edit(anna, order)
    anna.fill("customer_ru", "")
    anna.fill("note", "до <script>alert(1)</script>")
    anna.fill("customer_en", "Typed & kept")
    anna.press("save")
    wrong = {field.get_attribute("name") for field in anna.all("[aria-invalid=true]")}
    expect(wrong == {"customer_ru", "note"}, f"the wrong fields are marked: {wrong}")
    expect(anna.browser.switch_to.active_element.get_attribute("name") == "customer_ru", "the first one has the focus")
    expect(anna.one("#customer_ru-hint").text == "Заполните это поле.", anna.one("#customer_ru-hint").text)
    expect(anna.value("note") == "до <script>alert(1)</script>", "a refused value is kept")
    expect(anna.value("customer_en") == "Typed & kept", "and so are the others")
    anna.fill("customer_ru", "ИП Исправлено")
    anna.fill("note", "до обеда")
    anna.press("save")
    expect_done(anna, "Заказ сохранён.")


def test_stored_values_need_not_pass_the_filter(team):
    admin, _, _ = team.sign_in("admin", "mark")
    with team.database() as database:
        order = database.execute("SELECT ID FROM Orders WHERE CustomerEn LIKE '%<of%' AND CityRu <> 'Москва'").fetchone()[0]
    edit(admin, order)
    admin.fill("note", "имя прежнее")
    admin.press("save")
    expect_done(admin, "Заказ сохранён.")


def test_change_underneath_shows_both_values(team):
    anna, _, order = team.sign_in("anna", "mark")
    edit(anna, order)
    anna.fill("note", "моё")
    with team.database() as database:
        database.execute("UPDATE Orders SET Note = 'чужое', CustomerEn = 'Other LLC' WHERE ID = ?", (order,))
    anna.press("save")
    expect("запись изменили" in anna.one("[role=alert]").text, anna.one("main").text)
    expect(anna.value("note") == "моё" and "«чужое»" in anna.one("#note-hint").text, "both values are shown")
    expect(anna.value("customer_en") == "Other LLC" and "было" in anna.one("#customer_en-hint").text,
           "an untouched field has the new value")
    with team.database() as database:
        stored = database.execute("SELECT Note FROM Orders WHERE ID = ?", (order,)).fetchone()[0]
    expect(stored == "чужое", "nothing was written")
    anna.press("save")
    expect_done(anna, "Заказ сохранён.")
    expect(anna.one("dd.note").text == "моё", "the second save puts the own value in")

    edit(anna, order)
    anna.fill("note", "жаль терять")
    with team.database() as database:
        database.execute("DELETE FROM OrderLines WHERE OrderID = ?", (order,))
        database.execute("DELETE FROM Orders WHERE ID = ?", (order,))
    anna.press("save")
    expect(anna.one("[role=alert]").text == NOT_FOUND and anna.value("note") == "жаль терять", anna.one("main").text)
    anna.press("insert")
    anna.press("save")
    expect_done(anna, "Заказ создан.")


def test_session_that_expires_gives_the_record_to_the_other(team):
    server = Server(team.server.zuhost, "idle_seconds = 4")
    order = team.orders[0]
    anna, mark = Page(team.first.browser, server.url), Page(team.second.browser, server.url)
    try:
        anna.sign_in("anna")
        edit(anna, order)  # from here on the page keeps the session alive
        anna.fill("note", "набрано в тоннеле")
        mark.sign_in("mark")
        edit(mark, order)
        expect_refused(mark, EDITED, "anna")
        anna.browser.execute_cdp_cmd("Network.enable", {})
        anna.browser.execute_cdp_cmd("Network.setBlockedURLs", {"urls": ["*/order/state*"]})
        anna.wait(lambda: "Нет связи" in anna.one("[data-live]").text, "the page tells that the service is out of reach")
        wait_for_form(mark, "the record is free when the session is over")
        anna.browser.execute_cdp_cmd("Network.setBlockedURLs", {"urls": []})
        anna.wait(lambda: "Сеанс завершён" in anna.one("[data-live]").text, "the page tells that the session is over")
        anna.press("save")
        expect("Сеанс завершён" in anna.one("[role=alert]").text, anna.one("main").text)
        expect(anna.value("note") == "набрано в тоннеле", "nothing typed is lost")
        with contextlib.closing(sqlite3.connect(server.database)) as database:
            stored = database.execute("SELECT Note FROM Orders WHERE ID = ?", (order,)).fetchone()[0]
        expect(stored == "", f"nothing is written: {stored}")
    finally:
        anna.browser.execute_cdp_cmd("Network.setBlockedURLs", {"urls": []})
        expect(server.stop() == 0, "the service stops cleanly")


class PlainClient:
    """A browser without scripts."""

    def __init__(self, url):
        self.url = url
        self.opener = urllib.request.build_opener(urllib.request.HTTPCookieProcessor(http.cookiejar.CookieJar()))

    def ask(self, path, **fields):
        """Status, text and address of the page that the answer leads to."""
        data = urllib.parse.urlencode(fields).encode() if fields else None
        try:
            request = urllib.request.Request(self.url + path, data, {"Accept-Language": "ru"})
            answer = self.opener.open(request, timeout=30)
        except urllib.error.HTTPError as error:
            answer = error
        return answer.status, answer.read().decode(), answer.geturl()


    def sign_in(self, user):
        token = re.search(r'name="form_token" value="(\w+)"', self.ask("/signin")[1]).group(1)
        answer = self.ask("/signin", form_token=token, user=user, password="demo-" + user, back="/orders")
        expect(f">{user}</span>" in answer[1], f"{user} is signed in: {answer[0]}")
        return self


def fields_of(text):
    form = text[text.index("<form id=\"order\""):]
    inputs = re.findall(r'<input[^>]* name="(\w+)"[^>]* value="([^"]*)"', form)
    fields = {name: html.unescape(value) for name, value in inputs}
    for name, options in re.findall(r'<select id="(\w+)".*?>(.*?)</select>', form):
        fields[name] = html.unescape(re.search(r'value="([^"]*)" selected', options).group(1))
    return {**fields, "note": "без сценариев", "action": "save"}


def test_works_without_scripts_and_writes_nothing_without_token(team):
    client, order = PlainClient(team.server.url), team.orders.pop()
    token = re.search(r'name="form_token" value="(\w+)"', client.ask("/signin")[1]).group(1)
    anna = {"user": "anna", "password": "demo-anna"}
    status, text, _ = client.ask("/signin", form_token="0" * 32, kept="order", note="набрано", **anna)
    expect(status == 403 and "Страница устарела" in text and "набрано" in text, f"no sign-in without a token: {status}")
    expect("anna</span>" not in client.ask("/orders")[1], "nobody is signed in")
    status, _, url = client.ask("/signin", form_token=token, back="//elsewhere.example/", **anna)
    expect(status == 200 and urllib.parse.urlsplit(url).path == "/", f"no way out of this host: {url}")
    good = fields_of(client.ask(f"/order/edit?id={order}")[1])
    for path, action in (("/order/save", "save"), ("/order/delete", "delete"), ("/order/release", "")):
        status, _, _ = client.ask(path, **{**good, "action": action, "form_token": "0" * 32})
        expect(status == 403, f"{path} wants a token: {status}")
    status, text, url = client.ask("/order/save", **good)
    expect(status == 200 and f"id={order}" in url, f"the block is still there and saves: {status}")
    expect("без сценариев" in text, "the note is written")
    order = team.orders.pop()
    good = {**fields_of(client.ask(f"/order/delete?id={order}")[1]), "action": "delete"}
    expect(client.ask("/order/release", **good)[0] == 204, "a page that is left gives its block back")
    status, text, _ = client.ask("/order/delete", **good)
    expect(status == 409 and GONE in text, f"and deletes nothing afterwards: {status}")
    expect(client.ask(f"/order?id={order}")[0] == 200, "the order is still there")
    other = PlainClient(team.server.url)
    expect(other.ask("/order/save", **good)[0] == 403, "a session without a user writes nothing")


def test_a_block_is_of_no_use_to_others(team):
    anna, mark = (PlainClient(team.server.url).sign_in(user) for user in ("anna", "mark"))
    order, another = team.orders.pop(), team.orders.pop()
    held = fields_of(anna.ask(f"/order/edit?id={order}")[1])
    own = fields_of(mark.ask(f"/order/edit?id={another}")[1])
    stolen = {**held, "form_token": own["form_token"], "note": "чужая рука"}
    status, text, _ = mark.ask("/order/save", **stolen)
    expect(status == 409 and "блокировку снял" in text, f"another session's block saves nothing: {status}")
    for path, action in (("/order/save", "cancel"), ("/order/release", ""), ("/order/delete", "delete")):
        mark.ask(path, **{**stolen, "action": action})
    status, text, _ = mark.ask("/order/save", **{**own, "id": order, "note": "чужая рука"})
    expect(status == 409, f"a block does not save another order: {status}")
    status, text, _ = anna.ask("/order/save", **held)
    expect(status == 200 and "чужая рука" not in text, f"whoever has the block still has it: {status}")


def test_new_pages_fit_a_phone_and_complain_of_nothing(team):
    anna, mark, order = team.sign_in("anna", "mark")
    edit(anna, order)
    mark.browser.get_log("browser")
    try:
        for page in (anna, mark):
            page.browser.set_window_size(390, 844)
        pages = [(anna, None), (mark, f"/order/edit?id={order}"), (mark, "/signin"), (mark, f"/order?id={order}"),
                 (mark, "/order/edit")]
        for page, path in pages:
            if path:
                page.open(path)
            wide = page.browser.execute_script("return document.scrollingElement.scrollWidth - window.innerWidth")
            expect(wide <= 0, f"{path} scrolls sideways by {wide} pixels")
            fields = page.all("main input:not([type=hidden]), main select, main textarea")
            unnamed = [field.get_attribute("name") for field in fields if not field.accessible_name]
            expect(not unnamed, f"{path}: fields without a label: {unnamed}")
        complaints = [entry for entry in mark.browser.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")
                      and "favicon" not in entry["message"] and "409 (Conflict)" not in entry["message"]]
        expect(not complaints, f"the browser complains: {complaints}")
    finally:
        for page in (anna, mark):
            page.browser.set_window_size(1280, 900)
