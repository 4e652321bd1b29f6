// Pages that are read: elements by name and position, and what a form sends. The generated forms that are
// compared with a browser are in tests/browser/forms.py.

#include "scripting/Zucomole.h"

#include "host/Exception.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

namespace zutools::tests {
namespace {

using platform::ParseHtml;
using platform::TAutomationPtr;

TAutomationPtr Page(std::string_view Html, const platform::THtmlLimits& Limits = {}) {
    return ParseHtml(platform::Utf8ToUtf16(Html), Limits);
}

// "name=value" with "|" behind each; line ends shown as \r\n.
std::string Sent(const TAutomationPtr& Document, const platform::THtmlForm& Form = 0) {
    const auto Entries = SuccessfulFormEntries(Document, Form);
    if (!Entries) return "no such form";
    std::string Text;
    for (const TFormEntry& Entry : *Entries)
        Text += platform::Utf16ToUtf8(Entry.Name + u"=" + Entry.Value + u"|");
    for (std::size_t At = Text.find("\r\n"); At != Text.npos; At = Text.find("\r\n", At))
        Text.replace(At, 2, "\\r\\n");
    return Text;
}

TEST(Html, ElementsAreFoundByNameAndPosition) {
    const TAutomationPtr Document =
        Page("<p id=note title='t'>Привет</p><input name=a value=1><input name=a value=2 type=hidden>");
    EXPECT_EQ(GetElementPropertyValue(Document, u"a", u"VALUE"), u"1");
    EXPECT_EQ(GetElementPropertyValue(Document, u"note", u"innerText"), u"Привет");
    EXPECT_EQ(GetElementPropertyValue(Document, u"note", u"tagName"), u"P");
    EXPECT_EQ(GetElementPropertyValue(Document, u"none", u"value"), u"");
    EXPECT_EQ(GetElementPropertyValue(nullptr, u"none", u"value"), u"");
    EXPECT_EQ(Raised<Exception>([&] { return GetElementPropertyValue(Document, u"note", u"checked"); }),
              "Unknown name: checked.");
}

TEST(Html, RepeatedCallsWalkThroughFieldsThatAreSent) {
    const TAutomationPtr Document = Page("<input type=checkbox name=opt value=x checked>"
                                         "<input type=checkbox name=opt value=y>"
                                         "<input type=checkbox name=opt value=z checked>"
                                         "<input name=t value=off disabled><input name=t value=on>"
                                         "<div name=d></div>");
    int Position = 0;
    const auto Next = [&](std::u16string_view Name, bool Raise = true) {
        return GetEnabledElementPropertyValue(Document, Name, u"value", Position, Raise);
    };
    const std::pair<const char16_t*, int> Steps[] = {{u"x", 1}, {u"z", 3}, {u"", 3}, {u"", 3}};
    for (const auto& [Value, After] : Steps) {
        EXPECT_EQ(Next(u"opt"), Value);
        EXPECT_EQ(Position, After);
    }
    Position = 0;
    EXPECT_EQ(Next(u"t"), u"on");
    EXPECT_EQ(Position, 2);
    Position = 0;
    EXPECT_EQ(Next(u"d", false), u"");
    Position = 0;
    EXPECT_EQ(Raised<Exception>([&] { return Next(u"d"); }), "Unknown name: value.");
}

// An element as anybody may implement it: only a boolean false is "not checked".
class TOddDocument : public platform::TAutomationObject {
public:
    explicit TOddDocument(platform::TAutomationValue Checked)
        : FChecked(std::move(Checked)) {}
    std::optional<std::int32_t> FindMember(std::u16string_view Name) override {
        constexpr std::u16string_view Names[] = {u"all", u"item", u"type", u"checked", u"value"};
        const auto* const Found = std::find(std::begin(Names), std::end(Names), Name);
        if (Found == std::end(Names)) return std::nullopt;
        return static_cast<std::int32_t>(Found - std::begin(Names));
    }
    platform::TAutomationOutcome Invoke(std::int32_t Member, platform::TInvokeKind,
                                        std::span<const platform::TAutomationValue> Args, bool) override {
        const TAutomationPtr Self(TAutomationPtr(), this);
        if (Member == 0) return {0, {}, Self};
        if (Member == 1) return {0, {}, Args[0] == platform::TAutomationValue(0) ? Self : nullptr};
        if (Member == 3) return {0, {}, FChecked};
        return {0, {}, Member == 2 ? u"radio" : u"sent"};
    }
    std::optional<platform::TAutomationType> DescribeType() override { return std::nullopt; }

private:
    const platform::TAutomationValue FChecked;
};

TEST(Html, KeptOnPurposeOnlyABooleanFalseIsNotChecked) {
    const std::pair<platform::TAutomationValue, const char16_t*> Rows[] = {
        {false, u""},
        {true, u"sent"},
        {platform::TAutomationNull(), u"sent"},
        {0, u"sent"},
        {u"false", u"sent"}};
    for (const auto& [Checked, Value] : Rows) {
        TOddDocument Odd(Checked);
        int Position = 0;
        EXPECT_EQ(GetEnabledElementPropertyValue(TAutomationPtr(TAutomationPtr(), &Odd), u"x", u"value",
                                                 Position, true),
                  Value);
    }
}

struct TFormRow {
    const char* Name;
    const char* Html;
    const char* Sent;
};

// One row for each rule; what the rules do together is compared with a browser.
constexpr TFormRow FormRows[] = {
    {"a field set of a drawing is none",
     "<form><svg><fieldset disabled><title><input name=a value=1></svg></form>", "a=1|"},
    {"disabled field set, first legend",
     "<form><fieldset disabled><div><legend><input name=d></legend></div><legend>"
     "<input name=a value=1></legend><legend><input name=b></legend><input name=c></fieldset></form>",
     "a=1|"},
    {"form attribute",
     "<input name=before form=f value=1><form id=f><input name=in value=2>"
     "<input name=out form=g></form><input name=behind form=f value=3><div id=g></div>",
     "before=1|in=2|behind=3|"},
    {"owner of the parser",
     "<table><form><tr><td><input name=a value=1></table><input name=b value=2></form>"
     "<input name=c>",
     "a=1|b=2|"},
    {"end tag that ends nothing", "<form><div></form><input name=a value=1></div><input name=b>", "a=1|"},
    {"end tags in texts are none",
     "<form><!-- </form> --><textarea name=t></form></textarea>"
     "<p title='</form>'><input name=a value=1></form><input name=b>",
     "t=</form>|a=1|"},
    {"options and groups",
     "<form><select name=s><option disabled>0<option value=1>one</select><select name=m multiple>"
     "<option selected>a b\n c<optgroup disabled><option selected>d</optgroup><option selected "
     "value=e></select>"
     "<select name=l size=3><option>x</select><select name=z><option selected disabled>q</select></form>",
     "s=1|m=a b c|m=e|"},
    {"radio groups",
     "<form><input type=radio name=r value=1 checked><input type=radio name=r value=2 checked>"
     "<input type=checkbox name=c checked><input type=radio checked></form>",
     "r=2|c=on|"},
    {"text area", "<form><textarea name=t>\n\nfirst\rsecond&#13;&#10;third\n</textarea></form>",
     "t=\\r\\nfirst\\r\\nsecond\\r\\nthird\\r\\n|"},
    {"charset and direction",
     "<form dir=rtl><input type=hidden name=_charset_><input name=a dirname=a.dir value=x>"
     "<input name=b dirname=b.dir dir=auto value='שלום'><input name=c dirname=c.dir dir=auto value=x></form>",
     "_charset_=UTF-8|a=x|a.dir=rtl|b=שלום|b.dir=rtl|c=x|c.dir=ltr|"},
    {"what is never sent",
     "<form><template><input name=a></template><datalist><input name=b></datalist>"
     "<input type=image name=c><input type=submit name=d><button name=e></button><input type=reset name=f>"
     "<input type=button name=g><object name=h></object><output name=i>x</output><input value=noname></form>",
     ""},
    {"values brought into shape",
     "<form><input name=n type=number value=1e><input name=r type=range value=7 step=5>"
     "<input name=c type=color value=#ABCDEF><input name=d type=date value=2023-02-29><input name=e "
     "type=email value=' a@b '>"
     "<input name=l type=datetime-local value='2024-02-29 10:00:00.500'><input name=t value='a\nb'>"
     "<input name=w type=week value=2020-W53><input name=f type=file value=x></form>",
     "n=|r=7|c=#abcdef|d=|e=a@b|l=2024-02-29T10:00:00.5|t=ab|w=2020-W53|f=|"},
};

TEST(Html, FormsSendWhatABrowserSends) {
    for (const TFormRow& Row : FormRows) EXPECT_EQ(Sent(Page(Row.Html)), Row.Sent) << Row.Name;
}

TEST(Html, FormsAreFoundByNameIdAndPlace) {
    const TAutomationPtr Document =
        Page("<form name=one><input name=a></form><form id=two><input name=b></form>");
    EXPECT_EQ(Sent(Document, u"one"), "a=|");
    EXPECT_EQ(Sent(Document, u"two"), "b=|");
    EXPECT_EQ(Sent(Document, 1), "b=|");
    for (const platform::THtmlForm& Form :
         {platform::THtmlForm(2), platform::THtmlForm(-1), platform::THtmlForm(u"x")})
        EXPECT_EQ(Sent(Document, Form), "no such form");
}

// Hides what a parsed document is, so that it is asked late like a browser's.
class TLateDocument : public platform::TAutomationObject {
public:
    explicit TLateDocument(TAutomationPtr Document)
        : FDocument(std::move(Document)) {}
    std::optional<std::int32_t> FindMember(std::u16string_view Name) override {
        return FDocument->FindMember(Name);
    }
    platform::TAutomationOutcome Invoke(std::int32_t Member, platform::TInvokeKind Kind,
                                        std::span<const platform::TAutomationValue> Args,
                                        bool WantResult) override {
        return FDocument->Invoke(Member, Kind, Args, WantResult);
    }
    std::optional<platform::TAutomationType> DescribeType() override { return FDocument->DescribeType(); }

private:
    const TAutomationPtr FDocument;
};

TEST(Html, ADocumentThatIsAskedLateGivesTheSame) {
    for (const TFormRow& Row : FormRows) {
        if (std::string_view(Row.Html).find("dirname") != std::string_view::npos)
            continue; // no browser tells it late
        EXPECT_EQ(Sent(std::make_shared<TLateDocument>(Page(Row.Html))), Row.Sent) << Row.Name;
    }
}

TEST(Html, LimitsAreTold) {
    std::string Deep;
    for (int I = 0; I < 600; ++I) Deep += "<div>";
    const std::pair<std::string, platform::THtmlLimits> Rows[] = {
        {Deep, {}}, {std::string(2000, 'x'), {.Bytes = 1000}}, {Deep, {.Memory = 100'000}}};
    const char* const Texts[] = {"nested more than 512 deep", "more than 1000 bytes",
                                 "takes more than 100000 bytes"};
    for (std::size_t I = 0; I < std::size(Rows); ++I)
        ExpectRaised<platform::TAutomationFailure>([&] { return Page(Rows[I].first, Rows[I].second); },
                                                   {Texts[I]});
    // Gumbo takes time by the square of the depth: the clock ends it.
    std::string Endless;
    for (int I = 0; I < 200'000; ++I) Endless += "<i>";
    ExpectRaised<platform::TAutomationFailure>([&] { return Page(Endless, {.Milliseconds = 50}); },
                                               {"longer than 50 ms"});
}

} // namespace
} // namespace zutools::tests
