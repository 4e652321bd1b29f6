// zuhost crypto-probe: what a crypto engine library offers, asked in a process of its own.

#include "apps/zuhost/Commands.h"
#include "apps/zuhost/EngineProcess.h"

#include "host/Exception.h"
#include "host/Format.h"
#include "platform/Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <limits>

namespace zutools::zuhost {

namespace {

using json = nlohmann::json;
using TKind = TEngineTask::TKind;

constexpr const char* Footer =
    R"(Loads LIB, the name or path of a crypto engine library, and prints its engine types
with their parameters; secret values (password, PIN, key) are masked. Every question
is asked in a process of its own: an engine that crashes or hangs is told as such,
and the next type is asked all the same.

--sign signs with each type, with the values that --values reads. Mind that a wrong
PIN may lock a real device.

Exit code 0 when the library and every engine did what was asked, 1 when not.

Examples:
  zuhost crypto-probe ./CryptCore2x.so
  echo PIN=1234 | zuhost crypto-probe --type TypeA --sign --values CryptCore2x.dll
  zuhost crypto-probe --json --timeout 3000 CryptCore2x.dll)";

struct TOptions {
    std::string Type;
    int Timeout = 10'000;
    bool TypesOnly = false;
    bool Sign = false;
    bool Values = false;
    bool Null = false;
    bool Json = false;
};

constexpr std::size_t MostInput = std::size_t{1} << 20; // bytes

TCryptoParams ReadValues(bool Null) {
    std::string Bytes;
    char Piece[4096];
    while (const std::size_t Size = std::fread(Piece, 1, sizeof Piece, stdin)) {
        Bytes.append(Piece, Size);
        if (Bytes.size() > MostInput) throw Exception(u"standard input has more than 1 MiB");
    }
    TCryptoParams Result;
    for (std::string_view Rest = Bytes; !Rest.empty();) {
        const std::size_t End = std::min(Rest.find(Null ? '\0' : '\n'), Rest.size());
        const auto Line = platform::Utf8ToUtf16Strict(Rest.substr(0, End));
        if (Line.Error) throw Exception(u"standard input is malformed UTF-8");
        if (!Line.Text.empty()) Result.push_back(SplitParam(Line.Text));
        Rest.remove_prefix(std::min(End + 1, Rest.size()));
    }
    return Result;
}

/// What one engine type said.
struct TEngineReport {
    std::u16string Type;
    TProbed Params;
    std::optional<TProbed> Sign;
    [[nodiscard]] bool Good() const {
        return Params.Fault.empty() && Params.Errors.empty() && Params.Answer.Opened &&
               (!Sign || (Sign->Fault.empty() && Sign->Errors.empty() && Sign->Answer.Signature &&
                          Sign->Answer.Signature->LengthIsPossible()));
    }
};

void PrintTroubles(const TProbed& Probed) {
    for (const std::u16string& Error : Probed.Errors) WriteOut(u"  " + Error + u"\n");
    if (!Probed.Fault.empty()) WriteOut(u"  " + Probed.Fault + u"\n");
}

void PrintSignature(const TProbed& Probed) {
    if (!Probed.Answer.Signature || Probed.Answer.Signature->Code != 0) return;
    const TEngineSignature& Made = *Probed.Answer.Signature;
    if (!Made.LengthIsPossible())
        WriteOut(
            Format(u"  signature: the engine tells a length of %d of %d bytes\n", {Made.Length, Made.Room}));
    else
        WriteOut(Format(u"  signature: %d bytes in %g ms\n",
                        {Made.Length, static_cast<double>(Made.Time.count()) / 1000}));
}

void Print(const TEngineReport& Report) {
    WriteOut(Report.Type + u"\n");
    if (Report.Params.Fault.empty() && !Report.Params.Answer.Opened) WriteOut(u"  cannot be opened\n");
    for (const TCryptoParam& Param : Report.Params.Answer.Params)
        WriteOut(u"  " + platform::Masked(Param.Name + u"=" + MaskedValue(Param)) + u"\n");
    PrintTroubles(Report.Params);
    if (!Report.Sign) return;
    PrintTroubles(*Report.Sign);
    PrintSignature(*Report.Sign);
}

json Utf8Of(const std::vector<std::u16string>& Texts) {
    json Result = json::array();
    for (const std::u16string& Each : Texts) Result.push_back(platform::Utf16ToUtf8(Each));
    return Result;
}

json Described(const TProbed& Probed) {
    json Result{{"errors", Utf8Of(Probed.Errors)}, {"fault", platform::Utf16ToUtf8(Probed.Fault)}};
    if (const auto& Made = Probed.Answer.Signature)
        Result["signature"] = {{"code", Made->Code},
                               {"length", Made->Length},
                               {"room", Made->Room},
                               {"microseconds", Made->Time.count()}};
    return Result;
}

json Described(const TEngineReport& Report) {
    json Result = Described(Report.Params);
    Result["type"] = platform::Utf16ToUtf8(Report.Type);
    Result["opened"] = Report.Params.Answer.Opened;
    json Params = json::array();
    for (const auto& [Name, Value] : Report.Params.Answer.Params)
        Params.push_back({platform::Utf16ToUtf8(Name), platform::Utf16ToUtf8(Value)});
    Result["params"] = std::move(Params);
    if (Report.Sign) Result["sign"] = Described(*Report.Sign);
    return Result;
}

int Probe(const TOptions& Options, const TArguments& Names) {
    if (Names.empty()) throw EUsage("the library's name is missing");
    if (Names.size() > 1) throw EUsage("one library at a time");
    if (Options.TypesOnly && (Options.Sign || !Options.Type.empty()))
        throw EUsage("--types asks no engine: leave --type and --sign out");
    if (Options.Values && !Options.Sign) throw EUsage("--values are for --sign");
    if (Options.Null && !Options.Values) throw EUsage("--null is for --values");
    const std::u16string LibName = Text(Names[0]);
    const std::chrono::milliseconds Bound(Options.Timeout);
    const TCryptoParams Values = Options.Values ? ReadValues(Options.Null) : TCryptoParams();

    std::vector<std::u16string> Types{Text(Options.Type)};
    json Whole{{"library", Names[0]}};
    bool Good = true;
    if (Options.Type.empty()) {
        const TProbed Probed = AskInOwnProcess(LibName, {TKind::Types, {}, {}}, Bound);
        Types = Probed.Answer.Types;
        Good =
            Probed.Fault.empty() && Probed.Errors.empty() && Probed.Missing.empty() && Probed.Answer.Loaded;
        Whole.update(Described(Probed));
        Whole["path"] = platform::Utf16ToUtf8(Probed.Path);
        Whole["missing"] = Probed.Missing;
        Whole["types"] = Utf8Of(Types);
        if (!Options.Json) {
            if (Probed.Answer.Loaded) WriteOut(u"loaded from " + Probed.Path + u"\n");
            for (const std::string& Name : Probed.Missing) WriteOut(u"  has no " + Text(Name) + u"\n");
            PrintTroubles(Probed);
            if (Options.TypesOnly)
                for (const std::u16string& Type : Types) WriteOut(platform::Masked(Type) + u"\n");
        }
    }
    if (Options.TypesOnly) Types.clear();
    Whole["engines"] = json::array();
    for (const std::u16string& Type : Types) {
        TEngineReport Report{Type, AskInOwnProcess(LibName, {TKind::Params, Type, {}}, Bound), {}};
        if (Options.Sign) Report.Sign = AskInOwnProcess(LibName, {TKind::Sign, Type, Values}, Bound);
        Good = Good && Report.Good();
        if (Options.Json)
            Whole["engines"].push_back(Described(Report));
        else
            Print(Report);
    }
    if (Options.Json) WriteOut(std::string_view(Whole.dump(2) + "\n"));
    return Good ? ExitGood : ExitFailed;
}

} // namespace

TJob DeclareCryptoProbe(TDeclaration& Takes) {
    const auto Options = std::make_shared<TOptions>();
    Takes.Footer(Footer);
    Takes.Option("--type", Options->Type, "TYPE", "Ask this engine type only");
    Takes.Flag("--types", Options->TypesOnly, "List the types, and ask none of them");
    Takes.Flag("--sign", Options->Sign, "Sign with each type that is asked");
    Takes.Flag("--values", Options->Values, "Set the name=value lines of standard input before signing");
    Takes.Flag("--null", Options->Null, "Those lines end with NUL, so that values may hold line breaks");
    Takes.Option("--timeout", Options->Timeout, {1, std::numeric_limits<int>::max()}, "MS",
                 "Wait so long for each answer (default 10000)");
    Takes.Flag("--json", Options->Json, "Print all of it as JSON, with the values of secrets");
    return [Options](const TArguments& Names) { return Probe(*Options, Names); };
}

} // namespace zutools::zuhost
