#include "crypto/ImportFile.h"
#include "host/Exception.h"
#include "platform/Text.h"
#include "tests/support/Raised.h"

#include <gmock/gmock.h>

#include <random>

namespace zutools::tests {

namespace {

using testing::ElementsAre;

TEST(CryptoParams, SecretsAreFoundByTheirNames) {
    for (const char16_t* const Name :
         {u"PIN", u"UserPin", u"pin_2", u"Private key", u"KEY", u"keys", u"PINCode", u"OldPassword1",
          u"Пароль", u"ПИН-код", u"КлючПодписи", u"client secret"})
        EXPECT_TRUE(IsSecretParam(Name)) << platform::Utf16ToUtf8(Name);
    for (const char16_t* const Name :
         {u"", u"Spinning", u"Monkey", u"Keyboard", u"Owner", u"Пинта", u"=", u"42"})
        EXPECT_FALSE(IsSecretParam(Name)) << platform::Utf16ToUtf8(Name);
    EXPECT_EQ(MaskedValue({u"PIN", u"1"}), MaskedValue({u"PIN", u"123456789"}));
    EXPECT_EQ(MaskedValue({u"PIN", u""}), u"");
    EXPECT_EQ(MaskedValue({u"Owner", u"Anna"}), u"Anna");
}

TEST(CryptoParams, StoredValuesReplaceTheEnginesUnlessEmpty) {
    TCryptoParams Engine;
    for (const char16_t* const Line : {u"A=1", u"Имя=2=3", u"C=4", u"bare"})
        Engine.push_back(SplitParam(Line));
    const TCryptoParams Stored{{u"имя", u"new"}, {u"A", u""}, {u"other", u"x"}, {u"имя", u"later"}};
    EXPECT_THAT(WithStored(Engine, Stored),
                ElementsAre(TCryptoParam{u"A", u"1"}, TCryptoParam{u"Имя", u"new"}, TCryptoParam{u"C", u"4"},
                            TCryptoParam{u"bare", u""}));
    EXPECT_EQ(WithStored(Engine, {})[1].Value, u"2=3");
}

// Random edits, undone to the beginning and done again, against the list of all states.
TEST(CryptoParams, StepsLeadBackAndForth) {
    std::mt19937 Random(14);
    TCryptoParamsModel Model;
    Model.Reset({u"T", {{u"a", u""}, {u"b", u""}, {u"", u"nameless"}}});
    EXPECT_FALSE(Model.SetValue(2, u"x") || Model.SetValue(3, u"x"));
    std::vector<TCryptoParamsModel::TState> States{Model.State()};
    for (int Step = 0; Step < 300; ++Step) {
        if (Random() % 3 == 0 && Model.CanUndo()) {
            Model.Undo();
            EXPECT_TRUE(Model.CanRedo());
            States.pop_back();
        } else if (Model.SetValue(Random() % 2,
                                  std::u16string(1, static_cast<char16_t>(u'a' + Random() % 3))) &&
                   Model.State() != States.back()) {
            States.push_back(Model.State());
            EXPECT_FALSE(Model.CanRedo());
        }
        ASSERT_EQ(Model.State(), States.back());
    }
    std::size_t Steps = 0;
    for (; Model.CanUndo(); ++Steps) Model.Undo();
    EXPECT_EQ(Steps, std::min(States.size() - 1, TCryptoParamsModel::MaxSteps));
    EXPECT_EQ(Model.State(), States[States.size() - 1 - Steps]);
    for (; Steps > 0; --Steps) Model.Redo();
    EXPECT_EQ(Model.State(), States.back());
    EXPECT_EQ(Model.Lines().size(), 2U);
}

TEST(CryptoImport, EncodingsByMarkThenUtf8ThenTheUsers) {
    EXPECT_EQ(ImportText(std::string_view("\xFF\xFE\x1F\x04\n\0", 6)), u"П\n");
    EXPECT_EQ(ImportText(std::string_view("\xFE\xFF\x04\x1F", 4)), u"П");
    EXPECT_EQ(ImportText("\xEF\xBB\xBF\xD0\x9F"), u"П");
    EXPECT_EQ(ImportText("\xD0\x9F"), u"П");
    EXPECT_EQ(ImportText("a\xCF"), platform::CodePageToUtf16("a\xCF", platform::AnsiCodePage()).Text);
    ExpectRaised<Exception>([] { return ImportText(std::string_view("a\0", 2)); }, {"no text"});
    ExpectRaised<Exception>([] { return ImportText(std::string(MaxImportSize + 1, 'a')); }, {"1048577"});
}

struct TCase {
    const char* What;
    const char* File;
    TImportMode Mode;
    const char16_t* Section;
    std::vector<std::u16string> Values; // of A, B and C afterwards
    std::size_t Unknown, LeftOut;
};

TEST(CryptoImport, ThreeModes) {
    const std::vector<std::u16string> Types{u"TypeA", u"TypeB"};
    const TCryptoParams Rows{{u"A", u"1"}, {u"B", u"2"}, {u"C", u"3"}};
    for (const TCase& Case : std::vector<TCase>{
             {"values", "x\n y \n\nmore", TImportMode::Positions, u"", {u"x", u" y ", u""}, 0, 1},
             {"names", "b = y \n A==\n", TImportMode::Names, u"", {u"=", u"y", u"3"}, 0, 0},
             {"unknown names", "D=1\nx\nC=9", TImportMode::Names, u"", {u"1", u"2", u"9"}, 2, 0},
             {"the later of two", "A=x\nA=y", TImportMode::Names, u"", {u"y", u"2", u"3"}, 0, 0},
             {"one line without =", "A=x\nyy", TImportMode::Positions, u"", {u"A=x", u"yy", u"3"}, 0, 0},
             {"sections",
              "[Other]\nA=0\n[typeb]\nA=x\nC=\"y \"\n[TypeA]\nB=0",
              TImportMode::Section,
              u"TypeB",
              {u"x", u"2", u"y"},
              0,
              0},
             {"the first line names the section",
              "Other\n[Other]\nA=x",
              TImportMode::Section,
              u"Other",
              {u"x", u"2", u"3"},
              0,
              0},
             {"KEPT ON PURPOSE: [Other] names none",
              "[Other]\nA=x",
              TImportMode::Section,
              u"[Other]",
              {u"1", u"2", u"3"},
              0,
              0},
             {"KEPT ON PURPOSE: as many lines as rows",
              "D=1\nE=2\nF=3\nA=x",
              TImportMode::Names,
              u"",
              {u"1", u"2", u"3"},
              3,
              1},
             {"empty", "", TImportMode::Names, u"", {u"1", u"2", u"3"}, 0, 0}}) {
        SCOPED_TRACE(Case.What);
        const TImportFile File = ReadImportFile(Case.File, Types);
        EXPECT_EQ(File.Mode, Case.Mode);
        EXPECT_EQ(File.Section, Case.Section);
        EXPECT_EQ(File.SectionIsType, File.Section == u"TypeB");
        const TImportPlan Plan = PlanImport(File, Rows);
        EXPECT_EQ(Plan.UnknownNames.size(), Case.Unknown);
        EXPECT_EQ(Plan.LinesLeftOut, Case.LeftOut);
        const TCryptoParams After = Imported(Plan, Rows);
        for (std::size_t Row = 0; Row < 3; ++Row) EXPECT_EQ(After[Row].Value, Case.Values[Row]) << Row;
    }
}

} // namespace

} // namespace zutools::tests
