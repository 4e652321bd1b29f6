// The text forms of TParamsList. The first byte chooses the operation, the rest is UTF-16 text, unpaired
// surrogates and all.

#include "core/Lparams.h"
#include "fuzz/Input.h"

namespace {

using namespace zutools;
using zutools::fuzz::Require;

// Both views hold the same entries, each found by its own name.
void CheckViews(const TParamsList& List) {
    for (int Index = 0; Index < List.GetCount(); ++Index) {
        const std::u16string Name = List.GetPLName(Index);
        Require(!Name.empty());
        Require(List.GetPLValueByName(Name) == List.GetPLValueByIndex(Index));
        Require(List.GetPLNameIndex(Name) >= 0);
    }
}

// What was written reads back the same when no line was cut wrongly: names hold neither "=" nor a line break,
// values no line break.
void CheckRoundTrip(const TParamsList& List) {
    for (int Index = 0; Index < List.GetCount(); ++Index) {
        if (List.GetPLName(Index).find(u'=') != std::u16string::npos) return;
        const std::u16string Line = List.GetPLName(Index) + List.GetPLValueByIndex(Index);
        if (Line.find(u"\r\n") != std::u16string::npos) return;
        // A lone CR at the end of a line would take part in its line break.
        if (!Line.empty() && Line.back() == u'\r') return;
    }
    const std::u16string Text = List.GetAsString();
    TParamsList Again;
    Again.SetAsString(Text);
    Require(Again.GetCount() == List.GetCount());
    Require(Again.GetAsString() == Text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    if (Size == 0) return 0;
    const unsigned Operation = Data[0] % 4;
    std::u16string Text = fuzz::Utf16(Data, Size, 1);

    TParamsList List;
    switch (Operation) {
    case 0:
        List.SetAsString(Text);
        break;
    case 1:
        List.LoadString(Text, u";");
        break;
    case 2:
        // The first unit is the delimiter.
        List.LoadString(Text.empty() ? std::u16string_view() : std::u16string_view(Text).substr(1),
                        Text.substr(0, 1));
        break;
    default:
        List.AddStr(Text, u"=");
        List.AddStr(Text, Text.substr(0, 2));
    }
    CheckViews(List);
    CheckRoundTrip(List);

    TParamsList Copy;
    Copy.Concate(&List);
    Require(Copy.GetAsString() == List.GetAsString());
    while (List.GetCount() > 0) {
        const int Before = List.GetCount();
        if (Before % 2 == 0)
            List.DeleteByName(List.GetPLName(Before / 2));
        else
            List.Delete(Before / 2);
        Require(List.GetCount() == Before - 1);
        if (Before > 64) List.Clear(); // long lists are fuzzed for their text only
    }
    return 0;
}
