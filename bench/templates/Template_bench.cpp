// What templates cost, as ratios taken inside one run: to the same characters appended by a hand-written
// loop, and to ctemplate doing the same job with the same values as strings that it copies.
//
// "The loop" is `for (char16_t Unit : Piece) Output.push_back(Unit)` over the finished pieces, into a fresh
// string that was reserved to its final size. For parsing the piece is the whole page. "append" is the same
// with std::u16string::append, for those who want the harder floor.
//
// Every figure is the least of many rounds; the contenders of a case take turns, so that a busy machine slows
// all.

#include "host/Services.h"
#include "host/Session.h"
#include "host/ThreadContainer.h"
#include "platform/Text.h"
#include "templates/Ztstmplcache.h"

#include <ctemplate/template.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace {
thread_local std::uint64_t Allocations = 0; // of the calling thread
}

void* operator new(std::size_t Size) {
    ++Allocations;
    if (void* Memory = std::malloc(Size)) return Memory;
    throw std::bad_alloc();
}
// Not inlined, so that the compiler does not take the pair apart and warn about free() meeting new.
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

struct TContender {
    const char* Name;
    std::function<void()> Run;
    double Nanoseconds = 1e300;
    double AllocationsPerRun = 0;
};

double TimeOf(const std::function<void()>& Run, int Times) {
    const auto Begin = TClock::now();
    for (int Index = 0; Index < Times; ++Index) Run();
    return std::chrono::duration<double, std::nano>(TClock::now() - Begin).count() / Times;
}

/// The first contender is the loop; the last one the peer.
void Measure(const char* Case, std::vector<TContender> Contenders) {
    for (TContender& Each : Contenders) {
        Each.Run(); // memory that is kept from one run to the next is there
        const std::uint64_t Before = Allocations;
        for (int Index = 0; Index < 10; ++Index) Each.Run();
        Each.AllocationsPerRun = static_cast<double>(Allocations - Before) / 10;
    }
    for (int Round = 0; Round < 60; ++Round) {
        for (TContender& Each : Contenders) {
            const int Times = static_cast<int>(std::clamp(5e5 / Each.Nanoseconds, 1.0, 1000.0));
            Each.Nanoseconds = std::min(Each.Nanoseconds, TimeOf(Each.Run, Times));
        }
    }
    std::printf("\n%s\n  %-28s %12s %10s %12s %8s\n", Case, "", "ns", "of loop", "x ctemplate", "allocs");
    for (const TContender& Each : Contenders) {
        std::printf("  %-28s %12.1f %10.2f %12.2f %8.1f\n", Each.Name, Each.Nanoseconds,
                    Each.Nanoseconds / Contenders.front().Nanoseconds,
                    Contenders.back().Nanoseconds / Each.Nanoseconds, Each.AllocationsPerRun);
    }
}

std::u16string Wide(std::string_view Text) {
    return platform::Utf8ToUtf16(Text);
}

/// The same template in the peer's marks.
std::string PeerText(std::string Text) {
    const auto Replace = [&](std::string_view From, std::string_view To) {
        for (std::size_t Place = 0; (Place = Text.find(From, Place)) != std::string::npos;
             Place += To.size()) {
            Text.replace(Place, From.size(), To);
        }
    };
    Replace("[[!", "{{#");
    Replace("[[", "{{");
    Replace("]]", "}}");
    return Text;
}

std::string Filler(std::size_t Length) {
    static constexpr std::string_view Words =
        "<div class=\"cell wide\"><span>some text of the page, as pages have it</span></div>\n";
    std::string Result;
    while (Result.size() < Length) Result += Words;
    Result.resize(Length);
    return Result;
}

/// A template text of about `Length` characters with `Tags` different tags spread evenly, and the values for
/// them.
struct TPage {
    TPage(std::size_t Length, int Tags, bool Nested) {
        const std::size_t Gap = Length / static_cast<std::size_t>(Tags);
        for (int Index = 0; Index < Tags; ++Index) {
            const std::string Name = "TAG_NAME_" + std::to_string(Index);
            if (Nested && Index == Tags / 2) Text += "[[!ROW]]";
            if (Nested && Index == Tags / 2 + 4) Text += "[[!CELL]]";
            if (Nested && Index == Tags / 2 + 8) Text += "[[/CELL]][[/ROW]]";
            const std::string Literal = Filler(Gap - Name.size() - 4);
            Text += Literal + "[[" + Name + "]]";
            Names.push_back(Name);
            Values.push_back("value of tag " + std::to_string(Index));
            WideNames.push_back(Wide(Name));
            WideValues.push_back(Wide(Values.back()));
            Pieces.push_back(Wide(Literal));
            Pieces.push_back(WideValues.back());
        }
    }
    std::string Text;
    std::vector<std::string> Names, Values;
    std::vector<std::u16string> WideNames, WideValues, Pieces;
};

std::u16string Loop(const std::vector<std::u16string>& Pieces, std::size_t Size) {
    std::u16string Output;
    Output.reserve(Size);
    for (const std::u16string& Piece : Pieces) {
        for (const char16_t Unit : Piece) Output.push_back(Unit);
    }
    return Output;
}

std::u16string Append(const std::vector<std::u16string>& Pieces, std::size_t Size) {
    std::u16string Output;
    Output.reserve(Size);
    for (const std::u16string& Piece : Pieces) Output.append(Piece);
    return Output;
}

std::size_t SizeOf(const std::vector<std::u16string>& Pieces) {
    std::size_t Size = 0;
    for (const std::u16string& Piece : Pieces) Size += Piece.size();
    return Size;
}

void Require(bool Holds, const char* What) {
    if (Holds) return;
    std::fprintf(stderr, "bench: %s\n", What);
    std::exit(1);
}

void MeasureParse() {
    const TPage Page(20'000, 60, true);
    const std::u16string Text = Wide(Page.Text);
    const std::string Peer = PeerText(Page.Text);
    const std::vector<std::u16string> Whole{Text};
    Measure("parse: 20k characters, 60 tags, nested parts",
            {{"loop", [&] { Keep(Loop(Whole, Text.size())); }},
             {"append", [&] { Keep(Append(Whole, Text.size())); }},
             {"TTemplate",
              [&] {
                  TTemplate Template;
                  Template.ComposeTemplate(1, Text, {});
                  Keep(Template);
              }},
             {"ctemplate", [&] {
                  const std::unique_ptr<ctemplate::Template> Template(
                      ctemplate::Template::StringToTemplate(Peer, ctemplate::DO_NOT_STRIP));
                  Keep(Template);
              }}});
}

void FillPeer(ctemplate::TemplateDictionary& Values, const TPage& Page) {
    for (std::size_t Index = 0; Index < Page.Names.size(); ++Index) {
        Values.SetValue(Page.Names[Index], Page.Values[Index]);
    }
}

void MeasureSmallPage() {
    const TPage Page(4'000, 12, false);
    const std::size_t Size = SizeOf(Page.Pieces);
    TTemplate Template;
    Template.SetBody(Wide(Page.Text));
    std::vector<TTagHandle> Handles;
    for (const std::u16string& Name : Page.WideNames) Handles.push_back(Template.FindTag(Name));
    const auto Fill = [&] {
        for (std::size_t Index = 0; Index < Page.WideNames.size(); ++Index) {
            Template.SetTagValue(Page.WideNames[Index], Page.WideValues[Index]);
        }
    };
    const std::unique_ptr<ctemplate::Template> Peer(
        ctemplate::Template::StringToTemplate(PeerText(Page.Text), ctemplate::DO_NOT_STRIP));
    std::u16string Kept;
    std::string PeerPage;
    Fill();
    Require(Template.BuildTemplate() == Loop(Page.Pieces, Size), "the small page is wrong");
    Measure("fill by name + build: 4k characters, 12 tags",
            {{"loop", [&] { Keep(Loop(Page.Pieces, Size)); }},
             {"append", [&] { Keep(Append(Page.Pieces, Size)); }},
             {"TTemplate, by name", [&] { Fill(), Keep(Template.BuildTemplate()); }},
             {"TTemplate, by name, fresh",
              [&] {
                  TTemplate Fresh;
                  Fresh.Assign(&Template);
                  for (std::size_t Index = 0; Index < Page.WideNames.size(); ++Index) {
                      Fresh.SetTagValue(Page.WideNames[Index], Page.WideValues[Index]);
                  }
                  Keep(Fresh.BuildTemplate());
              }},
             {"TTemplate, kept output", [&] { Fill(), Template.BuildTemplate(Kept), Keep(Kept); }},
             {"TTemplate, by handle, kept",
              [&] {
                  for (std::size_t Index = 0; Index < Handles.size(); ++Index) {
                      Template.SetTagValue(Handles[Index], Page.WideValues[Index]);
                  }
                  Template.BuildTemplate(Kept);
                  Keep(Kept);
              }},
             {"ctemplate", [&] {
                  ctemplate::TemplateDictionary Values("page");
                  FillPeer(Values, Page);
                  PeerPage.clear();
                  Peer->Expand(&PeerPage, &Values);
                  Keep(PeerPage);
              }}});
}

void MeasureTablePage() {
    constexpr int Rows = 1000, Columns = 8;
    std::string Row = "<tr class=\"row\">";
    std::vector<std::string> Names;
    std::vector<std::u16string> WideNames;
    for (int Column = 0; Column < Columns; ++Column) {
        Names.push_back("COLUMN_" + std::to_string(Column));
        WideNames.push_back(Wide(Names.back()));
        Row += "<td>[[" + Names.back() + "]]</td>";
    }
    Row += "</tr>\n";
    const std::string Text = "<html><body><table>\n[[ROWS]]</table></body></html>[[!ROW]]" + Row + "[[/ROW]]";
    const std::string PeerPage =
        PeerText("<html><body><table>\n[[!ROW]]" + Row + "[[/ROW]]</table></body></html>");

    std::vector<std::string> Values;
    std::vector<std::u16string> WideValues, Pieces;
    TTemplate Parsed;
    Parsed.SetBody(Wide(Text));
    Pieces.push_back(u"<html><body><table>\n");
    for (int Cell = 0; Cell < Rows * Columns; ++Cell) {
        Values.push_back("cell " + std::to_string(1000 + Cell * 7919 % 9000));
        if (Cell % 3 == 0) Values.back() += " text";
        WideValues.push_back(Wide(Values.back()));
        Pieces.push_back(Cell % Columns == 0 ? u"<tr class=\"row\"><td>" : u"</td><td>");
        Pieces.push_back(WideValues.back());
        if (Cell % Columns == Columns - 1) Pieces.push_back(u"</td></tr>\n");
    }
    Pieces.push_back(u"</table></body></html>");
    const std::size_t Size = SizeOf(Pieces);
    std::printf("\ntable page: %zu characters\n", Size);

    const auto Build = [&](bool ByHandle) {
        TTemplate Page;
        Page.Assign(&Parsed);
        TTemplate& Part = *Page.GetPartByName(u"ROW");
        std::vector<TTagHandle> Handles;
        Handles.reserve(Columns);
        if (ByHandle) {
            for (const std::u16string& Name : WideNames) Handles.push_back(Part.FindTag(Name));
        }
        std::u16string Table;
        const std::u16string* Value = WideValues.data();
        for (int Index = 0; Index < Rows; ++Index) {
            Part.Clear();
            for (std::size_t Column = 0; Column < Columns; ++Column, ++Value) {
                ByHandle ? Part.SetTagValue(Handles[Column], *Value)
                         : Part.SetTagValue(WideNames[Column], *Value);
            }
            Part.AppendTemplate(Table);
        }
        Page.SetTagValue(u"ROWS", std::move(Table));
        return Page.BuildTemplate();
    };
    const std::unique_ptr<ctemplate::Template> Peer(
        ctemplate::Template::StringToTemplate(PeerPage, ctemplate::DO_NOT_STRIP));
    Require(Build(false) == Loop(Pieces, Size) && Build(true) == Build(false), "the table page is wrong");
    std::string PeerOutput;
    Measure("fill + build: table of 1000 x 8, part repeated",
            {{"loop", [&] { Keep(Loop(Pieces, Size)); }},
             {"append", [&] { Keep(Append(Pieces, Size)); }},
             {"TTemplate, by name", [&] { Keep(Build(false)); }},
             {"TTemplate, by handle", [&] { Keep(Build(true)); }},
             {"ctemplate", [&] {
                  ctemplate::TemplateDictionary Dictionary("page");
                  const std::string* Value = Values.data();
                  for (int Index = 0; Index < Rows; ++Index) {
                      ctemplate::TemplateDictionary& Part = *Dictionary.AddSectionDictionary("ROW");
                      for (std::size_t Column = 0; Column < Columns; ++Column)
                          Part.SetValue(Names[Column], *Value++);
                  }
                  PeerOutput.clear();
                  Peer->Expand(&PeerOutput, &Dictionary);
                  Keep(PeerOutput);
              }}});
}

/// Operations per second of `Threads` threads together, the best of many short rounds.
double Throughput(int Threads, int Times, const std::function<void()>& Run) {
    double Best = 0;
    for (int Round = 0; Round < 60; ++Round) {
        std::barrier Start(Threads);
        std::vector<TClock::time_point> Begins(static_cast<std::size_t>(Threads)), Ends = Begins;
        std::vector<std::jthread> Workers;
        for (std::size_t Index = 0; Index < Begins.size(); ++Index) {
            Workers.emplace_back([&, Index] {
                // As in a host: the thread serves a session, whose language a new template takes.
                ThreadObjects().Add(SessionObjectName, std::make_unique<TSession>());
                Run();
                Start.arrive_and_wait();
                Begins[Index] = TClock::now();
                for (int Count = 0; Count < Times; ++Count) Run();
                Ends[Index] = TClock::now();
                ThreadObjects().Clear();
            });
        }
        for (std::jthread& Worker : Workers) Worker.join();
        const std::chrono::duration<double> Taken =
            *std::max_element(Ends.begin(), Ends.end()) - *std::min_element(Begins.begin(), Begins.end());
        Best = std::max(Best, Threads * Times / Taken.count());
    }
    return Best;
}

void MeasureThreads(const char* Case, int Times, const std::function<void()>& Ours,
                    const std::function<void()>& Peer) {
    std::printf("\n%s\n  %-28s %12s %12s %12s %8s\n", Case, "", "1 thread/s", "2 threads/s", "2 : 1",
                "allocs");
    double One[3] = {};
    int Which = 0;
    // Work that shares nothing: what a second thread can give on this machine at this moment.
    const std::function<void()> Alone = [] {
        for (int Index = 0; Index < 500; ++Index) Keep(Index);
    };
    for (const auto& [Name, Run] : {std::pair{"TTemplate", &Ours}, std::pair{"ctemplate", &Peer},
                                    std::pair{"(nothing shared)", &Alone}}) {
        (*Run)();
        const std::uint64_t Before = Allocations;
        for (int Index = 0; Index < 10; ++Index) (*Run)();
        const double PerRun = static_cast<double>(Allocations - Before) / 10;
        One[Which] = Throughput(1, Times, *Run);
        const double Two = Throughput(2, Times, *Run);
        std::printf("  %-28s %12.0f %12.0f %12.2f %8.1f\n", Name, One[Which], Two, Two / One[Which], PerRun);
        ++Which;
    }
    std::printf("  TTemplate is %.2f times as fast as ctemplate on one thread\n", One[0] / One[1]);
}

void MeasureCache() {
    namespace fs = std::filesystem;
    const TPage Page(4'000, 12, false);
    const fs::path Folder = fs::temp_directory_path() /
                            ("zutools-bench-" + std::to_string(TClock::now().time_since_epoch().count()));
    fs::create_directories(Folder / "orders");
    std::ofstream(Folder / "orders/list.html") << Page.Text;
    const std::string PeerFile = (Folder / "peer.tpl").string();
    std::ofstream(PeerFile) << PeerText(Page.Text);

    ZTSTemplateCache = std::make_unique<TZTSTemplateCache>();
    ZTSTemplateCache->SetTemplateDirectory(Folder.u16string());
    ZTSTemplateCache->SetEnabled(true);
    constexpr std::u16string_view Name = u"orders/list.html"; // the peer is given a ready string too
    const auto PeerGet = [&] { return ctemplate::Template::GetTemplate(PeerFile, ctemplate::DO_NOT_STRIP); };
    MeasureThreads(
        "cached get by name", 20'000,
        [=] {
            TTemplate Template;
            Template.SetTemplateName(Name);
            Keep(Template);
        },
        [&] { Keep(*PeerGet()); });
    MeasureThreads(
        "cached get + fill by name + build, 4k characters, 12 tags", 5'000,
        [&] {
            TTemplate Template;
            Template.SetTemplateName(Name);
            for (std::size_t Index = 0; Index < Page.WideNames.size(); ++Index) {
                Template.SetTagValue(Page.WideNames[Index], Page.WideValues[Index]);
            }
            Keep(Template.BuildTemplate());
        },
        [&] {
            ctemplate::TemplateDictionary Values("page");
            FillPeer(Values, Page);
            std::string Output;
            PeerGet()->Expand(&Output, &Values);
            Keep(Output);
        });
    ZTSTemplateCache.reset();
    fs::remove_all(Folder);
}

} // namespace
} // namespace zutools

int main(int Count, char** Arguments) {
    // One of the words below picks a case.
    const std::string_view Wanted = Count > 1 ? Arguments[1] : "";
    const std::pair<std::string_view, void (*)()> Cases[] = {{"parse", zutools::MeasureParse},
                                                             {"page", zutools::MeasureSmallPage},
                                                             {"table", zutools::MeasureTablePage},
                                                             {"cache", zutools::MeasureCache}};
    for (const auto& [Name, Run] : Cases) {
        if (Wanted.empty() || Wanted == Name) Run();
    }
}
