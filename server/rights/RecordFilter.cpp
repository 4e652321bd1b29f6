#include "server/rights/RecordFilter.h"

#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "platform/Text.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>
#include <variant>
#include <vector>

namespace zutools::server {

namespace {

[[nodiscard]] bool IsDigit(char16_t Unit) {
    return Unit >= u'0' && Unit <= u'9';
}

[[nodiscard]] bool IsWordUnit(char16_t Unit) {
    return Unit == u'_' || platform::IsLetterOrDigit(Unit);
}

/// `Position` counts from 1.
[[noreturn]] void Fail(std::u16string_view Filter, std::size_t Position, std::u16string_view What) {
    throw ERecordFilter(Format(u"The record filter \"%s\" is wrong at position %d: %s",
                               {Filter, static_cast<long long>(Position), What}));
}

[[noreturn]] void FailUse(std::u16string_view Filter, std::u16string_view What) {
    throw ERecordFilter(Format(u"The record filter \"%s\" cannot be used: %s", {Filter, What}));
}

struct TAttribute {
    std::u16string Name;
};
using TOperand = std::variant<TKXVariant, TAttribute>; // a text, a number, or what the user has

/// What a condition may come out as, a bit for each: true, false, or unknown as in SQL. Several where only
/// the write tells a field's value.
enum TOutcome : unsigned { Unknown = 1, False = 2, True = 4, Any = Unknown | False | True };
constexpr TOutcome Outcomes[] = {Unknown, False, True};

[[nodiscard]] unsigned OutcomeOf(bool Is) {
    return Is ? True : False;
}

[[nodiscard]] unsigned Negated(unsigned Outcome) {
    return (Outcome & Unknown) | ((Outcome & True) != 0 ? False : 0U) | ((Outcome & False) != 0 ? True : 0U);
}

/// `Deciding` from one decides; otherwise one unknown makes both unknown.
[[nodiscard]] TOutcome Joined(TOutcome Left, TOutcome Right, TOutcome Deciding) {
    if (Left == Deciding || Right == Deciding) return Deciding;
    return Left == Unknown ? Left : Right;
}

[[nodiscard]] unsigned AllJoined(unsigned Left, unsigned Right, TOutcome Deciding) {
    unsigned Result = 0;
    for (const TOutcome One : Outcomes) {
        for (const TOutcome Other : Outcomes) {
            if ((Left & One) != 0 && (Right & Other) != 0) Result |= Joined(One, Other, Deciding);
        }
    }
    return Result;
}

[[nodiscard]] bool IsUnknown(const TKXVariant& Value) {
    return Value.IsNull() || (Value.Kind() == TVariantKind::vkFloat && std::isnan(Value.AsFloat()));
}

/// The digits of a number but for zeros at its ends: those that a float has to keep.
[[nodiscard]] std::size_t CountedDigits(std::u16string_view Number) {
    std::u16string Digits;
    std::copy_if(Number.begin(), Number.end(), std::back_inserter(Digits), IsDigit);
    const std::size_t First = Digits.find_first_not_of(u'0');
    return First == Digits.npos ? 0 : Digits.find_last_not_of(u'0') + 1 - First;
}

} // namespace

bool IsRecordFilterName(std::u16string_view Name) {
    return !Name.empty() && !IsDigit(Name.front()) && std::all_of(Name.begin(), Name.end(), IsWordUnit);
}

struct TRecordFilter::TNode {
    enum class TKind { And, Or, Not, In, IsNull };
    TKind Kind = TKind::And;
    std::vector<TNode> Children;    // of And, Or (two or more) and Not (one)
    std::u16string Field;           // of In and IsNull
    std::vector<TOperand> Operands; // of In; a comparison is one with a single operand
};

// ---- parsing

class TRecordFilter::TParser {
public:
    explicit TParser(std::u16string_view Text)
        : FText(Text) {}

    [[nodiscard]] TNode Parse() {
        if (FText.size() > MaxLength) {
            Fail(FText.substr(0, 40), MaxLength + 1,
                 u"it is longer than 4096 characters; grant several shorter ones");
        }
        SkipBlanks();
        if (AtEnd()) FailHere(u"it is empty; write a condition such as Department = :Department");
        TNode Root = Alternatives(0);
        if (!AtEnd()) FailHere(u"expected AND, OR or the end");
        return Root;
    }

private:
    [[nodiscard]] TNode Alternatives(int Depth) { return Chain(TNode::TKind::Or, u"OR", Depth); }

    [[nodiscard]] TNode Chain(TNode::TKind Kind, std::u16string_view Word, int Depth) {
        const auto Part = [this, Kind, Depth] {
            return Kind == TNode::TKind::Or ? Chain(TNode::TKind::And, u"AND", Depth) : Single(Depth);
        };
        TNode First = Part();
        if (!IsWord(Word)) return First;
        TNode All{.Kind = Kind, .Children = {}, .Field = {}, .Operands = {}};
        All.Children.push_back(std::move(First));
        while (TakeWord(Word)) All.Children.push_back(Part());
        return All;
    }

    [[nodiscard]] TNode Single(int Depth) {
        if (Depth >= MaxNesting) FailHere(u"it is nested deeper than 100 levels; write it flatter");
        if (TakeWord(u"NOT")) return Not(Single(Depth + 1));
        const std::size_t Opened = FPos;
        if (!TakeSign(u'(')) return Condition();
        TNode Inner = Alternatives(Depth + 1);
        if (!TakeSign(u')')) {
            FailHere(Format(u"expected AND, OR or the \")\" for the \"(\" at position %d",
                            {static_cast<long long>(Opened + 1)}));
        }
        return Inner;
    }

    [[nodiscard]] static TNode Not(TNode Inner) {
        TNode Node{.Kind = TNode::TKind::Not, .Children = {}, .Field = {}, .Operands = {}};
        Node.Children.push_back(std::move(Inner));
        return Node;
    }

    [[nodiscard]] TNode Condition() {
        TNode Node{.Kind = TNode::TKind::In, .Children = {}, .Field = Field(), .Operands = {}};
        if (TakeWord(u"IS")) {
            Node.Kind = TNode::TKind::IsNull;
            const bool Negative = TakeWord(u"NOT");
            if (!TakeWord(u"NULL")) FailHere(u"expected NULL or NOT NULL after IS");
            return Negative ? Not(std::move(Node)) : std::move(Node);
        }
        if (TakeSign(u'=')) {
            Node.Operands.push_back(Operand());
            return Node;
        }
        if (FText.substr(FPos).starts_with(u"<>")) {
            FPos += 2;
            SkipBlanks();
            Node.Operands.push_back(Operand());
            return Not(std::move(Node));
        }
        const bool Negative = TakeWord(u"NOT");
        if (TakeWord(u"IN")) {
            ReadList(Node);
            return Negative ? Not(std::move(Node)) : std::move(Node);
        }
        FailHere(Negative ? u"expected IN after NOT" : u"expected =, <>, IN, NOT IN or IS after a field");
    }

    void ReadList(TNode& Node) {
        if (!TakeSign(u'(')) FailHere(u"expected \"(\" after IN");
        do {
            Node.Operands.push_back(Operand());
        } while (TakeSign(u','));
        if (!TakeSign(u')')) FailHere(u"expected \",\" or \")\" in the list of IN");
    }

    [[nodiscard]] std::u16string Field() {
        if (!AtEnd() && FText[FPos] == u'"') return Quoted(u'"', u"a field's name");
        for (const std::u16string_view Word : {u"AND", u"OR", u"NOT", u"IN", u"IS", u"NULL"}) {
            if (IsWord(Word)) FailHere(u"expected a field; one of that name stands in double quotes");
        }
        if (AtEnd() || IsDigit(FText[FPos]) || !IsWordUnit(FText[FPos])) FailHere(u"expected a field");
        return std::u16string(TakeWordHere());
    }

    [[nodiscard]] TOperand Operand() {
        constexpr std::u16string_view Expected =
            u"expected a text in single quotes, a number or an attribute such as :Department";
        if (AtEnd()) FailHere(Expected);
        const char16_t First = FText[FPos];
        if (First == u'\'') return TKXVariant(Quoted(u'\'', u"a text"));
        if (First == u':') {
            ++FPos;
            if (AtEnd() || IsDigit(FText[FPos]) || !IsWordUnit(FText[FPos])) {
                FailHere(u"expected an attribute's name right after the \":\"");
            }
            return TAttribute{std::u16string(TakeWordHere())};
        }
        if (First == u'-' || IsDigit(First)) return Number();
        FailHere(Expected);
    }

    [[nodiscard]] TOperand Number() {
        const std::size_t Start = FPos;
        if (FText[FPos] == u'-') ++FPos;
        const auto Digits = [this] {
            const std::size_t From = FPos;
            while (!AtEnd() && IsDigit(FText[FPos])) ++FPos;
            return FPos > From;
        };
        constexpr std::u16string_view Expected = u"expected a number such as 12 or -0.5";
        if (!Digits()) FailHere(Expected);
        bool Whole = true;
        if (!AtEnd() && FText[FPos] == u'.') {
            ++FPos;
            Whole = false;
            if (!Digits()) FailHere(Expected);
        }
        if (!AtEnd() && IsWordUnit(FText[FPos])) FailHere(Expected);
        const std::u16string_view Text = FText.substr(Start, FPos - Start);
        SkipBlanks();
        if (Whole) {
            if (const auto Value = TryStrToInt64(Text)) return TKXVariant(*Value);
        } else if (CountedDigits(Text) > std::numeric_limits<double>::digits10) {
            Fail(FText, Start + 1, u"the number has more than 15 digits; write it in quotes");
        } else if (const auto Value = TryStrToFloat(Text)) {
            return TKXVariant(*Value);
        }
        Fail(FText, Start + 1, u"the number is too large; numbers have 64 bits");
    }

    /// The text between two signs, of which a doubled one stands for itself.
    [[nodiscard]] std::u16string Quoted(char16_t Sign, std::u16string_view What) {
        const std::size_t Start = FPos++;
        std::u16string Value;
        for (; !AtEnd(); ++FPos) {
            if (FText[FPos] != Sign) {
                Value += FText[FPos];
                continue;
            }
            if (FPos + 1 == FText.size() || FText[FPos + 1] != Sign) {
                ++FPos;
                SkipBlanks();
                return Value;
            }
            Value += Sign;
            ++FPos;
        }
        Fail(FText, Start + 1,
             Format(u"the closing %s of %s is missing; one inside is doubled",
                    {std::u16string_view(&Sign, 1), What}));
    }

    [[nodiscard]] bool AtEnd() const { return FPos == FText.size(); }

    void SkipBlanks() {
        while (!AtEnd() && (FText[FPos] == u' ' || (FText[FPos] >= u'\t' && FText[FPos] <= u'\r'))) ++FPos;
    }

    [[nodiscard]] std::u16string_view WordHere() const {
        std::size_t End = FPos;
        while (End < FText.size() && IsWordUnit(FText[End])) ++End;
        return FText.substr(FPos, End - FPos);
    }

    std::u16string_view TakeWordHere() {
        const std::u16string_view Word = WordHere();
        FPos += Word.size();
        SkipBlanks();
        return Word;
    }

    [[nodiscard]] bool IsWord(std::u16string_view Word) const { return SameText(WordHere(), Word); }

    bool TakeWord(std::u16string_view Word) {
        if (!IsWord(Word)) return false;
        TakeWordHere();
        return true;
    }

    bool TakeSign(char16_t Sign) {
        if (AtEnd() || FText[FPos] != Sign) return false;
        ++FPos;
        SkipBlanks();
        return true;
    }

    [[noreturn]] void FailHere(std::u16string_view What) const { Fail(FText, FPos + 1, What); }

    const std::u16string_view FText;
    std::size_t FPos = 0;
};

// ---- evaluation

class TRecordFilter::TEvaluation {
public:
    TEvaluation(std::u16string_view Filter, const TUserInfo& User, const TUserTable& Record,
                TRecordState State)
        : FFilter(Filter)
        , FUser(User)
        , FRecord(Record)
        , FState(State) {}

    void CheckNames(const TNode& Node) const {
        for (const TNode& Child : Node.Children) CheckNames(Child);
        if (!Node.Field.empty() && !FRecord.HasField(Node.Field)) {
            FailUse(FFilter, Format(u"the table \"%s\" has no field \"%s\"; correct the filter",
                                    {FRecord.TableName(), Node.Field}));
        }
        for (const TOperand& Operand : Node.Operands) {
            if (const auto* const Attribute = std::get_if<TAttribute>(&Operand)) (void)ValueOf(*Attribute);
        }
    }

    [[nodiscard]] unsigned Outcome(const TNode& Node) const {
        switch (Node.Kind) {
        case TNode::TKind::Not:
            return Negated(Outcome(Node.Children.front()));
        case TNode::TKind::And:
            return Joined(Node, False);
        case TNode::TKind::Or:
            return Joined(Node, True);
        case TNode::TKind::IsNull:
            return IsPending(Node) ? True | False : OutcomeOf(IsUnknown(Value(Node)));
        case TNode::TKind::In:
            return IsPending(Node) ? Any : IsOneOf(Node);
        }
        return Unknown;
    }

private:
    /// No child is left out, so that a comparison that cannot be made shows with every record.
    [[nodiscard]] unsigned Joined(const TNode& Node, TOutcome Deciding) const {
        unsigned Result = Outcome(Node.Children.front());
        for (std::size_t Index = 1; Index < Node.Children.size(); ++Index) {
            Result = AllJoined(Result, Outcome(Node.Children[Index]), Deciding);
        }
        return Result;
    }

    [[nodiscard]] unsigned IsOneOf(const TNode& Node) const {
        const TKXVariant Is = Value(Node);
        if (IsUnknown(Is)) return Unknown;
        bool Found = false;
        for (const TOperand& Operand : Node.Operands) {
            const auto* const Attribute = std::get_if<TAttribute>(&Operand);
            const auto Same = FRecord.SameValue(Node.Field, Is,
                                                Attribute != nullptr ? TKXVariant(ValueOf(*Attribute))
                                                                     : std::get<TKXVariant>(Operand));
            if (!Same) {
                FailUse(
                    FFilter,
                    Format(u"the field \"%s\" of the table \"%s\" is of the type %s, which does not compare "
                           u"to that value; write texts in quotes and numbers without",
                           {Node.Field, FRecord.TableName(), VariantKindName(Is.Kind())}));
            }
            Found = Found || *Same;
        }
        return OutcomeOf(Found);
    }

    [[nodiscard]] bool IsPending(const TNode& Node) const {
        return FState == TRecordState::Current && FRecord.IsPending(Node.Field);
    }

    [[nodiscard]] TKXVariant Value(const TNode& Node) const {
        return FState == TRecordState::Stored ? FRecord.StoredField(Node.Field) : FRecord.Field(Node.Field);
    }

    [[nodiscard]] const std::u16string& ValueOf(const TAttribute& Attribute) const {
        if (SameText(Attribute.Name, u"UserName")) return FUser.UserName;
        if (SameText(Attribute.Name, u"Profile")) return FUser.Profile;
        for (const auto& [Name, Value] : FUser.Attributes) {
            if (SameText(Attribute.Name, Name)) return Value;
        }
        FailUse(FFilter, Format(u"the user \"%s\" has no attribute \"%s\"; give the user one",
                                {FUser.UserName, Attribute.Name}));
    }

    const std::u16string_view FFilter;
    const TUserInfo& FUser;
    const TUserTable& FRecord;
    const TRecordState FState;
};

TRecordFilter::TRecordFilter(std::u16string_view Text)
    : FText(Text)
    , FRoot(std::make_unique<const TNode>(TParser(FText).Parse())) {}

TRecordFilter::~TRecordFilter() = default;
TRecordFilter::TRecordFilter(TRecordFilter&&) noexcept = default;

bool TRecordFilter::Covers(const TUserInfo& User, const TUserTable& Record, TRecordState State) const {
    const TEvaluation Evaluation(FText, User, Record, State);
    Evaluation.CheckNames(*FRoot);
    return (Evaluation.Outcome(*FRoot) & True) != 0;
}

} // namespace zutools::server
