// What checking a value costs, as ratios taken inside one run: to one pass that classifies every character
// against a set (the floor), to RE2::Set and Hyperscan looking for the same words and characters, and to the
// naive loop, which upper-cases the value and searches it word by word.
//
// The peers get the value as UTF-8 without paying for the conversion, and only say yes or no. There are two
// naive loops: one with KX_PosText, which folds as it goes, and one with a plain find in the upper-cased
// text. The automaton looks for the words alone, without the set.
//
// Every figure is the least of many rounds; the contenders of a case take turns, so that a busy machine slows
// all.

#include "checking/Chekprms.h"
#include "checking/FoldPass.h"
#include "checking/Presets.h"
#include "checking/WordScan.h"
#include "host/Format.h"
#include "host/StringHelpers.h"
#include "platform/Text.h"

#include <hs/hs.h>
#include <re2/set.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace {
thread_local std::uint64_t Allocations = 0; // of the calling thread
}

[[gnu::noinline]] void* operator new(std::size_t Size) {
    ++Allocations;
    if (void* Memory = std::malloc(Size)) return Memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* Memory) noexcept {
    std::free(Memory);
}
[[gnu::noinline]] void operator delete(void* Memory, std::size_t) noexcept {
    std::free(Memory);
}

namespace zutools {
namespace {

using TClock = std::chrono::steady_clock;

template <class T>
void Keep(const T& Value) {
    asm volatile("" : : "r"(&Value) : "memory");
}

void Require(bool Holds, const char* What) {
    if (Holds) return;
    std::fprintf(stderr, "bench: %s\n", What);
    std::exit(1);
}

// What a careful filter would name: the event attributes of pages, then elements, schemes and functions.
constexpr std::string_view MarkupWords =
    "script onclick onload onerror onmouseover javascript iframe onfocus vbscript document.cookie object "
    "embed "
    "onsubmit expression eval( applet onblur onchange onkeydown innerhtml "
    "onabort onafterprint onanimationend onanimationiteration onanimationstart onauxclick onbeforecopy "
    "onbeforecut onbeforeinput onbeforepaste onbeforeprint onbeforeunload oncancel oncanplay "
    "oncanplaythrough onclose oncontextmenu oncopy oncuechange oncut ondblclick ondrag ondragend ondragenter "
    "ondragexit ondragleave ondragover ondragstart ondrop ondurationchange onemptied onended onfocusin "
    "onfocusout onformdata onfullscreenchange ongotpointercapture onhashchange oninput oninvalid onkeypress "
    "onkeyup onlanguagechange onloadeddata onloadedmetadata onloadstart onlostpointercapture onmessage "
    "onmessageerror onmousedown onmouseenter onmouseleave onmousemove onmouseout onmouseup onmousewheel "
    "onoffline ononline onpagehide onpageshow onpaste onpause onplay onplaying onpointercancel onpointerdown "
    "onpointerenter onpointerleave onpointermove onpointerout onpointerover onpointerup onpopstate "
    "onprogress "
    "onratechange onrejectionhandled onreset onresize onscroll onsearch onsecuritypolicyviolation onseeked "
    "onseeking onselect onselectionchange onselectstart onshow onslotchange onstalled onstorage onsuspend "
    "ontimeupdate ontoggle ontouchcancel ontouchend ontouchmove ontouchstart ontransitionend "
    "onunhandledrejection onunload onvolumechange onwaiting onwheel onactivate onbeforeactivate onbounce "
    "oncellchange oncontrolselect ondataavailable ondatasetchanged ondatasetcomplete ondeactivate "
    "onerrorupdate onfilterchange onfinish onhelp onlayoutcomplete onlosecapture onmoveend onmovestart "
    "onpropertychange onreadystatechange onresizeend onresizestart onrowenter onrowexit onrowsdelete "
    "onrowsinserted onstart onstop livescript mocha: data:text srcdoc= formaction xlink:href document.write "
    "document.location window.location fromcharcode settimeout setinterval activexobject xmlhttprequest "
    "frameset noscript textarea marquee bgsound behavior: -moz-binding @import base64, svg/onload mathml "
    "insertadjacenthtml outerhtml localstorage sessionstorage constructor prototype importscripts "
    "createelement appendchild createobject shellexecute union select information_schema xp_cmdshell "
    "waitfor delay benchmark( sysobjects load_file into outfile into dumpfile drop table insert into";

constexpr std::u16string_view Symbols = u"<>\"`{}[]\\^"; // ten

/// The characters of ASCII that stand in a set, as a class of a regular expression.
std::string ClassOf(const TKXCharSet& Set) {
    std::string Result = "[";
    char Code[8];
    for (char16_t Character = 0; Character < 0x80; ++Character) {
        if (!Set.Exists(Character)) continue;
        std::snprintf(Code, sizeof Code, "\\x%02x", Character);
        Result += Code;
    }
    return Result + "]";
}

constexpr std::u16string_view English =
    u"Please deliver the second part of the order to the warehouse before noon, the entrance is from the "
    u"yard; "
    u"call Mr O'Brien at +7 (495) 123-45-67 when the driver arrives. The list of goods, 25 boxes of "
    u"A4 paper and 3 desks, is in the letter of 12.05.2024. Payment on receipt, discount 5% as agreed. ";
constexpr std::u16string_view Russian =
    u"Просим доставить вторую часть заказа на склад до полудня, въезд со двора; позвоните кладовщику по "
    u"телефону +7 (495) 123-45-67, когда машина подъедет. Опись товара, 25 коробок бумаги и 3 стола, в "
    u"письме "
    u"от 12.05.2024. Оплата по получении, скидка 5% по договору. ";

std::vector<std::u16string> FirstWords(std::size_t Count) {
    std::vector<std::u16string> Words;
    std::u16string Wide = platform::Utf8ToUtf16(MarkupWords);
    std::u16string_view Rest = Wide;
    std::u16string Word;
    while (Words.size() < Count && KX_GetNextParam(Rest, u" ", Word)) {
        if (std::find(Words.begin(), Words.end(), AnsiUpperCase(Word)) == Words.end())
            Words.push_back(AnsiUpperCase(Word));
    }
    Require(Words.size() == Count, "too few wrong words");
    return Words;
}

std::u16string Repeated(std::u16string_view Piece, std::size_t Units) {
    std::u16string Text;
    while (Text.size() < Units) Text += Piece;
    Text.resize(Units);
    return Text;
}

class TRe2 {
public:
    TRe2(const std::vector<std::u16string>& Words, const TKXCharSet& Set)
        : FSet(Options(), RE2::UNANCHORED) {
        for (const auto& Word : Words) FSet.Add(RE2::QuoteMeta(platform::Utf16ToUtf8(Word)), nullptr);
        FSet.Add(ClassOf(Set), nullptr);
        Require(FSet.Compile(), "RE2 does not compile");
    }
    [[nodiscard]] bool Found(std::string_view Text) const {
        return FSet.Match(re2::StringPiece(Text.data(), Text.size()), nullptr);
    }

private:
    static RE2::Options Options() {
        RE2::Options Result;
        Result.set_case_sensitive(false);
        Result.set_max_mem(256 << 20); // enough never to fall back
        return Result;
    }
    RE2::Set FSet;
};

class THyperscan {
public:
    THyperscan(const std::vector<std::u16string>& Words, const TKXCharSet& Set) {
        if (hs_valid_platform() != HS_SUCCESS) return;
        std::vector<std::string> Texts;
        for (const auto& Word : Words) Texts.push_back(RE2::QuoteMeta(platform::Utf16ToUtf8(Word)));
        Texts.push_back(ClassOf(Set));
        std::vector<const char*> Patterns;
        for (const auto& Text : Texts) Patterns.push_back(Text.c_str());
        const std::vector<unsigned> Flags(Texts.size(), HS_FLAG_CASELESS | HS_FLAG_SINGLEMATCH);
        hs_compile_error_t* Error = nullptr;
        const auto Count = static_cast<unsigned>(Patterns.size());
        Require(hs_compile_multi(Patterns.data(), Flags.data(), nullptr, Count, HS_MODE_BLOCK, nullptr,
                                 &FDatabase, &Error) == HS_SUCCESS,
                "Hyperscan does not compile");
        Require(hs_alloc_scratch(FDatabase, &FScratch) == HS_SUCCESS, "no scratch for Hyperscan");
    }
    ~THyperscan() {
        hs_free_scratch(FScratch);
        hs_free_database(FDatabase);
    }
    THyperscan(const THyperscan&) = delete;
    THyperscan& operator=(const THyperscan&) = delete;
    [[nodiscard]] bool Usable() const { return FDatabase != nullptr; }
    [[nodiscard]] bool Found(std::string_view Text) const {
        return hs_scan(
                   FDatabase, Text.data(), static_cast<unsigned>(Text.size()), 0, FScratch,
                   [](unsigned, unsigned long long, unsigned long long, unsigned, void*) { return 1; },
                   nullptr) == HS_SCAN_TERMINATED;
    }

private:
    hs_database_t* FDatabase = nullptr;
    hs_scratch_t* FScratch = nullptr;
};

struct TContender {
    const char* Name;
    std::function<bool()> Run; // whether the value is refused
    double Nanoseconds = 1e300;
    double AllocationsPerRun = 0;
};

void Measure(std::vector<TContender>& Contenders, bool Refused) {
    for (TContender& Each : Contenders) {
        Require(Each.Run() == Refused, Each.Name);
        const std::uint64_t Before = Allocations;
        for (int Index = 0; Index < 10; ++Index) Each.Run();
        Each.AllocationsPerRun = static_cast<double>(Allocations - Before) / 10;
    }
    for (int Round = 0; Round < 25; ++Round) {
        for (TContender& Each : Contenders) {
            const int Times = static_cast<int>(std::clamp(1e5 / Each.Nanoseconds, 1.0, 20000.0));
            const auto Begin = TClock::now();
            for (int Index = 0; Index < Times; ++Index) Keep(Each.Run());
            const std::chrono::duration<double, std::nano> Taken = TClock::now() - Begin;
            Each.Nanoseconds = std::min(Each.Nanoseconds, Taken.count() / Times);
        }
    }
}

/// The rule text of the first of the markup words and ten symbols.
std::u16string RuleOf(std::size_t Count) {
    std::u16string Text;
    for (const char16_t Symbol : Symbols) Text += std::u16string(1, Symbol) + u",";
    for (const auto& Word : FirstWords(Count)) Text += u"'" + Word + u"',";
    return Text;
}

/// One rule in every form that takes part.
struct TRule {
    TRule(std::string RuleName, const std::u16string& Text)
        : Name(std::move(RuleName)) {
        Config.AddParams(u"name,city,comment", Text, u"");
        One.SetWrongSymbolsAsString(Text);
        Set = One.WrongSymbols;
        for (int Index = 0; Index < One.WrongWords.Count(); ++Index) {
            const std::u16string& Word = One.WrongWords.Strings(Index);
            if (std::find(Words.begin(), Words.end(), Word) != Words.end()) continue;
            Words.push_back(Word);
            List.Add(Word);
        }
        Name += ", " + std::to_string(Words.size()) + " words";
        Checker.LoadFrom(Config);
        Re2 = std::make_unique<TRe2>(Words, Set);
        Hyperscan = std::make_unique<THyperscan>(Words, Set);
        Pass = std::make_unique<checking::TFoldPass>(Set);
        Scan = std::make_unique<checking::TWordScan>(List);
    }
    std::string Name;
    std::vector<std::u16string> Words;
    TKXCharSet Set;
    TKXStringList List;
    TParamsConfig Config;
    TParamValueChecker One;
    TParamsChecker Checker;
    std::unique_ptr<TRe2> Re2;
    std::unique_ptr<THyperscan> Hyperscan;
    std::unique_ptr<checking::TFoldPass> Pass;
    std::unique_ptr<checking::TWordScan> Scan;
};

/// Wrong words that lack their last letter, one after the other; without those that the rule refuses all the
/// same.
std::u16string NearMisses(const TRule& Rule, std::size_t Units) {
    std::u16string Piece;
    for (const auto& Word : Rule.Words) {
        const std::u16string Next = Piece + AnsiLowerCase(Word.substr(0, Word.size() - 1)) + u"_";
        if (Rule.One.Passes(Next)) Piece = Next;
    }
    return Repeated(Piece, Units);
}

int Find(const std::u16string& Word, const std::u16string& Upper) {
    return static_cast<int>(Upper.find(Word) + 1);
}

/// The naive loop, with the message that a refused value gives. Not inlined into its catch, where raising
/// costs half as much as across a call.
template <class TSearch>
[[gnu::noinline]] void CheckNaively(const TRule& Rule, const std::u16string& Value, TSearch Search) {
    const std::u16string Upper = AnsiUpperCase(Value);
    for (const auto& Word : Rule.Words) {
        if (const int At = Search(Word, Upper); At > 0) {
            throw EParamValueChecker(
                Format(u"Value \"%s\" contain wrong word \"%s\" at position %d.", {Upper, Word, At}));
        }
    }
    for (const char16_t Unit : Upper) {
        if (Rule.Set.Exists(Unit)) throw EParamValueChecker(Format(u"Value \"%s\"", {Upper}));
    }
}

template <class TSearch>
bool RefusesNaively(const TRule& Rule, const std::u16string& Value, TSearch Search) {
    try {
        CheckNaively(Rule, Value, Search);
        return false;
    } catch (const EParamValueChecker&) {
        return true;
    }
}

bool Refuses(const TParamValueChecker& Checker, std::u16string_view Value) {
    try {
        Checker.CheckValue(Value);
        return false;
    } catch (const EParamValueChecker&) {
        return true;
    }
}

/// The figures of one case; the ratios that matter are kept for the summary.
void MeasureCase(const TRule& Rule, const char* TextName, const std::u16string& Value, bool Refused) {
    const std::string Utf8 = platform::Utf16ToUtf8(Value);
    std::vector<std::uint8_t> Narrow(Value.size() + checking::FoldPadding);
    std::vector<TContender> Contenders{
        {"floor",
         [&] {
             Keep(Rule.Pass->Run(Value, Narrow.data()));
             return Refused;
         }},
        {"CheckValue", [&] { return Refuses(Rule.One, Value); }},
        {"CheckParamValue", [&] { return !Rule.Checker.CheckParamValue(u"City", Value, false); }},
        {"automaton",
         [&] {
             Keep(Rule.Scan->AnyFoundByAutomaton(Value));
             return Refused;
         }},
        {"RE2::Set", [&] { return Rule.Re2->Found(Utf8); }},
        {"naive, find", [&] { return RefusesNaively(Rule, Value, &Find); }},
        {"naive, KX_PosText", [&] {
             return RefusesNaively(Rule, Value, [](const std::u16string& Word, const std::u16string& Upper) {
                 return KX_PosText(Word, Upper);
             });
         }}};
    if (Rule.Hyperscan->Usable())
        Contenders.push_back({"Hyperscan", [&] { return Rule.Hyperscan->Found(Utf8); }});
    Measure(Contenders, Refused);

    std::printf("\n%zu bytes, %s, %s\n  %-20s %12s %10s %10s %8s\n", Value.size() * 2, Rule.Name.c_str(),
                TextName, "", "ns", "x floor", "x ours", "allocs");
    for (const TContender& Each : Contenders) {
        std::printf("  %-20s %12.1f %10.2f %10.2f %8.1f\n", Each.Name, Each.Nanoseconds,
                    Each.Nanoseconds / Contenders[0].Nanoseconds,
                    Each.Nanoseconds / Contenders[1].Nanoseconds, Each.AllocationsPerRun);
    }
}

/// Runs per second of `Threads` threads together, the best of several rounds.
template <class TRun>
double Throughput(int Threads, int Times, const TRun& Run) {
    double Best = 0;
    for (int Round = 0; Round < 15; ++Round) {
        std::barrier Start(Threads);
        std::vector<TClock::time_point> Begins(static_cast<std::size_t>(Threads)), Ends = Begins;
        std::vector<std::jthread> Workers;
        for (std::size_t Index = 0; Index < Begins.size(); ++Index) {
            Workers.emplace_back([&, Index] {
                const auto Work = Run(); // what a thread has of its own
                for (int Count = 0; Count < Times / 10; ++Count) Work();
                Start.arrive_and_wait();
                Begins[Index] = TClock::now();
                for (int Count = 0; Count < Times; ++Count) Work();
                Ends[Index] = TClock::now();
            });
        }
        Workers.clear();
        const std::chrono::duration<double> Taken =
            *std::max_element(Ends.begin(), Ends.end()) - *std::min_element(Begins.begin(), Begins.end());
        Best = std::max(Best, Threads * Times / Taken.count());
    }
    return Best;
}

/// Loads the rules again, 100 times a second, while it lives.
class TSwaps {
public:
    explicit TSwaps(TRule& Rule)
        : FWriter([&Rule](const std::stop_token& Stop) {
            for (auto Next = TClock::now(); !Stop.stop_requested(); Next += std::chrono::milliseconds(10)) {
                Rule.Checker.LoadFrom(Rule.Config);
                std::this_thread::sleep_until(Next);
            }
        }) {}

private:
    std::jthread FWriter;
};

void MeasureThreads(TRule& Rule) {
    std::printf("\nthreads, %s, clean text\n  %-28s %12s %12s %8s\n", Rule.Name.c_str(), "", "1 thread/s",
                "2 threads/s", "2 : 1");
    const auto Print = [](const std::string& Name, int Times, const auto& Run) {
        const double One = Throughput(1, Times, Run);
        const double Two = Throughput(2, Times, Run);
        std::printf("  %-28s %12.0f %12.0f %8.2f\n", Name.c_str(), One, Two, Two / One);
    };
    // What a second thread can give on this machine at this moment.
    Print("(nothing shared)", 50'000, [] {
        return [] {
            for (int Index = 0; Index < 500; ++Index) Keep(Index);
        };
    });
    for (const std::size_t Units : {std::size_t{16}, std::size_t{512}}) {
        const int Times = static_cast<int>(40'000'000 / (Units + 100));
        const auto Check = [&Rule, Units] {
            return [&Rule, Mine = Repeated(English, Units)] {
                Keep(Rule.Checker.CheckParamValue(u"City", Mine, false));
            };
        };
        const std::string Name = std::to_string(Units * 2) + " bytes";
        Print(Name, Times, Check);
        const TSwaps Swaps(Rule);
        Print(Name + ", rules swapped", Times, Check);
    }
    std::vector<TContender> Loading{{"LoadFrom", [&] {
                                         Rule.Checker.LoadFrom(Rule.Config);
                                         return false;
                                     }}};
    Measure(Loading, false);
    std::printf("  LoadFrom of the rule: %.0f us\n", Loading[0].Nanoseconds / 1000);
}

} // namespace
} // namespace zutools

int main(int Count, char** Arguments) {
    using namespace zutools;
    // One of the words "values", "refused" and "threads" picks a part.
    const std::string_view Wanted = Count > 1 ? Arguments[1] : "";
    // The C library drops atomic operations in programs of one thread, which a service is not.
    const std::jthread Other([](const std::stop_token& Stop) {
        while (!Stop.stop_requested()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    });
    const std::pair<const char*, std::u16string> Rules[] = {{"markup", RuleOf(20)},
                                                            {"markup", RuleOf(200)},
                                                            {"Medium", MediumWrongValues()},
                                                            {"High", HighWrongValues()}};
    for (const auto& [Name, Text] : Rules) {
        TRule Rule(Name, Text);
        for (const std::size_t Units : {std::size_t{16}, std::size_t{512}, std::size_t{32768}}) {
            if (Wanted.empty() || Wanted == "values") {
                MeasureCase(Rule, "clean English", Repeated(English, Units), false);
                MeasureCase(Rule, "clean Russian", Repeated(Russian, Units), false);
                MeasureCase(Rule, "wrong words without their last letter", NearMisses(Rule, Units), false);
            }
            if (Wanted.empty() || Wanted == "refused") {
                std::u16string Value = Repeated(English, Units);
                MeasureCase(Rule, "first wrong word in front",
                            Value.replace(0, Rule.Words[0].size(), Rule.Words[0]), true);
                Value = Repeated(English, Units);
                MeasureCase(Rule, "fifth wrong word in front",
                            Value.replace(0, Rule.Words[4].size(), Rule.Words[4]), true);
            }
        }
        if (Wanted.empty() || Wanted == "threads") MeasureThreads(Rule);
    }
}
