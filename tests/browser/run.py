#!/usr/bin/python3
"""The example application in a real browser.

Starts `zuhost serve` on a copy of examples/orders with a fresh database and a free port, drives headless Chromium
through it, and stops it again. Every test prints a line; the last line counts them.

    run.py --zuhost PATH [--only WORD] [--forms 400] [--soak SECONDS]
"""

import argparse
import re
import signal
import sys
import traceback
import urllib.error
import urllib.request

from selenium.webdriver.common.by import By

import blocking
import forms
import soak
from application import Page, Server, expect, new_browser

PAGES_WITH_FORMS = 400  # --forms


def number_of(money):
    return int(re.sub(r"\D", "", money))


def test_list_is_russian_and_paged(page):
    page.open("/")
    expect(page.one("h1").text == "Список заказов", "the first page is the Russian list: " + page.one("h1").text)
    expect(len(page.column("number")) == 20, "twenty orders a page")
    expect("240" in page.one(".count").text, "the count names all orders: " + page.one(".count").text)
    first = page.column("number")
    page.follow(page.one(".pager a[rel=next]"))
    expect(not set(first) & set(page.column("number")), "the second page shows other orders")
    expect(page.one(".pager b").text == "2", "the pager marks page 2")
    page.follow(page.all(".pager a")[-2])
    expect(not page.all(".pager a[rel=next]"), "the last page has no next one")
    page.open("/orders?page=99999999999999999999")
    expect(len(page.column("number")) == 20, "a senseless page number still shows a page")


def test_nested_parts_fill_each_row(page):
    page.open("/orders")
    for row in page.all("table.orders tbody tr"):
        expect(row.find_elements(By.CSS_SELECTOR, "td.items li"), "every order shows its items")
    expect("[[" not in page.browser.page_source and "{{" not in page.browser.page_source, "no mark is left")


def test_search_ignores_case_and_escapes(page):
    page.open("/orders")
    page.search("ЁЛКИ")
    found = page.column("customer")
    expect(found and all("Ёлки" in name for name in found), f"only the customer sought: {found}")
    page.search("100%_")
    expect(page.all(".empty") and not page.column("number"), "pattern characters are ordinary text")
    page.search("1 < 2 > \"'&")
    expect(page.one("#q").get_attribute("value") == "1 < 2 > \"'&", "the field shows what was typed")
    page.follow(page.one(".reset"))
    expect(len(page.column("number")) == 20, "reset shows all again")


def test_markup_in_data_is_text(page):
    page.open("/orders?q=" + "%D0%B1%D1%83%D0%B4%D1%83%D1%89%D0%B5%D0%B3%D0%BE")
    names = page.column("customer")
    expect(names and all("<будущего>" in name for name in names), f"angle brackets are shown: {names}")


def test_sorting(page):
    page.open("/orders")
    page.follow(page.one("th.total a"))
    rising = [number_of(text) for text in page.column("total")]
    expect(rising == sorted(rising), f"totals rise: {rising}")
    expect(page.one("th.total").get_attribute("aria-sort") == "ascending", "the column says how it is sorted")
    page.follow(page.one("th.total a"))
    falling = [number_of(text) for text in page.column("total")]
    expect(falling == sorted(falling, reverse=True) and falling[0] > rising[0], f"totals fall: {falling}")
    page.open("/orders?sort=Total;DROP+TABLE+Orders&dir=x")
    expect(len(page.column("number")) == 20, "an unknown column is ignored")


def test_language_is_kept_by_the_session(page):
    page.open("/orders?q=%D0%9E%D1%80%D1%91%D0%BB")
    page.follow(page.one(".languages a[hreflang=en]"))
    expect(page.one("h1").text == "Order list", "the page turned English: " + page.one("h1").text)
    expect(set(page.column("city")) == {"Oryol"}, "the search stayed, the data turned English")
    page.open("/orders")
    expect(page.one("html").get_attribute("lang") == "en", "the next page is English too")
    page.follow(page.one(".languages a[hreflang=ru]"))
    expect(page.one("h1").text == "Список заказов", "and back")


def test_order_page(page):
    page.open("/orders")
    number = page.column("number")[0]
    total = page.column("total")[0]
    page.follow(page.one("td.number a"))
    expect(number in page.one("h1").text, "the order of the row")
    sums = [number_of(row.find_elements(By.TAG_NAME, "td")[3].text) for row in page.all(".lines tbody tr")]
    expect(sum(sums) == number_of(page.one("tfoot .total").text) == number_of(total), f"sums add up: {sums} {total}")
    page.open("/order?id=0")
    expect("Такого заказа нет" in page.one(".empty").text, "a missing order is told so")


def test_an_order_is_printed_by_a_helper_that_may_be_late_or_die(page):
    page.open("/order?id=7&lang=ru")
    title, total = page.one("h1").text, page.one("tfoot .total").text
    page.print_order()
    expect(title.startswith(page.one("h1").text), f"the document is the order's: {page.one('h1').text}")
    expect(page.one("tfoot th:last-child").text == total, "with its total")
    expect(page.one("h1").value_of_css_property("font-size") == "24px", "and its style")
    page.server.signal_helper(signal.SIGSTOP)
    page.open("/order?id=7")
    page.follow(page.one("a.document"))
    expect(page.one("h1").text == "Документ составляется дольше обычного.", f"the page says so: {page.one('h1').text}")
    page.server.signal_helper(signal.SIGKILL)
    page.open("/order?id=7")
    page.print_order()
    expect(page.one("tfoot th:last-child").text == total, "a new helper makes the next document")


def test_phone(page):
    page.browser.set_window_size(390, 844)
    try:
        for path in ("/orders", "/order?id=5"):
            page.open(path)
            wide = page.browser.execute_script("return document.scrollingElement.scrollWidth - window.innerWidth")
            expect(wide <= 0, f"{path} scrolls sideways by {wide} pixels")
    finally:
        page.browser.set_window_size(1280, 900)


def test_no_complaints_in_the_console(page):
    page.browser.get_log("browser")  # what earlier tests provoked
    for path in ("/orders", "/orders?page=3&lang=en", "/order?id=7", "/orders?lang=ru"):
        page.open(path)
    complaints = [entry for entry in page.browser.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")
                  and "favicon" not in entry["message"]]
    expect(not complaints, f"the browser complains: {complaints}")


def test_refused_value_names_the_field_and_not_the_value(page):
    page.open("/orders")
    page.search("x<script>alert(1)</script>")
    text = page.one("body").text
    expect("Запрос не принят" in text and "q" in text.split(), f"the field is named: {text}")
    expect("alert" not in page.browser.page_source.lower(), "the value is not repeated")
    page.open("/orders?lang=ru&<img>=1")
    expect(page.one("h1").text == "Список заказов", "a parameter's name is no value")


def test_filters_are_tried_and_changed_while_requests_run(page):
    page.sign_in("admin")
    page.open("/admin/filters")
    expect([link.text for link in page.all(".filters a")][:3] == ["High", "Medium", "Low"], "the reserved filters")
    page.one("textarea[name=value]").send_keys("тест <script>")
    page.follow(page.one("form.stack button"))
    expect(page.one(".marked mark").text == "<S", f"the offender is marked: {page.one('.marked').text}")
    expect(page.one(".marked").text == "ТЕСТ <SCRIPT>", "the value is shown as it was checked")

    page.one("#name").send_keys("Browser <b>")
    page.follow(page.one("form.line button"))
    expect("Browser <b>" in page.one("#rules").text, "a filter's name stays text")
    mine = page.one(".rule input[name=id]").get_attribute("value")
    page.one(".rule input[name=params]").send_keys("q")
    page.one(".rule textarea[name=wrong]").send_keys("secret")
    page.follow(page.one(".rule button[value=save]"))
    page.follow(page.one("button[value=use]"))
    page.open("/orders?q=top+secret")
    expect("Запрос не принят" in page.one("h1").text, "the new filter is in use at once")
    page.open("/orders?q=%3Cscript")
    expect(page.one("h1").text == "Список заказов", "and the old one is not")

    # A quote in the offender; then a rule that the shell changes while its form is open.
    page.open("/admin/filters?id=1")
    page.one("textarea[name=value]").send_keys('a "style=b')
    page.follow(page.one("form.stack button"))
    expect(page.one(".marked mark").text == '"STYLE=', f"the offender is marked: {page.one('.marked').text}")
    page.open("/orders?lang=en")
    page.open(f"/admin/filters?id={mine}")
    page.server.filters("set-rule", mine, "q", "--wrong", "by shell")
    page.one(".rule textarea[name=wrong]").send_keys(" by form")
    page.follow(page.one(".rule button[value=save]"))
    form = page.one(".rule")
    expect("somebody else changed" in page.one(".notice").text and "by shell" in form.text, "the person is told")
    expect(page.one(".rule textarea[name=wrong]").text == "secret by form", "and what was typed is kept")
    page.follow(page.one(".rule button[value=save]"))
    expect("wrong: secret by form" in page.server.filters("show", mine), "the second time it is what is meant")
    page.one("#name").send_keys("MEDIUM")
    page.follow(page.one("form.line button"))
    expect("has this name" in page.one(".notice").text, "names are unique")
    expect(page.one("#name").get_attribute("value") == "MEDIUM", "what was typed is kept")

    page.open("/admin/filters?id=1&lang=ru")
    page.follow(page.one("button[value=use]"))
    page.open("/orders?q=%3Cscript")
    expect("Запрос не принят" in page.one("h1").text, "the first filter is back")


def test_forms_are_read_as_the_browser_reads_them(page):
    count, skipped, wrong = forms.compare(page.server.zuhost, page.browser, PAGES_WITH_FORMS, seed=1)
    print(f"        {count} forms compared, {skipped} pages with what browsers treat otherwise left out")
    expect(wrong == 0, f"{wrong} pages whose forms Chromium reads otherwise")


def test_bad_requests_do_not_stop_the_service(page):
    for path, status in (("/nowhere", 404), ("/static/../orders.toml", 404), ("/static/%2e%2e/orders.toml", 404),
                         ("/orders?q=%FF%FE", 400), ("/orders?q=%00", 400)):
        try:
            answer = urllib.request.urlopen(page.url + path).status
        except urllib.error.HTTPError as error:
            answer = error.code
            body = error.read().decode()
            expect("lua" not in body and "traceback" not in body, f"{path} shows no insides")
        expect(answer in (status, 400), f"{path}: {answer}")
    page.open("/orders")
    expect(len(page.column("number")) == 20, "and the list is still served")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--zuhost", required=True)
    parser.add_argument("--only", default="")
    parser.add_argument("--forms", type=int, default=PAGES_WITH_FORMS, help="pages with forms to compare (400)")
    parser.add_argument("--soak", type=float, default=0, help="afterwards, a mixed load for so long")
    options = parser.parse_args()
    globals()["PAGES_WITH_FORMS"] = options.forms
    passed = failed = 0

    def run(name, test, *arguments):
        nonlocal passed, failed
        if options.only not in name:
            return
        try:
            test(*arguments)
            passed += 1
            print(f"ok      {name}", flush=True)
        except Exception:  # a failed test must not hide the others
            failed += 1
            print(f"FAILED  {name}\n{traceback.format_exc()}", flush=True)

    server = Server(options.zuhost)
    browser, other = new_browser(), new_browser()
    try:
        for name, test in list(globals().items()):
            if name.startswith("test_"):
                run(name, test, Page(browser, server.url, server))
        team = blocking.Team(server, Page(browser, server.url), Page(other, server.url))
        for name, test in list(vars(blocking).items()):
            if name.startswith("test_"):
                run(name, test, team)
        if options.soak:
            run("soak", soak.soak, server, options.soak)
    finally:
        browser.quit()
        other.quit()
        code = server.stop()
    if code == 0 and not any("traceback" in line for line in server.lines):
        passed += 1
        print("ok      the service stops cleanly")
    else:
        failed += 1
        print(f"FAILED  the service ended with {code}:\n" + "".join(server.lines[-40:]))
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
