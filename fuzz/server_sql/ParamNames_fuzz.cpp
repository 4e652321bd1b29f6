// Statement text of any shape: what is found lies inside the text and in order, and the rewritten statement
// scans to the same statement again.

#include "fuzz/Input.h"
#include "server/sql/ParamNames.h"

using namespace zutools::server;
using zutools::fuzz::Require;

namespace {

std::u16string ToText(const std::uint8_t* Data, std::size_t Size) {
    std::u16string Text;
    for (std::size_t Pos = 0; Pos < Size; ++Pos) {
        // Mostly ASCII, where the punctuation is; 0xFF takes two more bytes as one unit.
        if (Data[Pos] != 0xFF || Pos + 2 >= Size) {
            Text += static_cast<char16_t>(Data[Pos]);
        } else {
            Text += static_cast<char16_t>(Data[Pos + 1] << 8 | Data[Pos + 2]);
            Pos += 2;
        }
    }
    return Text;
}

void CheckSpans(const std::u16string& Text, const TScannedStatement& Scan) {
    std::size_t End = 0;
    for (const auto& Param : Scan.Params) {
        Require(Param.Place.Offset >= End && Param.Place.Length >= 2);
        End = Param.Place.Offset + Param.Place.Length;
        Require(End <= Text.size() && Text[Param.Place.Offset] == u':');
        Require(Param.Name < Scan.Names.size());
        const auto Written = std::u16string_view(Text).substr(Param.Place.Offset + 1, Param.Place.Length - 1);
        Require(SameSqlName(Written, Scan.Names[Param.Name]));
        for (const auto& Comment : Scan.Comments) {
            Require(Comment.Offset + Comment.Length <= Param.Place.Offset || Comment.Offset >= End);
            if (Scan.Comments.size() > 64) break; // quadratic otherwise
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* Data, std::size_t Size) {
    const std::u16string Text = ToText(Data, Size);
    constexpr TSqlSyntax Plain{.MoreQuotes = true};
    constexpr TSqlSyntax Rich{true, true, true, true, false, true, u"$", true};
    for (const TSqlSyntax& Syntax : {Plain, Rich}) {
        const auto Scan = ScanStatement(Text, Syntax);
        CheckSpans(Text, Scan);
        if (!Scan.ForeignPlaceholder.empty()) continue; // refused before anything is rewritten
        const std::u16string Rewritten = RewriteStatement(Text, Scan, Syntax);
        const auto Again = ScanStatement(Rewritten, Syntax);
        Require(Again.Comments.empty());
        Require(Again.Params.size() == (Syntax.NumberedByName ? 0 : Scan.Params.size()));
        Require((Again.SecondStatement == TScannedStatement::None) ==
                (Scan.SecondStatement == TScannedStatement::None));
        Require(Again.ControlsTransaction == Scan.ControlsTransaction);
        Require(Again.ChangesRows == Scan.ChangesRows);
        Require(Again.AllColumns == Scan.AllColumns);
    }
    return 0;
}
