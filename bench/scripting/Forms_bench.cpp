// A page with 200 fields: parsing it and reading what its form sends, against gumbo's parse alone.

#include "platform/Text.h"
#include "scripting/Zucomole.h"

#include <gumbo.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace zutools;
using TClock = std::chrono::steady_clock;

constexpr int Rounds = 201;

std::string Page() {
    std::string Html = "<!DOCTYPE html><html><head><title>Order</title></head><body><form id=order><table>\n";
    for (int Field = 0; Field < 200; ++Field) {
        const std::string Name = "field" + std::to_string(Field);
        Html += "<tr><td><label for=" + Name + ">Field " + std::to_string(Field) + "</label></td><td>";
        switch (Field % 5) {
        case 0:
            Html += "<select name=" + Name +
                    "><option value=1>one</option><option value=2 selected>two</option></select>";
            break;
        case 1:
            Html += "<input type=checkbox name=" + Name + " value=yes checked>";
            break;
        case 2:
            Html += "<textarea name=" + Name + ">\nA few words of text\nin two lines</textarea>";
            break;
        default:
            Html += "<input type=text class=wide name=" + Name + " value=\"some &amp; text\">";
        }
        Html += "</td></tr>\n";
    }
    return Html + "</table><input type=submit value=Save></form></body></html>\n";
}

template <class TAction>
double Microseconds(TAction Action) {
    const auto Begin = TClock::now();
    Action();
    return std::chrono::duration<double, std::micro>(TClock::now() - Begin).count();
}

double Median(std::vector<double>& Times) {
    std::nth_element(Times.begin(), Times.begin() + Rounds / 2, Times.end());
    return Times[Rounds / 2];
}

} // namespace

int main() {
    const std::string Html = Page();
    const std::u16string Text = platform::Utf8ToUtf16(Html);
    GumboOptions Options = kGumboDefaultOptions;
    Options.max_errors = 0;
    std::array<std::vector<double>, 4> Times;
    std::size_t Entries = 0;
    for (int Round = 0; Round < Rounds; ++Round) { // in turns, so that a busy moment meets all alike
        GumboOutput* Output = nullptr;
        Times[0].push_back(
            Microseconds([&] { Output = gumbo_parse_with_options(&Options, Html.data(), Html.size()); }));
        gumbo_destroy_output(&Options, Output);
        platform::TAutomationPtr Document;
        Times[1].push_back(Microseconds([&] { Document = platform::ParseHtml(Text); }));
        Times[2].push_back(Microseconds([&] { Entries = SuccessfulFormEntries(Document, 0)->size(); }));
        Document.reset();
        Times[3].push_back(Microseconds([&] {
            const platform::TAutomationPtr Page = platform::ParseHtml(Text);
            Entries = SuccessfulFormEntries(Page, u"order")->size();
        }));
    }
    const double Floor = Median(Times[0]);
    std::printf("A page of %zu bytes, %zu entries\n", Html.size(), Entries);
    const char* const Names[] = {"gumbo's parse alone", "ParseHtml", "SuccessfulFormEntries",
                                 "both, and the tree's end"};
    for (std::size_t Row = 0; Row < Times.size(); ++Row) {
        const double Time = Row == 0 ? Floor : Median(Times[Row]);
        std::printf("  %-28s %8.1f us %6.2f x gumbo's parse\n", Names[Row], Time, Time / Floor);
    }
    return 0;
}
