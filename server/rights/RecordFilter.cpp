#include "server/rights/RecordFilter.h"

#include "host/Format.h"
#include "host/Numbers.h"
#include "host/StringHelpers.h"
#include "platform/Text.h"

#include <algorithm>
#include <cmath>
#include <optional>
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
using TOperand = std::variant<std::u16string, std::int64_t, double, TAttribute>;

/// True, false, or unknown as in SQL.
using TAnswer = std::optional<bool>;

[[nodiscard]] TAnswer Negated(TAnswer Answer) {
    if (Answer) return !*Answer;
    return Answer;
}

/// Exact also where a double cannot hold the integer.
[[nodiscard]] bool SameNumber(std::int64_t Whole, double Number) {
    constexpr double Limit = 9223372036854775808.0; // 2^63
    if (!(Number >= -Limit && Number < Limit) || std::trunc(Number) != Number) return false;
    return static_cast<std::int64_t>(Number) == Whole;
}

[[nodiscard]] bool SameNumbers(const std::variant<std::int64_t, double>& Left,
                               const std::variant<std::int64_t, double>& Right) {
    const auto* const LeftWhole = std::get_if<std::int64_t>(&Left);
    const auto* const RightWhole = std::get_if<std::int64_t>(&Right);
    if (LeftWhole != nullptr && RightWhole != nullptr) return *LeftWhole == *RightWhole;
    if (LeftWhole != nullptr) return SameNumber(*LeftWhole, std::get<double>(Right));
    if (RightWhole != nullptr) return SameNumber(*RightWhole, std::get<double>(Left));
    return std::get<double>(Left) == std::get<double>(Right);
}

[[nodiscard]] std::optional<std::variant<std::int64_t, double>> NumberOf(std::u16string_view Text) {
    if (const auto Whole = TryStrToInt64(Text)) return *Whole;
    if (const auto Number = TryStrToFloat(Text)) return *Number;
    return std::nullopt;
}

/// Whether a value that is not null is the operand; none when the two cannot be compared.
[[nodiscard]] TAnswer SameAsText(const TKXVariant& Value, std::u16string_view Text) {
    switch (Value.Kind()) {
    case TVariantKind::vkInteger:
    case TVariantKind::vkInt64:
    case TVariantKind::vkFloat: {
        const auto Number = NumberOf(Text);
        if (!Number) return std::nullopt;
        if (Value.Kind() == TVariantKind::vkFloat) return SameNumbers(Value.AsFloat(), *Number);
        return SameNumbers(Value.AsInt64(), *Number);
    }
    case TVariantKind::vkBoolean:
    case TVariantKind::vkWordBool:
        if (SameText(Text, u"True") || Text == u"1") return Value.AsBoolean();
        if (SameText(Text, u"False") || Text == u"0") return !Value.AsBoolean();
        return std::nullopt;
    case TVariantKind::vkDateTime:
        try {
            return Value.AsString() == TKXVariant(TKXVariant(Text).AsDateTime()).AsString();
        } catch (const EVariantError&) {
            return std::nullopt;
        }
    case TVariantKind::vkAnsiChar:
    case TVariantKind::vkWideChar:
    case TVariantKind::vkString:
    case TVariantKind::vkAnsiString:
        return Value.AsString() == Text;
    case TVariantKind::vkNull:
    case TVariantKind::vkObject:
        break;
    }
    return std::nullopt;
}

[[nodiscard]] TAnswer SameAsNumber(const TKXVariant& Value,
                                   const std::variant<std::int64_t, double>& Number) {
    switch (Value.Kind()) {
    case TVariantKind::vkInteger:
    case TVariantKind::vkInt64:
        return SameNumbers(Value.AsInt64(), Number);
    case TVariantKind::vkFloat:
        return SameNumbers(Value.AsFloat(), Number);
    case TVariantKind::vkBoolean:
    case TVariantKind::vkWordBool:
        return SameNumbers(std::int64_t{Value.AsBoolean()}, Number);
    default:
        return std::nullopt;
    }
}

[[nodiscard]] bool IsUnknown(const TKXVariant& Value) {
    return Value.IsNull() || (Value.Kind() == TVariantKind::vkFloat && std::isnan(Value.AsFloat()));
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
        if (First == u'\'') return Quoted(u'\'', u"a text");
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
            if (const auto Value = TryStrToInt64(Text)) return *Value;
        } else if (const auto Value = TryStrToFloat(Text)) {
            return *Value;
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

    [[nodiscard]] TAnswer Answer(const TNode& Node) const {
        switch (Node.Kind) {
        case TNode::TKind::Not:
            return Negated(Answer(Node.Children.front()));
        case TNode::TKind::And:
            return Joined(Node, false);
        case TNode::TKind::Or:
            return Joined(Node, true);
        case TNode::TKind::IsNull:
            return IsUnknown(Value(Node));
        case TNode::TKind::In:
            return IsOneOf(Node);
        }
        return std::nullopt;
    }

private:
    /// `Deciding` from one child decides; otherwise one unknown makes all unknown. No child is left out, so
    /// that a comparison that cannot be made shows with every record.
    [[nodiscard]] TAnswer Joined(const TNode& Node, bool Deciding) const {
        bool Decided = false;
        TAnswer Result = !Deciding;
        for (const TNode& Child : Node.Children) {
            const TAnswer One = Answer(Child);
            if (One == Deciding) Decided = true;
            if (!One) Result = std::nullopt;
        }
        return Decided ? TAnswer(Deciding) : Result;
    }

    [[nodiscard]] TAnswer IsOneOf(const TNode& Node) const {
        const TKXVariant Is = Value(Node);
        if (IsUnknown(Is)) return std::nullopt;
        bool Found = false;
        for (const TOperand& Operand : Node.Operands) {
            const TAnswer Same = IsSame(Is, Operand);
            if (!Same) {
                FailUse(
                    FFilter,
                    Format(u"the field \"%s\" of the table \"%s\" is of the type %s, which does not compare "
                           u"to that value; write texts in quotes and numbers without",
                           {Node.Field, FRecord.TableName(), VariantKindName(Is.Kind())}));
            }
            Found = Found || *Same;
        }
        return Found;
    }

    [[nodiscard]] TAnswer IsSame(const TKXVariant& Is, const TOperand& Operand) const {
        if (const auto* const Text = std::get_if<std::u16string>(&Operand)) return SameAsText(Is, *Text);
        if (const auto* const Whole = std::get_if<std::int64_t>(&Operand)) return SameAsNumber(Is, *Whole);
        if (const auto* const Number = std::get_if<double>(&Operand)) return SameAsNumber(Is, *Number);
        return SameAsText(Is, ValueOf(std::get<TAttribute>(Operand)));
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
    return Evaluation.Answer(*FRoot).value_or(false);
}

} // namespace zutools::server
