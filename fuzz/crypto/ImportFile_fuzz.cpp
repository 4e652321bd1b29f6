// Files of values: a plan for any bytes, done once and then with nothing left to do.

#include "crypto/ImportFile.h"
#include "fuzz/Input.h"
#include "host/Exception.h"

using namespace zutools;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    static const std::vector<std::u16string> Types{u"TypeA", u"Тип В"};
    static const TCryptoParams Rows{{u"A", u"1"}, {u"Имя", u""}, {u"", u"nameless"}, {u"PIN", u"x"}};
    try {
        const TImportFile File = ReadImportFile(fuzz::Bytes(Data, Size), Types);
        fuzz::Require(!File.SectionIsType || File.Section == Types[0] || File.Section == Types[1]);
        const TImportPlan Plan = PlanImport(File, Rows);
        fuzz::Require(Plan.LinesLeftOut + Rows.size() >= File.Lines.size());
        for (const auto& Change : Plan.Changes) {
            fuzz::Require(!Rows[Change.Row].Name.empty() && Change.Before == Rows[Change.Row].Value);
            fuzz::Require(Change.After.find_first_of(std::u16string_view(u"\r\n\0", 3)) == Change.After.npos,
                          "a value is one line");
        }
        fuzz::Require(PlanImport(File, Imported(Plan, Rows)).Changes.empty(), "done twice");
    } catch (const Exception&) { // no text, or too much of it
    }
    return 0;
}
