// A parsed template in one line, so that an expectation is a string:
//
//     "xz" {ROW: "rs" Y@2}          body, tags with their positions, parts in braces

#pragma once

#include "platform/Text.h"
#include "templates/Ltemplt.h"

#include <string>

namespace zutools::tests {

inline std::string Dump(TTemplate& Template) {
    std::string Result = "\"" + platform::Utf16ToUtf8(Template.Body()) + "\"";
    TTemplate Copy; // the lists are asked of a copy: asking changes how the template works
    Copy.Assign(&Template);
    for (const auto& Tag : Copy.LTags().TagsPosition) {
        Result += " " + platform::Utf16ToUtf8(Tag->Param->FName.Text()) + "@" + std::to_string(Tag->Position);
    }
    for (int Index = 1; Index < Template.GetNumParts(); ++Index) {
        TTemplate& Part = *Template.GetPart(Index);
        Result += " {" + platform::Utf16ToUtf8(Part.PartName()) + ": " + Dump(Part) + "}";
    }
    return Result;
}

} // namespace zutools::tests
