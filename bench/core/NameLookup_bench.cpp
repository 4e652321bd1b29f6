// Looking a value up by name: TZUSortedParams against a std::map ordered by an ICU comparator of the same
// locale, case ignored. Both hold the same names; the names asked for are other strings than those stored, in
// random order, and in the "other case" rows other in case too. The last column of the table is how many
// times as fast the list is.
//
// A second table fills a list and asks for every name once, beside a sorted vector of the same three texts an
// entry that is searched with the list's own comparison; and it gives a listed name the text that it has.

#include "bench/support/Ratio.h"
#include "core/Zuslist.h"

#include <unicode/ucol.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace zutools {
namespace {

using TNames = std::vector<std::u16string>;

struct TIcuLess {
    using is_transparent = void;
    bool operator()(std::u16string_view Left, std::u16string_view Right) const {
        static UCollator* const Collator = [] {
            UErrorCode Status = U_ZERO_ERROR;
            const std::string& Locale = platform::UserLocale();
            UCollator* const Opened = ucol_open(Locale.empty() ? "root" : Locale.c_str(), &Status);
            ucol_setStrength(Opened, UCOL_SECONDARY);
            return Opened; // kept to the end
        }();
        return ucol_strcoll(Collator, Left.data(), static_cast<int>(Left.size()), Right.data(),
                            static_cast<int>(Right.size())) == UCOL_LESS;
    }
};

using TMap = std::map<std::u16string, std::u16string, TIcuLess>;

struct TAlphabet {
    const char* Name;
    std::u16string Characters;
};

std::vector<TAlphabet> Alphabets() {
    std::u16string Printable;
    for (char16_t Character = u'!'; Character <= u'~'; ++Character) Printable += Character;
    std::u16string Cyrillic = u"_1";
    for (char16_t Character = u'\u0410'; Character <= u'\u044F'; ++Character) Cyrillic += Character;
    return {
        {"ascii", Printable},
        {"field", {}}, // CustomerName_17: as parameters are called
        {"cyrillic", Cyrillic},
        {"german", u"abcdefghijklmnopqrstuvwxyz\u00E4\u00F6\u00FC\u00DF"}, // every name holds a sharp s
        {"chinese", u"\u8BA2\u5355\u7F16\u53F7\u5BA2\u6237\u540D\u79F0\u65E5\u671F"}, // the collator's alone
    };
}

std::u16string MakeName(const TAlphabet& Alphabet, std::mt19937& Random) {
    static const TNames Words = {u"Customer", u"Order",   u"Item",   u"Price", u"Date",
                                 u"Name",     u"Address", u"Number", u"Total", u"Page"};
    std::u16string Name;
    if (Alphabet.Characters.empty()) {
        Name = Words[Random() % Words.size()] + Words[Random() % Words.size()];
        if (Random() % 2 == 0) return Name + u"_" + TKXVariant(static_cast<int>(Random() % 10000)).AsString();
        return Name + Words[Random() % Words.size()] +
               TKXVariant(static_cast<int>(Random() % 100)).AsString();
    }
    Name.resize(4 + Random() % 17);
    for (char16_t& Unit : Name) Unit = Alphabet.Characters[Random() % Alphabet.Characters.size()];
    if (Alphabet.Name == std::string("german")) Name += u'\u00DF';
    return Name;
}

/// `Count` names of up to some 20 characters, no two equal for the collator.
TNames MakeNames(const TAlphabet& Alphabet, std::size_t Count) {
    std::mt19937 Random(static_cast<unsigned>(Count));
    std::set<std::u16string, TIcuLess> Names;
    while (Names.size() < Count) Names.insert(MakeName(Alphabet, Random));
    TNames Result(Names.begin(), Names.end());
    std::shuffle(Result.begin(), Result.end(), Random);
    return Result;
}

constexpr std::size_t AskedCount =
    2048; // small enough for the nearest caches, too many to be learnt by heart

/// What is stored and what is asked for, of one kind and size.
struct TCase {
    TMap Map;
    TZUSortedParams List;
    TNames Asked;
};

enum class TAsk { Stored, OtherCase, Absent };

const TCase& CaseOf(const TAlphabet& Alphabet, std::size_t Count, TAsk Ask) {
    static std::map<std::tuple<std::string, std::size_t, TAsk>, std::unique_ptr<TCase>> Cases;
    auto& Case = Cases[{Alphabet.Name, Count, Ask}];
    if (Case) return *Case;
    Case = std::make_unique<TCase>();
    TNames Names = MakeNames(Alphabet, Count * 2);
    const auto Middle = Names.begin() + static_cast<std::ptrdiff_t>(Count);
    for (auto Name = Names.begin(); Name != Middle; ++Name) {
        Case->Map[*Name] = u"value";
        Case->List.AddParam(*Name, u"value");
    }
    std::mt19937 Random(1);
    for (std::size_t Round = 0; Round < AskedCount; ++Round) {
        const std::size_t Pick = Random() % Count;
        std::u16string Name =
            Ask == TAsk::Absent ? *(Middle + static_cast<std::ptrdiff_t>(Pick)) : Names[Pick];
        if (Ask == TAsk::OtherCase) Name = platform::UpperCase(Name);
        Case->Asked.push_back(std::move(Name));
    }
    return *Case;
}

template <class TLookUp>
void Run(benchmark::State& State, const TCase& Case, const TLookUp& LookUp) {
    std::size_t At = 0;
    for (auto _ : State) {
        benchmark::DoNotOptimize(LookUp(Case.Asked[At]));
        At = (At + 1) % AskedCount;
    }
}

constexpr std::size_t Sizes[] = {10, 100, 10000};
constexpr struct {
    TAsk Ask;
    const char* Name;
} Asks[] = {{TAsk::Stored, "stored"}, {TAsk::OtherCase, "other case"}, {TAsk::Absent, "absent"}};

std::string NameOf(const char* Who, const TAlphabet& Alphabet, std::size_t Size, const char* Ask) {
    return std::string(Who) + " " + Alphabet.Name + " " + std::to_string(Size) + " " + Ask;
}

void Register(const TAlphabet& Alphabet, std::size_t Size, TAsk Ask, const char* AskName) {
    const auto Enter = [&](const char* Who, auto LookUp) {
        benchmark::RegisterBenchmark(NameOf(Who, Alphabet, Size, AskName).c_str(),
                                     [Alphabet, Size, Ask, LookUp](benchmark::State& State) {
                                         const TCase& Case = CaseOf(Alphabet, Size, Ask);
                                         Run(State, Case,
                                             [&](const std::u16string& Name) { return LookUp(Case, Name); });
                                     })
            ->MinTime(0.02)
            ->Repetitions(5)
            ->ReportAggregatesOnly(false);
    };
    Enter("map", [](const TCase& Case, const std::u16string& Name) {
        const auto Found = Case.Map.find(Name);
        return Found == Case.Map.end() ? nullptr : &Found->second;
    });
    Enter("value", [](const TCase& Case, const std::u16string& Name) { return &Case.List.Value(Name); });
    Enter("index",
          [](const TCase& Case, const std::u16string& Name) { return Case.List.GetParamIndex(Name); });
}

// ---- filled and asked once

/// What one writes without a list: entries in a vector, kept in order by the comparison of the lists.
class TSortedVector {
public:
    void AddParam(std::u16string_view Name, std::u16string_view Value) {
        const auto Place = PlaceOf(Name);
        if (IsAt(Place, Name)) {
            Place->Value = Value;
        } else {
            FEntries.insert(Place, {std::u16string(Name), std::u16string(Value), std::u16string(Value)});
        }
    }
    const std::u16string* Value(std::u16string_view Name) {
        const auto Place = PlaceOf(Name);
        return IsAt(Place, Name) ? &Place->Value : nullptr;
    }

private:
    struct TParam {
        std::u16string Name, Value, InitValue;
    };
    using TPlace = std::vector<TParam>::iterator;
    TPlace PlaceOf(std::u16string_view Name) {
        return std::lower_bound(FEntries.begin(), FEntries.end(), Name,
                                [this](const TParam& Entry, std::u16string_view Sought) {
                                    return FMatch.Compare(Entry.Name, Sought) < 0;
                                });
    }
    bool IsAt(TPlace Place, std::u16string_view Name) {
        return Place != FEntries.end() && FMatch.Compare(Place->Name, Name) == 0;
    }

    const TNameMatch& FMatch = UserNameMatch(false);
    std::vector<TParam> FEntries;
};

const TNames ShortNames = {u"Custom", u"Order",  u"Item",   u"Price", u"Date",
                           u"Name",   u"Adress", u"Number", u"Total", u"Page"};

TNames NamesToFill(std::size_t Size, bool Short) {
    return Short ? ShortNames : MakeNames({"field", {}}, Size);
}

template <class TList>
void FillAndAsk(benchmark::State& State, std::size_t Size, bool Short) {
    const TNames Names = NamesToFill(Size, Short);
    TNames Asked = Names;
    std::shuffle(Asked.begin(), Asked.end(), std::mt19937(3));
    for (auto _ : State) {
        TList List;
        for (const std::u16string& Name : Names) List.AddParam(Name, u"value");
        for (const std::u16string& Name : Asked) benchmark::DoNotOptimize(List.Value(Name).data());
    }
}
/// The vector answers by address.
struct TAskedVector : TSortedVector {
    const std::u16string& Value(std::u16string_view Name) { return *TSortedVector::Value(Name); }
};

void Rename(benchmark::State& State) {
    const TNames Names = MakeNames({"field", {}}, 1000);
    TZUSortedParams List;
    for (const std::u16string& Name : Names) List.AddParam(Name, u"value");
    TZUParamObject& Param = *List.FindParam(Names[5]);
    for (auto _ : State) {
        Param.FName = Names[5];
        List.AddParam(Names[6], u"value"); // looks the order through if it may have changed
    }
}

struct TFilling {
    const char* Name;
    std::size_t Size;
    bool Short;
};
constexpr TFilling Fillings[] = {
    {"10 short", 10, true}, {"10", 10, false}, {"60", 60, false}, {"100", 100, false}, {"1000", 1000, false}};

void RegisterFillings() {
    const auto Enter = [](const std::string& Name, auto Work) {
        benchmark::RegisterBenchmark(Name.c_str(), Work)->MinTime(0.05)->Repetitions(5);
    };
    for (const TFilling& Each : Fillings) {
        Enter(std::string("vector fill ") + Each.Name,
              [Each](benchmark::State& State) { FillAndAsk<TAskedVector>(State, Each.Size, Each.Short); });
        Enter(std::string("list fill ") + Each.Name,
              [Each](benchmark::State& State) { FillAndAsk<TZUSortedParams>(State, Each.Size, Each.Short); });
    }
    Enter("rename to the same", Rename);
}

void PrintFillings(const TRatioReporter& Reporter) {
    std::printf("\n%-24s %11s %11s %11s\n", "filled, each asked once", "vector ns", "list ns", "list/vector");
    for (const TFilling& Each : Fillings) {
        const double Vector = Reporter.Best(std::string("vector fill ") + Each.Name);
        const double List = Reporter.Best(std::string("list fill ") + Each.Name);
        if (Vector == 0 || List == 0) continue;
        std::printf("%-24s %11.0f %11.0f %11.2f\n", Each.Name, Vector, List, List / Vector);
    }
    if (const double Same = Reporter.Best("rename to the same"); Same != 0)
        std::printf("a name of 1000 given the text that it has, then one added: %.0f ns\n", Same);
}

void PrintTable(const TRatioReporter& Reporter) {
    std::printf("\n%-10s %7s  %-10s %9s %9s %9s %9s %9s\n", "names", "entries", "asked for", "map ns",
                "Value ns", "Index ns", "map/Value", "map/Index");
    for (const TAlphabet& Alphabet : Alphabets())
        for (const std::size_t Size : Sizes)
            for (const auto& Ask : Asks) {
                const double Map = Reporter.Best(NameOf("map", Alphabet, Size, Ask.Name));
                const double Value = Reporter.Best(NameOf("value", Alphabet, Size, Ask.Name));
                const double Index = Reporter.Best(NameOf("index", Alphabet, Size, Ask.Name));
                if (Map == 0 || Value == 0 || Index == 0) continue;
                std::printf("%-10s %7zu  %-10s %9.1f %9.1f %9.1f %9.1f %9.1f\n", Alphabet.Name, Size,
                            Ask.Name, Map, Value, Index, Map / Value, Map / Index);
            }
}

} // namespace
} // namespace zutools

int main(int Count, char** Arguments) {
    using namespace zutools;
    benchmark::Initialize(&Count, Arguments);
    if (benchmark::ReportUnrecognizedArguments(Count, Arguments)) return 2;
    for (const TAlphabet& Alphabet : Alphabets())
        for (const std::size_t Size : Sizes)
            for (const auto& Ask : Asks) Register(Alphabet, Size, Ask.Ask, Ask.Name);
    RegisterFillings();
    TRatioReporter Reporter;
    benchmark::RunSpecifiedBenchmarks(&Reporter);
    PrintTable(Reporter);
    PrintFillings(Reporter);
    return 0;
}
