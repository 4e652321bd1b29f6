"""Turns the samples of docs/controls into a source that a compiler judges: samples.py OUT.cpp PAGE.md ...

Each block between ```cpp and ``` becomes the body of a member of SampleForm.h's TForm; the headers that its page
names are included. A compiler's complaint names the page and its line."""

import pathlib
import re
import sys

out, *pages = map(pathlib.Path, sys.argv[1:])
includes, samples = {"tests/controls/SampleForm.h"}, []
for page in sorted(pages):
    text = page.read_text(encoding="utf-8")
    includes.update(re.findall(r'#include "(controls/[^"]+)"', text))
    for block in re.finditer(r"^```cpp\n(.*?)^```$", text, re.M | re.S):
        line = text.count("\n", 0, block.start()) + 2
        samples.append(f"struct TSample{len(samples)} : TForm {{\n    void Run() {{\n"
                       f'#line {line} "docs/controls/{page.name}"\n{block[1]}    }}\n}};\n')
if not samples:
    sys.exit("samples.py: there is no sample in these pages")
source = "".join(f'#include "{header}"\n' for header in sorted(includes))
out.write_text(source + "\nnamespace zutools::samples {\n\n" + "\n".join(samples) + "\n} // namespace zutools::samples\n",
               encoding="utf-8")
