#include "scripting/Recording.h"

#include "host/Format.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "platform/TextTools.h"

#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>

namespace zutools {

using platform::TAutomationOutcome;
using platform::TAutomationPtr;
using platform::TAutomationType;
using platform::TAutomationValue;
using platform::TInvokeKind;

namespace {

constexpr std::string_view FirstLine = "ZuTools automation recording 1";
constexpr std::string_view Between = " = "; // question and answer; stands in no question outside its quotes

// ---- writing

std::string Quoted(std::u16string_view Text) {
    std::string Result = "\"";
    for (const char16_t C : Text) {
        if (C == u'"' || C == u'\\') {
            Result += '\\';
            Result += static_cast<char>(C);
        } else if (C >= 0x20 && C < 0x7F) {
            Result += static_cast<char>(C);
        } else if (platform::IsControl(C) || platform::IsSurrogate(C)) {
            Result += "\\u"; // every unit for itself: a text may hold half a pair
            platform::AppendHex(Result, static_cast<unsigned char>(C >> 8U));
            platform::AppendHex(Result, static_cast<unsigned char>(C & 0xFFU));
        } else {
            Result += platform::Utf16ToUtf8({&C, 1});
        }
    }
    return Result += '"';
}

std::string FloatText(double Value) {
    std::array<char, 40> Buffer{};
    return {Buffer.data(), std::to_chars(Buffer.data(), Buffer.data() + Buffer.size(), Value).ptr};
}

// A value as text; `Name` tells what an object is called.
template <class TName>
std::string Written(const TAutomationValue& Value, const TName& Name) {
    struct TWriter {
        const TName& Name;
        std::string operator()(std::monostate) const { return "empty"; }
        std::string operator()(platform::TAutomationNull) const { return "null"; }
        std::string operator()(bool Held) const { return Held ? "true" : "false"; }
        std::string operator()(std::int32_t Held) const { return "int " + std::to_string(Held); }
        std::string operator()(std::int64_t Held) const { return "int64 " + std::to_string(Held); }
        std::string operator()(double Held) const { return "float " + FloatText(Held); }
        std::string operator()(platform::TAutomationCurrency Held) const {
            return "currency " + std::to_string(Held.TenThousandths);
        }
        std::string operator()(platform::TAutomationDate Held) const {
            return "date " + FloatText(Held.Days);
        }
        std::string operator()(platform::TAutomationError Held) const {
            return "error " + std::to_string(Held.Code);
        }
        std::string operator()(const std::u16string& Held) const { return Quoted(Held); }
        std::string operator()(const TAutomationPtr& Held) const {
            return Held == nullptr ? "nothing" : "object " + Name(Held);
        }
        std::string operator()(const TAutomationValue::TArray& Held) const {
            std::string Text = "[";
            for (const TAutomationValue& Each : Held) Text += " " + std::visit(*this, Each.Data());
            return Text + " ]";
        }
    };
    return std::visit(TWriter{Name}, Value.Data());
}

std::string_view KindText(TInvokeKind Kind) {
    switch (Kind) {
    case TInvokeKind::Method:
        return "method";
    case TInvokeKind::PropertyGet:
        return "get";
    case TInvokeKind::MethodOrPropertyGet:
        return "method-or-get";
    case TInvokeKind::PropertyPut:
        return "put";
    }
    return "call"; // what nobody asks for
}

// Questions, as recorder and replay write them alike.
std::string FindText(int Object, std::u16string_view Name) {
    return std::to_string(Object) + " find " + Quoted(Name);
}

template <class TName>
std::string InvokeText(int Object, std::u16string_view Member, TInvokeKind Kind,
                       std::span<const TAutomationValue> Args, bool WantResult, const TName& Name) {
    std::string Text = std::to_string(Object) + " " + std::string(KindText(Kind)) + " " + Quoted(Member);
    for (const TAutomationValue& Each : Args) Text += " " + Written(Each, Name);
    return WantResult ? Text : Text + " unasked";
}

std::string TypeText(int Object) {
    return std::to_string(Object) + " type";
}

std::string Written(const std::vector<platform::TAutomationMember>& Members) {
    std::string Text;
    for (const platform::TAutomationMember& Member : Members)
        Text += " " + Quoted(Member.Name) + " " + std::to_string(Member.Id);
    return Text;
}

// The names under which the members of an object were found, by id.
class TMemberNames {
public:
    void Note(std::int32_t Id, std::u16string_view Name) { FNames[Id] = Name; }
    [[nodiscard]] std::u16string Of(std::int32_t Id) const {
        const auto Found = FNames.find(Id);
        return Found != FNames.end() ? Found->second : Format(u"#%d", {Id});
    }

private:
    std::map<std::int32_t, std::u16string> FNames;
};

// ---- recording

struct TTape {
    std::ofstream Stream;
    std::u16string File;
    int Objects = 0;

    void Write(const std::string& Question, const std::string& Answer) {
        // Flushed: what the program did before it died is what one wants to see.
        Stream << Question << Between << Answer << '\n' << std::flush;
        if (!Stream) throw Exception(Format(u"Cannot write the recording \"%s\"", {File}));
    }
};

class TRecorder final : public platform::TAutomationObject {
public:
    TRecorder(TAutomationPtr Object, std::shared_ptr<TTape> Tape)
        : FObject(std::move(Object))
        , FTape(std::move(Tape))
        , FNumber(FTape->Objects++) {}

    [[nodiscard]] std::optional<std::int32_t> FindMember(std::u16string_view Name) override {
        const std::optional<std::int32_t> Id = FObject->FindMember(Name);
        if (Id) FNames.Note(*Id, Name);
        FTape->Write(FindText(FNumber, Name), Id ? std::to_string(*Id) : "none");
        return Id;
    }
    [[nodiscard]] TAutomationOutcome Invoke(std::int32_t Member, TInvokeKind Kind,
                                            std::span<const TAutomationValue> Args,
                                            bool WantResult) override {
        std::vector<TAutomationValue> Real;
        for (const TAutomationValue& Each : Args) Real.push_back(Unwrapped(Each));
        TAutomationOutcome Outcome = FObject->Invoke(Member, Kind, Real, WantResult);
        const std::string Question = InvokeText(FNumber, FNames.Of(Member), Kind, Args, WantResult, NumberOf);
        const std::string Code = std::to_string(Outcome.Code);
        Outcome.Value = Wrapped(std::move(Outcome.Value));
        FTape->Write(Question, Outcome.Done() ? "done " + Code + " " + Written(Outcome.Value, NumberOf)
                                              : "refused " + Code + " " + Quoted(Outcome.Text));
        return Outcome;
    }
    [[nodiscard]] std::optional<TAutomationType> DescribeType() override {
        std::optional<TAutomationType> Type = FObject->DescribeType();
        FTape->Write(TypeText(FNumber), Type ? Quoted(Type->Name) + " functions" + Written(Type->Functions) +
                                                   " variables" + Written(Type->Variables)
                                             : "none");
        return Type;
    }

private:
    static std::string NumberOf(const TAutomationPtr& Object) {
        const auto* const Own = dynamic_cast<const TRecorder*>(Object.get());
        return Own != nullptr ? std::to_string(Own->FNumber) : "given";
    }
    // What comes is recorded from here on.
    TAutomationValue Wrapped(TAutomationValue Value) {
        if (const TAutomationPtr Object = Value.Object())
            return TAutomationPtr(std::make_shared<TRecorder>(Object, FTape));
        if (const auto* const Items = Value.As<TAutomationValue::TArray>()) {
            TAutomationValue::TArray Result;
            for (const TAutomationValue& Each : *Items) Result.push_back(Wrapped(Each));
            return Result;
        }
        return Value;
    }
    // The object must see its own kind again, not our stand-ins.
    static TAutomationValue Unwrapped(const TAutomationValue& Value) {
        if (const auto* const Own = dynamic_cast<const TRecorder*>(Value.Object().get())) return Own->FObject;
        if (const auto* const Items = Value.As<TAutomationValue::TArray>()) {
            TAutomationValue::TArray Result;
            for (const TAutomationValue& Each : *Items) Result.push_back(Unwrapped(Each));
            return Result;
        }
        return Value;
    }

    const TAutomationPtr FObject;
    const std::shared_ptr<TTape> FTape;
    const int FNumber;
    TMemberNames FNames;
};

// ---- reading

// An answer taken apart; every function says false, or nothing, for a text that is none.
class TAnswerReader {
public:
    explicit TAnswerReader(std::string_view Text)
        : FRest(Text) {}

    [[nodiscard]] bool AtEnd() {
        SkipBlanks();
        return FRest.empty();
    }
    [[nodiscard]] std::string_view Word() {
        SkipBlanks();
        const std::size_t Size = std::min(FRest.find(' '), FRest.size());
        const std::string_view Result = FRest.substr(0, Size);
        FRest.remove_prefix(Size);
        return Result;
    }
    template <class TNumber>
    [[nodiscard]] std::optional<TNumber> Number() {
        const std::string_view Text = Word();
        TNumber Value{};
        const auto Read = std::from_chars(Text.data(), Text.data() + Text.size(), Value);
        if (Read.ec != std::errc() || Read.ptr != Text.data() + Text.size()) return std::nullopt;
        return Value;
    }
    [[nodiscard]] std::optional<std::u16string> Text() {
        SkipBlanks();
        if (FRest.empty() || FRest.front() != '"') return std::nullopt;
        FRest.remove_prefix(1);
        std::u16string Result;
        while (!FRest.empty() && FRest.front() != '"') {
            if (FRest.front() == '\\') {
                if (!Escape(Result)) return std::nullopt;
                continue;
            }
            const std::size_t Size = std::min(FRest.find_first_of("\"\\"), FRest.size());
            auto Plain = platform::Utf8ToUtf16Strict(FRest.substr(0, Size));
            if (Plain.Error) return std::nullopt;
            Result += Plain.Text;
            FRest.remove_prefix(Size);
        }
        if (FRest.empty()) return std::nullopt;
        FRest.remove_prefix(1);
        return Result;
    }
    /// `Object` makes the object of a number.
    template <class TObject>
    [[nodiscard]] std::optional<TAutomationValue> Value(const TObject& Object, int Depth = 0) {
        constexpr int MaxDepth = 32;
        SkipBlanks();
        if (!FRest.empty() && FRest.front() == '"') return Made<TAutomationValue>(Text());
        const std::string_view Kind = Word();
        if (Kind == "empty") return TAutomationValue();
        if (Kind == "null") return TAutomationValue(platform::TAutomationNull());
        if (Kind == "true" || Kind == "false") return TAutomationValue(Kind == "true");
        if (Kind == "nothing") return TAutomationValue(TAutomationPtr());
        if (Kind == "int") return Made<TAutomationValue>(Number<std::int32_t>());
        if (Kind == "int64") return Made<TAutomationValue>(Number<std::int64_t>());
        if (Kind == "float") return Made<TAutomationValue>(Number<double>());
        if (Kind == "currency") return Made<platform::TAutomationCurrency>(Number<std::int64_t>());
        if (Kind == "date") return Made<platform::TAutomationDate>(Number<double>());
        if (Kind == "error") return Made<platform::TAutomationError>(Number<std::int32_t>());
        if (Kind == "object") {
            const auto Place = Number<int>();
            return Place && *Place > 0 ? std::optional<TAutomationValue>(Object(*Place)) : std::nullopt;
        }
        if (Kind != "[" || Depth >= MaxDepth) return std::nullopt;
        TAutomationValue::TArray Items;
        for (;;) {
            SkipBlanks();
            if (FRest.starts_with(']')) break;
            std::optional<TAutomationValue> Item = Value(Object, Depth + 1);
            if (!Item) return std::nullopt;
            Items.push_back(std::move(*Item));
        }
        FRest.remove_prefix(1);
        return TAutomationValue(std::move(Items));
    }
    [[nodiscard]] std::optional<std::vector<platform::TAutomationMember>> Members() {
        std::vector<platform::TAutomationMember> Result;
        for (SkipBlanks(); FRest.starts_with('"'); SkipBlanks()) {
            auto Name = Text();
            const auto Id = Number<std::int32_t>();
            if (!Name || !Id) return std::nullopt;
            Result.push_back({std::move(*Name), *Id});
        }
        return Result;
    }

private:
    void SkipBlanks() {
        while (FRest.starts_with(' ')) FRest.remove_prefix(1);
    }
    template <class T, class TPart>
    static std::optional<TAutomationValue> Made(std::optional<TPart> Part) {
        if (!Part) return std::nullopt;
        return TAutomationValue(T{std::move(*Part)});
    }
    // The escape at the front.
    bool Escape(std::u16string& Target) {
        constexpr std::size_t Digits = 4;
        if (FRest.size() < 2) return false;
        const char Sign = FRest[1];
        FRest.remove_prefix(2);
        if (Sign != 'u') {
            Target += static_cast<char16_t>(Sign);
            return Sign == '"' || Sign == '\\';
        }
        unsigned Unit = 0;
        for (std::size_t I = 0; I < Digits; ++I) {
            const int Digit = I < FRest.size() ? platform::HexValue(FRest[I]) : -1;
            if (Digit < 0) return false;
            Unit = Unit * 16 + static_cast<unsigned>(Digit);
        }
        FRest.remove_prefix(Digits);
        Target += static_cast<char16_t>(Unit);
        return true;
    }

    std::string_view FRest;
};

// Where the question of a line ends; npos when it is no line of a recording.
std::size_t EndOfQuestion(std::string_view Line) {
    bool Inside = false;
    for (std::size_t I = 0; I < Line.size(); ++I) {
        if (Line[I] == '"') Inside = !Inside;
        if (Inside && Line[I] == '\\') ++I;
        if (!Inside && Line.substr(I, Between.size()) == Between) return I;
    }
    return Line.npos;
}

} // namespace

// ---- replaying

struct TAutomationReplay::TScript : std::enable_shared_from_this<TScript> {
    struct TLine {
        std::string Question, Answer;
        int Number; // in the file, from 1
    };
    std::u16string Name;
    std::vector<TLine> Lines;
    std::size_t Next = 0;

    [[noreturn]] void Fail(int Line, std::u16string_view What) const {
        throw EAutomationReplay(Format(u"%s:%d: %s", {Name, Line, What}));
    }
    // The answer to a question, which must be the next one.
    const TLine& Ask(const std::string& Question) {
        const std::u16string Came = platform::Utf8ToUtf16(Question);
        if (Next == Lines.size())
            Fail(Lines.empty() ? 1 : Lines.back().Number,
                 Format(u"the recording ends here, and %s came", {Came}));
        const TLine& Line = Lines[Next];
        if (Line.Question != Question)
            Fail(Line.Number,
                 Format(u"%s is recorded, but %s came", {platform::Utf8ToUtf16(Line.Question), Came}));
        ++Next;
        return Line;
    }
};

class TReplayObject final : public platform::TAutomationObject {
public:
    TReplayObject(std::shared_ptr<TAutomationReplay::TScript> Script, int Number)
        : FScript(std::move(Script))
        , FNumber(Number) {}

    [[nodiscard]] std::optional<std::int32_t> FindMember(std::u16string_view Name) override {
        const auto& Line = FScript->Ask(FindText(FNumber, Name));
        if (Line.Answer == "none") return std::nullopt;
        TAnswerReader Reader(Line.Answer);
        const auto Id = Reader.Number<std::int32_t>();
        if (!Id || !Reader.AtEnd()) FailAnswer(Line);
        FNames.Note(*Id, Name);
        return Id;
    }
    [[nodiscard]] TAutomationOutcome Invoke(std::int32_t Member, TInvokeKind Kind,
                                            std::span<const TAutomationValue> Args,
                                            bool WantResult) override {
        const auto NumberOf = [](const TAutomationPtr& Object) {
            const auto* const Own = dynamic_cast<const TReplayObject*>(Object.get());
            return Own != nullptr ? std::to_string(Own->FNumber) : std::string("given");
        };
        const auto& Line =
            FScript->Ask(InvokeText(FNumber, FNames.Of(Member), Kind, Args, WantResult, NumberOf));
        TAnswerReader Reader(Line.Answer);
        const std::string_view Verb = Reader.Word();
        const auto Code = Reader.Number<std::int32_t>();
        if (!Code || (Verb == "done") != (*Code >= 0) || (Verb != "done" && Verb != "refused"))
            FailAnswer(Line);
        if (Verb == "refused") {
            std::optional<std::u16string> Text = Reader.Text();
            if (!Text || !Reader.AtEnd()) FailAnswer(Line);
            return platform::AutomationRefusal(*Code, std::move(*Text));
        }
        std::optional<TAutomationValue> Value = Reader.Value([this](int Number) {
            return TAutomationValue(TAutomationPtr(std::make_shared<TReplayObject>(FScript, Number)));
        });
        if (!Value || !Reader.AtEnd()) FailAnswer(Line);
        return {*Code, {}, std::move(*Value)};
    }
    [[nodiscard]] std::optional<TAutomationType> DescribeType() override {
        const auto& Line = FScript->Ask(TypeText(FNumber));
        if (Line.Answer == "none") return std::nullopt;
        TAnswerReader Reader(Line.Answer);
        std::optional<std::u16string> Name = Reader.Text();
        if (!Name || Reader.Word() != "functions") FailAnswer(Line);
        auto Functions = Reader.Members();
        if (!Functions || Reader.Word() != "variables") FailAnswer(Line);
        auto Variables = Reader.Members();
        if (!Variables || !Reader.AtEnd()) FailAnswer(Line);
        return TAutomationType{std::move(*Name), std::move(*Functions), std::move(*Variables)};
    }

private:
    [[noreturn]] void FailAnswer(const TAutomationReplay::TScript::TLine& Line) const {
        FScript->Fail(Line.Number, Format(u"%s is no answer", {platform::Utf8ToUtf16(Line.Answer)}));
    }

    const std::shared_ptr<TAutomationReplay::TScript> FScript;
    const int FNumber;
    TMemberNames FNames;
};

TAutomationPtr RecordAutomation(TAutomationPtr Object, std::u16string_view File) {
    if (Object == nullptr) return nullptr;
    auto Tape = std::make_shared<TTape>();
    Tape->File = File;
    Tape->Stream.open(std::filesystem::path(Tape->File), std::ios::binary | std::ios::trunc);
    Tape->Stream << FirstLine << '\n' << std::flush;
    if (!Tape->Stream) throw Exception(Format(u"Cannot write the recording \"%s\"", {File}));
    return std::make_shared<TRecorder>(std::move(Object), std::move(Tape));
}

TAutomationReplay::TAutomationReplay(std::u16string_view File)
    : TAutomationReplay(platform::TReadFile(File).ReadAll(), File) {}

TAutomationReplay::TAutomationReplay(std::string_view Text, std::u16string_view Name)
    : FScript(std::make_shared<TScript>()) {
    FScript->Name = Name;
    Text = platform::WithoutByteOrderMark(Text);
    for (int Number = 1; !Text.empty(); ++Number) {
        const std::size_t End = std::min(Text.find('\n'), Text.size());
        std::string_view Line = Text.substr(0, End);
        Text.remove_prefix(std::min(End + 1, Text.size()));
        if (Line.ends_with('\r')) Line.remove_suffix(1);
        if (Number == 1) {
            if (Line != FirstLine) FScript->Fail(Number, u"this is no automation recording");
            continue;
        }
        if (Line.empty() || Line.front() == ';') continue; // a note of the person who keeps the file
        const std::size_t Question = EndOfQuestion(Line);
        if (Question == Line.npos)
            FScript->Fail(Number, u"a question and its answer are wanted, with \" = \" between");
        FScript->Lines.push_back({std::string(Line.substr(0, Question)),
                                  std::string(Line.substr(Question + Between.size())), Number});
    }
}

TAutomationReplay::~TAutomationReplay() = default;

TAutomationPtr TAutomationReplay::Object() const {
    return std::make_shared<TReplayObject>(FScript, 0);
}

std::vector<std::u16string> TAutomationReplay::Remaining() const {
    std::vector<std::u16string> Result;
    for (std::size_t I = FScript->Next; I < FScript->Lines.size(); ++I)
        Result.push_back(platform::Utf8ToUtf16(FScript->Lines[I].Question));
    return Result;
}

} // namespace zutools
