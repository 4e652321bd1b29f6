"""What forms send: `zu.automation.form_entries` against Chromium, on pages made at random.

Hundreds of pages are written into a frame of the browser and their forms turned into FormData; the same pages
are read by one run of zuhost. A page that differs is made smaller as long as it still differs, and printed.

    forms.py --zuhost PATH [--forms 400] [--seed 1]
"""

import argparse
import pathlib
import random
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent

# The bodies are what the browser would send as multipart/form-data: names and line ends are brought into shape there.
# Pages are written into a frame without scripts: the parser gives a control to its form in a page that is loaded, but not in
# a DOMParser's.
#
# Where Chromium and we differ, and why:
# - It sends the controls of a data list and the direction of buttons, which the HTML standard leaves out: their names are
#   taken away here.
# - It sends the spelling of a dir attribute, and gives <bdi> no direction of its own: capitals and <bdi> are not made.
# - Since 2025 browsers keep other elements than options in a selection, and end tags of forms mean something there; gumbo
#   follows the standard before: such pages are not compared, and selections always have their end tag.
# - Behind a form that stands inside another it closes both: such pages are not compared.
# - Gumbo does not know that <dialog> ends a paragraph and </p> an <svg>: the first is not made, the second not compared.
# - A control that misnested formatting (<b>) moves out of its form loses it; gumbo does not tell when that was: not made.
# - Colours by name are black to us: not made.
# - In Chromium a checked radio button with form= unchecks those of its name in the form around it, whose group it never is
#   in: not made.
READ_FORMS = """
const done = arguments[arguments.length - 1];
const frame = document.createElement('iframe');
frame.sandbox = 'allow-same-origin';
document.body.append(frame);
Promise.all(arguments[0].map(html => {
  const page = frame.contentDocument;
  page.open();
  page.write(html);
  page.close();
  for (const control of page.querySelectorAll('datalist :is(input, select, textarea)')) control.removeAttribute('name');
  for (const button of page.querySelectorAll('input:is([type=submit], [type=reset], [type=button], [type=image])'))
    button.removeAttribute('dirname');
  const odd = page.querySelector('select *:not(option, optgroup, b, script), form form') !== null
    || /<svg(?:(?!<[/]svg>)[^])*<[/]p>/.test(html);
  return Promise.all(Array.from(page.forms, form => new Response(new FormData(form)).text())).then(bodies => [odd, bodies]);
})).then(done, error => done(String(error))).finally(() => frame.remove());
"""

TYPES = ["text", "hidden", "checkbox", "radio", "password", "search", "email", "tel", "url", "number", "range", "date",
         "month", "week", "time", "datetime-local", "color", "file", "submit", "image", "reset", "button", "TEXT", "odd"]
VALUES = ["", "x", "1", "-2.5", "1e3", "1.", ".5", "+1", "7", "  spaced  ", "a\nb", "a\r\nb", "\n\nlines\n", "при&lt;вет", "שלום",
          "א1", "12א", "&#13;x", "&quot;q&quot;", "#AbCdEf", "#abc", "2024-02-29", "2023-02-29", "2024-13-01", "2020-W53",
          "2021-W53", "2024-07", "10:20", "10:20:30", "24:00", "10:20:00.5", "2024-02-29T10:00", "2024-02-29 10:00:00",
          "2024-02-29T10:00:00.120", "a@b , c@d", " http://x ", "&#0;", "&amp;#38;", "😀", "</form>"]
NAMES = ["a", "b", "c", "d", "", "_charset_", "_CHARSET_", "line\nend", "quo\"te", "имя", "isindex"]
IDS = ["f", "g", "h", "k"]
TEXTS = ["text", "\n", " ", "שלום", "a & b", "</form>", "</div>", "</table>", "</p>", "</b>", "<!-- </form> -->", "<br>", "</select>",
         "<!-- <form> -->", "</fieldset>"]


class Maker:
    """A page as a tree: a text, or [tag, {attribute: value}, children, has an end tag]."""

    def __init__(self, random_source):
        self.random = random_source

    def chance(self, percent):
        return self.random.random() * 100 < percent

    def node(self, tag, attributes, children=(), end=True):
        return [tag, attributes, list(children), end and not self.chance(4)]

    def common(self, attributes, name=90):
        if self.chance(name):
            attributes["name"] = self.random.choice(NAMES if self.chance(30) else NAMES[:4])
        for attribute, percent in (("disabled", 12), ("readonly", 4), ("required", 4)):
            if self.chance(percent):
                attributes[attribute] = ""
        if self.chance(8):
            attributes["form"] = self.random.choice(IDS + [""])
        if self.chance(10):
            attributes["id"] = self.random.choice(IDS)
        if self.chance(10):
            attributes["dir"] = self.random.choice(["ltr", "rtl", "auto", "odd", ""])
        if self.chance(10):
            attributes["dirname"] = self.random.choice(["", "dir", "a.dir"])
        return attributes

    def input(self):
        attributes = {}
        if self.chance(85):
            attributes["type"] = self.random.choice(TYPES if self.chance(70) else ["radio", "checkbox", "hidden"])
        if self.chance(75):
            attributes["value"] = self.random.choice(VALUES)
        for attribute in ("checked", "multiple"):
            if self.chance(35):
                attributes[attribute] = ""
        if self.chance(15):
            attributes["min"], attributes["max"] = self.random.choice([("0", "10"), ("5", "1"), ("-1.5", "x"), ("", "50")])
        if self.chance(15):
            attributes["step"] = self.random.choice(["any", "5", "0.25", "-1", "x", "ANY"])
        attributes = self.common(attributes)
        if attributes.get("type") == "radio":
            attributes.pop("form", None)
        return self.node("input", attributes, end=False)

    def option(self):
        attributes = {key: "" for key in ("selected", "disabled") if self.chance(20)}
        if self.chance(40):
            attributes["value"] = self.random.choice(VALUES)
        if self.chance(10):
            attributes["label"] = "label"
        children = [self.random.choice(["one", " two  words\n", "", "три", "<b>bold</b>", "<script>x</script>y", "a\tb"])]
        return self.node("option", attributes, children)

    def select(self):
        attributes = self.common({})
        if self.chance(30):
            attributes["multiple"] = ""
        if self.chance(25):
            attributes["size"] = self.random.choice(["0", "1", "2", "x", " 3", "-1", "2.5"])
        children = []
        for _ in range(self.random.randint(0, 4)):
            if self.chance(20):
                group = {"disabled": ""} if self.chance(40) else {}
                children.append(self.node("optgroup", group, [self.option() for _ in range(self.random.randint(0, 2))]))
            else:
                children.append(self.option())
        return ["select", attributes, children, True]

    def textarea(self):
        return ["textarea", self.common({}), [self.random.choice(VALUES)], True]

    def content(self, depth):
        roll = self.random.random() * 100
        if depth <= 0 or roll < 45:
            kind = self.random.random() * 100
            if kind < 62:
                return self.input()
            if kind < 78:
                return self.select()
            if kind < 90:
                return self.textarea()
            return self.node(self.random.choice(["button", "output", "object", "keygen", "label"]), self.common({}), ["x"])
        if roll < 55:
            return self.random.choice(TEXTS)
        tag = self.random.choice(["div", "p", "fieldset", "fieldset", "legend", "table", "tr", "td", "datalist", "template", "form",
                                  "span", "label", "ul", "li", "svg", "noscript", "details", "h1"])
        attributes = {}
        if tag == "fieldset" and self.chance(40):
            attributes["disabled"] = ""
        if tag == "form" or self.chance(8):
            attributes["id"] = self.random.choice(IDS)
        if self.chance(8):
            attributes["dir"] = self.random.choice(["ltr", "rtl", "auto", "odd"])
        children = [self.content(depth - 1) for _ in range(self.random.randint(0, 4))]
        if tag == "fieldset" and self.chance(60):
            children.insert(self.random.randint(0, len(children)),
                            self.node("legend", {}, [self.content(depth - 2) for _ in range(self.random.randint(0, 2))]))
        if tag == "table" and self.chance(70):
            children = [self.node("tr", {}, [self.node("td", {}, children)])]
        return self.node(tag, attributes, children)

    def page(self):
        form = self.node("form", {"id": self.random.choice(IDS)}, [self.content(4) for _ in range(self.random.randint(1, 8))])
        before = [self.content(2) for _ in range(self.random.randint(0, 2))]
        behind = [self.content(2) for _ in range(self.random.randint(0, 2))]
        return before + [form] + behind


def text_of(nodes):
    parts = []
    for node in nodes:
        if isinstance(node, str):
            parts.append(node)
            continue
        tag, attributes, children, end = node
        written = "".join(f' {key}="{value}"'.replace('quo"te', "quo&quot;te") for key, value in attributes.items())
        parts.append(f"<{tag}{written}>{text_of(children)}" + (f"</{tag}>" if end else ""))
    return "".join(parts)


def smaller(nodes):
    """The pages that come from taking one thing away."""
    for index, node in enumerate(nodes):
        rest = nodes[:index] + nodes[index + 1:]
        yield rest
        if isinstance(node, str):
            continue
        tag, attributes, children, end = node
        yield nodes[:index] + children + nodes[index + 1:]
        if not end and tag != "input":
            yield nodes[:index] + [[tag, attributes, children, True]] + nodes[index + 1:]
        for key in attributes:
            fewer = {other: value for other, value in attributes.items() if other != key}
            yield nodes[:index] + [[tag, fewer, children, end]] + nodes[index + 1:]
        for changed in smaller(children):
            yield nodes[:index] + [[tag, attributes, changed, end]] + nodes[index + 1:]


def entries_of_body(body):
    """(name, value) of each part of a multipart body; a file's name is empty here."""
    boundary = re.match(r"-+WebKitFormBoundary\w+", body).group()
    entries = []
    for part in ("\r\n" + body).split("\r\n" + boundary)[1:-1]:
        head, value = part.removeprefix("\r\n").split("\r\n\r\n", 1)
        entries.append((re.search(r'; name="([^"]*)"', head).group(1), value))
    return entries


class Reader:
    """Both readers of forms."""

    def __init__(self, zuhost, browser):
        self.zuhost, self.browser = zuhost, browser
        browser.get("about:blank")

    def theirs(self, pages):
        """None for a page that is not compared."""
        bodies = self.browser.execute_async_script(READ_FORMS, pages)
        if isinstance(bodies, str):
            raise RuntimeError(bodies)
        return [None if odd else [entries_of_body(body) for body in page] for odd, page in bodies]

    def ours(self, pages):
        with tempfile.TemporaryDirectory(prefix="zuhost-forms-") as folder:
            file = pathlib.Path(folder) / "pages"
            file.write_text("".join(page.encode().hex() + "\n" for page in pages))
            run = subprocess.run([self.zuhost, "run", str(HERE / "forms.lua"), str(file)], check=True, capture_output=True,
                                 text=True, timeout=300)
        lines = iter(run.stdout.splitlines())

        def text():
            return bytes.fromhex(next(lines)[1:]).decode()

        def name():  # as multipart/form-data writes it
            return text().replace("\r", "%0D").replace("\n", "%0A").replace('"', "%22")

        return [[[(name(), text()) for _ in range(int(next(lines)))] for _ in range(int(next(lines)))] for _ in pages]

    def differ(self, pages):
        """For each page what they and we say, or None where both say the same."""
        return [(theirs, ours) if theirs is not None and theirs != ours else None
                for theirs, ours in zip(self.theirs(pages), self.ours(pages), strict=True)]

    def shrunk(self, nodes):
        while True:
            candidates = sorted(smaller(nodes), key=lambda each: len(text_of(each)))
            found = None
            for start in range(0, len(candidates), 60):
                piece = candidates[start:start + 60]
                results = self.differ([text_of(each) for each in piece])
                found = next((each for each, result in zip(piece, results) if result), None)
                if found is not None:
                    break
            if found is None:
                return nodes
            nodes = found


def compare(zuhost, browser, count, seed, report=print, shrink=10):
    """Reads `count` pages both ways; tells every difference, the smallest page first. The numbers of forms that were
    compared, of pages that were not, and of pages that differ."""
    reader = Reader(zuhost, browser)
    maker = Maker(random.Random(seed))
    forms, skipped, wrong = 0, 0, []
    for start in range(0, count, 200):
        pages = [maker.page() for _ in range(min(200, count - start))]
        theirs, ours = (read([text_of(page) for page in pages]) for read in (reader.theirs, reader.ours))
        forms += sum(len(each) for each in theirs if each is not None)
        skipped += theirs.count(None)
        wrong += [page for page, left, right in zip(pages, theirs, ours, strict=True) if left is not None and left != right]
    small = {text_of(reader.shrunk(page)) for page in wrong[:shrink]}
    small |= {text_of(page) for page in wrong[shrink:]}
    small = sorted(small, key=len)
    for page in small:
        theirs, ours = reader.differ([page])[0] or ("?", "?")
        report(f"{page!r}\n  Chromium: {theirs}\n  ZuTools:  {ours}")
    return forms, skipped, len(wrong)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--zuhost", required=True)
    parser.add_argument("--forms", type=int, default=400, help="pages to compare (400)")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--shrink", type=int, default=25, help="differing pages to make smaller (25)")
    options = parser.parse_args()
    from application import new_browser
    browser = new_browser()
    try:
        forms, skipped, wrong = compare(options.zuhost, browser, options.forms, options.seed, shrink=options.shrink)
    finally:
        browser.quit()
    print(f"{forms} forms of {options.forms} pages compared with Chromium {browser.capabilities['browserVersion']}: "
          f"{wrong} pages differ; {skipped} pages not compared")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
