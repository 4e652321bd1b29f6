#include "server/sql/ParamNames.h"

#include "platform/TextTools.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace zutools::server {

namespace {

// Databases take every character above ASCII for a letter.
constexpr bool StartsWord(char16_t C) {
    return platform::IsAsciiLetter(C) || C == u'_' || C >= 0x80;
}
constexpr bool ContinuesName(char16_t C) {
    return StartsWord(C) || platform::IsAsciiDigit(C);
}
constexpr bool ContinuesWord(char16_t C) {
    return ContinuesName(C) || C == u'$';
}
constexpr bool IsBlank(char16_t C) {
    return C == u' ' || (C >= u'\t' && C <= u'\r');
}

template <std::size_t N>
bool IsOneOf(std::u16string_view Word, const std::array<std::u16string_view, N>& Words) {
    return std::any_of(Words.begin(), Words.end(), [&](auto Known) { return SameSqlName(Word, Known); });
}

constexpr std::array<std::u16string_view, 5> ChangingVerbs{u"insert", u"update", u"delete", u"replace",
                                                           u"merge"};
constexpr std::array<std::u16string_view, 3> ReadingVerbs{u"select", u"values", u"table"};
// What a "*" for columns follows, besides "." and ","; anywhere else it multiplies or stands in COUNT(*).
constexpr std::array<std::u16string_view, 4> BeforeAllColumns{u"select", u"distinct", u"all", u"returning"};
constexpr std::array<std::u16string_view, 5> TransactionVerbs{u"begin", u"start", u"commit", u"end",
                                                              u"abort"};

class TScanner {
public:
    TScanner(std::u16string_view Text, const TSqlSyntax& Syntax)
        : FText(Text)
        , FSyntax(Syntax) {}

    TScannedStatement Run() {
        while (FPos < FText.size()) Next();
        FResult.ControlsTransaction = ControlsTransaction();
        return std::move(FResult);
    }

private:
    /// `E'a' <line break> 'b'` is one literal, and its second half has backslash escapes too. Comments do not
    /// count: the database gets the statement without them.
    enum class TEscapes { None, Ended, MayGoOn };

    char16_t At(std::size_t Pos) const { return Pos < FText.size() ? FText[Pos] : u'\0'; }

    void Next() {
        const char16_t C = FText[FPos];
        if (IsBlank(C)) {
            if ((C == u'\n' || C == u'\r') && FEscapes == TEscapes::Ended) FEscapes = TEscapes::MayGoOn;
            ++FPos;
            return;
        }
        if (C == u'-' && At(FPos + 1) == u'-') return LineComment();
        if (C == u'/' && At(FPos + 1) == u'*') return BlockComment();
        if (C == u';') {
            FStatementEnded = FSawToken;
            FEscapes = TEscapes::None;
            ++FPos;
            return;
        }
        if (FStatementEnded && FResult.SecondStatement == TScannedStatement::None)
            FResult.SecondStatement = FPos;
        FSawToken = true;
        const std::size_t Start = FPos;
        Token(C);
        FLastToken = FText.substr(Start, FPos - Start);
    }

    void Token(char16_t C) {
        if (C == u'\'') return Literal(FEscapes == TEscapes::MayGoOn);
        FEscapes = TEscapes::None;
        if (StartsWord(C)) return Word();
        if (platform::IsAsciiDigit(C)) return Skip(ContinuesName);
        switch (C) {
        case u'"':
            return Quoted(C);
        case u'`':
            return FSyntax.MoreQuotes ? Quoted(C) : Operator();
        case u'[':
            return FSyntax.MoreQuotes ? Bracketed() : Operator();
        case u'(':
            ++FDepth;
            return Operator();
        case u')':
            --FDepth;
            return Operator();
        case u'*':
            return Star();
        case u':':
            return Colon();
        case u'$':
            return Dollar();
        case u'?':
        case u'@':
            return ForeignMark();
        default:
            return Operator();
        }
    }

    void Operator() { ++FPos; }

    void Star() {
        ++FPos;
        if (FLastToken == u"," || FLastToken == u"." || IsOneOf(FLastToken, BeforeAllColumns))
            FResult.AllColumns = true;
    }

    template <class TTest>
    void Skip(TTest Test) {
        while (FPos < FText.size() && Test(FText[FPos])) ++FPos;
    }

    void LineComment() {
        const std::size_t End = FText.find_first_of(FSyntax.ReturnEndsComment ? u"\r\n" : u"\n", FPos);
        Comment(End == FText.npos ? FText.size() : End);
    }

    void BlockComment() {
        std::size_t Pos = FPos + 2;
        for (std::size_t Depth = 1; Depth > 0;) {
            Pos = FText.find_first_of(u"*/", Pos);
            if (Pos == FText.npos) return Comment(FText.size());
            if (FText[Pos] == u'*' && At(Pos + 1) == u'/') {
                --Depth;
                Pos += 2;
            } else if (FSyntax.NestedComments && FText[Pos] == u'/' && At(Pos + 1) == u'*') {
                ++Depth;
                Pos += 2;
            } else {
                ++Pos;
            }
        }
        Comment(Pos);
    }

    void Comment(std::size_t End) {
        FResult.Comments.push_back({FPos, End - FPos});
        FPos = End;
    }

    void Literal(bool Escapes) {
        for (++FPos; FPos < FText.size(); ++FPos) {
            if (Escapes && FText[FPos] == u'\\') {
                ++FPos; // whatever stands there is no closing quote
            } else if (FText[FPos] == u'\'') {
                if (At(FPos + 1) != u'\'') break;
                ++FPos;
            }
        }
        FPos = std::min(FPos + 1, FText.size());
        FEscapes = Escapes ? TEscapes::Ended : TEscapes::None;
    }

    /// A doubled quote inside stands for one; read as two quoted texts in a row, that gives the same end.
    void Quoted(char16_t Quote) { PassTo(std::u16string_view(&Quote, 1), FPos + 1); }
    void Bracketed() { PassTo(u"]", FPos + 1); }

    void PassTo(std::u16string_view End, std::size_t From) {
        const std::size_t Pos = FText.find(End, From);
        FPos = Pos == FText.npos ? FText.size() : Pos + End.size();
    }

    void Word() {
        const std::size_t Start = FPos;
        Skip(ContinuesWord);
        const auto Word = FText.substr(Start, FPos - Start);
        if (FSyntax.EscapeLiterals && At(FPos) == u'\'' && SameSqlName(Word, u"e")) return Literal(true);
        if (FResult.SecondStatement != TScannedStatement::None) return;
        if (FWordCount < FWords.size()) FWords[FWordCount++] = Word;
        if (FWordCount == 1) FResult.FirstWord = Word;
        if (FVerbFound || FDepth != 0) return;
        // A WITH names its queries before its verb comes; other statements begin with theirs.
        const bool Changes = IsOneOf(Word, ChangingVerbs);
        if (FWordCount > 1 && !SameSqlName(FResult.FirstWord, u"with")) return;
        if (!Changes && !IsOneOf(Word, ReadingVerbs)) return;
        FVerbFound = true;
        FResult.ChangesRows = Changes;
    }

    void Colon() {
        if (At(FPos + 1) == u':' || At(FPos + 1) == u'=') { // a cast; a named argument of a function
            FPos += 2;
            return;
        }
        const std::size_t Start = FPos++;
        if (!StartsWord(At(FPos))) return; // the bounds of an array slice, for one
        Skip(ContinuesName);
        const auto Name = FText.substr(Start + 1, FPos - Start - 1);
        const auto [Found, New] = FNameIndex.try_emplace(FoldSqlName(Name), FResult.Names.size());
        if (New) FResult.Names.push_back(Name);
        FResult.Params.push_back({{Start, FPos - Start}, Found->second});
    }

    void Dollar() {
        if (!FSyntax.DollarQuotes || platform::IsAsciiDigit(At(FPos + 1))) return ForeignMark();
        std::size_t End = FPos + 1;
        if (StartsWord(At(End))) {
            while (ContinuesName(At(End))) ++End;
        }
        if (At(End) != u'$') return Operator();
        PassTo(FText.substr(FPos, End + 1 - FPos), End + 1);
    }

    void ForeignMark() {
        const std::size_t Start = FPos++;
        const char16_t Mark = FText[Start];
        // "$" came here because it is no quote.
        if (FSyntax.MarksOperate && Mark != u'$') return;
        Skip(ContinuesName);
        if (Mark != u'?' && FPos == Start + 1) return;
        if (FResult.ForeignPlaceholder.empty())
            FResult.ForeignPlaceholder = FText.substr(Start, FPos - Start);
    }

    bool ControlsTransaction() const {
        if (IsOneOf(FResult.FirstWord, TransactionVerbs)) return true;
        if (SameSqlName(FResult.FirstWord, u"prepare")) return SameSqlName(FWords[1], u"transaction");
        if (!SameSqlName(FResult.FirstWord, u"rollback")) return false;
        // ROLLBACK [WORK | TRANSACTION] TO savepoint stays inside.
        const bool Filler = SameSqlName(FWords[1], u"work") || SameSqlName(FWords[1], u"transaction");
        return !SameSqlName(FWords[Filler ? 2 : 1], u"to");
    }

    const std::u16string_view FText;
    const TSqlSyntax& FSyntax;
    TScannedStatement FResult;
    std::unordered_map<std::u16string, std::size_t> FNameIndex;
    std::size_t FPos = 0;
    TEscapes FEscapes = TEscapes::None;
    std::u16string_view FLastToken;
    int FDepth = 0;                            // of parentheses
    std::array<std::u16string_view, 3> FWords; // the first ones
    std::size_t FWordCount = 0;
    bool FVerbFound = false;
    bool FSawToken = false;
    bool FStatementEnded = false;
};

void AppendNumber(std::u16string& Text, std::size_t Number) {
    for (const char Digit : std::to_string(Number)) Text += static_cast<char16_t>(Digit);
}

} // namespace

TScannedStatement ScanStatement(std::u16string_view Text, const TSqlSyntax& Syntax) {
    return TScanner(Text, Syntax).Run();
}

std::u16string RewriteStatement(std::u16string_view Text, const TScannedStatement& Scan,
                                const TSqlSyntax& Syntax) {
    std::u16string Result;
    Result.reserve(Text.size() + 4 * Scan.Params.size());
    std::size_t Copied = 0;
    const auto CopyTo = [&](const TTextSpan& Span) {
        Result.append(Text, Copied, Span.Offset - Copied);
        Result += u' '; // keeps what stands before apart: "LIMIT:n" must not become "LIMIT$1"
        Copied = Span.Offset + Span.Length;
    };
    auto Comment = Scan.Comments.begin();
    for (std::size_t Index = 0; Index < Scan.Params.size(); ++Index) {
        const TStatementParam& Param = Scan.Params[Index];
        for (; Comment != Scan.Comments.end() && Comment->Offset < Param.Place.Offset; ++Comment)
            CopyTo(*Comment);
        CopyTo(Param.Place);
        Result += Syntax.ParamMark;
        AppendNumber(Result, Syntax.NumberedByName ? Param.Name + 1 : Index);
    }
    for (; Comment != Scan.Comments.end(); ++Comment) CopyTo(*Comment);
    Result.append(Text, Copied);
    return Result;
}

bool SameSqlName(std::u16string_view Left, std::u16string_view Right) {
    return platform::EqualAsciiNoCase(Left, Right);
}

std::u16string FoldSqlName(std::u16string_view Name) {
    return platform::LowerAsciiText(std::u16string(Name));
}

} // namespace zutools::server
