// A template as a script reaches it: through the registry, the published properties and the object's own
// hooks.

#include "core/Lparams.h"
#include "host/Services.h"
#include "templates/Ltemplt.h"
#include "templates/Ztstmplcache.h"
#include "tests/support/RecordingLogger.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace zutools::tests {
namespace {

class LtempltScripts : public testing::Test {
protected:
    LtempltScripts() {
        RegisterLtemplt(ScriptRegistry());
        Set(u"Body", u"a[[Title]][[!Row]]r[[Y]][[/Row]]");
    }
    ~LtempltScripts() override { UnregisterLtemplt(ScriptRegistry()); }

    TKXVariant Get(std::u16string_view Name, std::vector<TKXVariant> Args = {}) {
        TKXVariant Result;
        EXPECT_TRUE(Template.GetPropertyInternal(Name, Args, static_cast<int>(Args.size()), Result));
        return Result;
    }
    void Set(std::u16string_view Name, TKXVariant Value) {
        const TKXVariant Args[] = {std::move(Value)};
        EXPECT_TRUE(Template.SetPropertyInternal(Name, Args, 0));
    }
    void SetIndexed(std::u16string_view Name, TKXVariant Index, TKXVariant Value) {
        const TKXVariant Args[] = {std::move(Index), std::move(Value)};
        EXPECT_TRUE(Template.SetPropertyInternal(Name, Args, 1));
    }

    TTemplate Template;
};

TEST_F(LtempltScripts, IsCreatableByName) {
    const TClassInfo* Class = ScriptRegistry().FindClass(u"ttemplate");
    ASSERT_NE(Class, nullptr);
    EXPECT_NE(ObjectCast<TTemplate>(Class->Create().get()), nullptr);
    UnregisterLtemplt(ScriptRegistry());
    EXPECT_EQ(ScriptRegistry().FindClass(u"TTemplate"), nullptr);
}

TEST_F(LtempltScripts, TagsByNameAndIndex) {
    SetIndexed(u"Tag", u"TITLE", u"1");
    EXPECT_EQ(Get(u"Tag", {0}), TKXVariant(u"1"));
    SetIndexed(u"Tag", 0, 2);
    EXPECT_EQ(Get(u"Tag", {TKXVariant::AnsiString("title")}), TKXVariant(u"2"));
    EXPECT_EQ(Get(u"TagName", {u"0"}), TKXVariant(u"Title"));
    EXPECT_EQ(Get(u"TagIndex", {u"TITLE"}), TKXVariant(0));
    EXPECT_EQ(Get(u"TagIndex", {u"none"}), TKXVariant(-1));
    EXPECT_THROW(Get(u"Tag", {1}), ETemplate);
    EXPECT_THROW(SetIndexed(u"Tag", -1, u""), ETemplate);
}

TEST_F(LtempltScripts, UnknownPropertiesAreTags) {
    Set(u"TITLE", u"page");
    EXPECT_EQ(Get(u"title"), TKXVariant(u"page"));
    EXPECT_EQ(Get(u"BuildTemplate"), TKXVariant(u"apage"));
    Set(u"nothing", u"x");
    EXPECT_EQ(Get(u"LastError"), TKXVariant(u""));
    EXPECT_EQ(Get(u"nothing"), TKXVariant(u""));
    EXPECT_EQ(Get(u"LastError"), TKXVariant(u"Not found tag with name: nothing in template: ."));
    TKXVariant Result;
    const TKXVariant Args[] = {1};
    EXPECT_FALSE(Template.GetPropertyInternal(u"NoSuchFunction", Args, 1, Result));
}

TEST_F(LtempltScripts, PartsAreReferencesAndPartExistNeverRaises) {
    EXPECT_EQ(Get(u"Part", {u"row"}).AsObject(), Template.GetPart(1));
    EXPECT_EQ(Get(u"Part", {0}).AsObject(), &Template);
    EXPECT_EQ(Get(u"Part", {u"none"}), PointerAsLVar(nullptr));
    for (const bool Raise : {false, true}) {
        Set(u"RaiseException", Raise);
        for (const TKXVariant& There : {TKXVariant(u"ROW"), TKXVariant(0), TKXVariant(u"")})
            EXPECT_EQ(Get(u"PartExist", {There}), TKXVariant(true));
        for (const TKXVariant& Missing : {TKXVariant(u"none"), TKXVariant(), TKXVariant(7)})
            EXPECT_EQ(Get(u"PartExist", {Missing}), TKXVariant(false));
        EXPECT_EQ(Get(u"LastError"), TKXVariant(u"Error part index: 7 in template object: ."));
    }
}

TEST_F(LtempltScripts, ANameLoadsAlikeFromTheCacheAndFromTheFile) {
    tests::TTempFolder Folder;
    Folder.Write(u"cut.html", "a[[!P]]b");
    Folder.Write(u"whole.html", "w");
    tests::TRecordingLogger Log;
    const TServices Services{std::make_shared<TSimpleApplicationManager>(u"en"),
                             std::make_shared<TEmptyLocalizatorTable>(),
                             std::shared_ptr<TLogger>(&Log, [](TLogger*) {})};
    const auto SetName = [](TTemplate& Target, std::u16string_view Name) {
        const TKXVariant Args[] = {Name};
        Target.SetPropertyInternal(u"Name", Args, 0);
    };
    for (const bool Cached : {true, false}) {
        TZTSTemplateCache Cache(&Services);
        Cache.SetTemplateDirectory(Folder.Path());
        Cache.SetEnabled(Cached);
        Log.Clear();
        TTemplate Quiet({&Cache, &Services}), Raising({&Cache, &Services});
        Raising.SetRaiseException(true);
        SetName(Quiet, u"cut.html");
        EXPECT_NE(Quiet.LastError().find(u"P"), std::u16string::npos) << Cached;
        EXPECT_THROW(SetName(Raising, u"cut.html"), ETemplate) << Cached;
        EXPECT_NE(Log.Text().find("cut.html"), std::string::npos) << Cached;
        SetName(Raising, u"whole.html");
        EXPECT_TRUE(Raising.RaiseException()) << Cached;
        EXPECT_EQ(Raising.LastError(), u"") << Cached;
    }
}

TEST_F(LtempltScripts, ReadTemplateParsesTheBodyAgain_KeptOnPurpose) {
    Get(u"ReadTemplate");
    EXPECT_EQ(Get(u"Body"), TKXVariant(u"a")) << "tags and parts are dropped";
    EXPECT_EQ(Get(u"TagsCount"), TKXVariant(0));
    EXPECT_EQ(Get(u"PartsCount"), TKXVariant(1));
}

TEST_F(LtempltScripts, PublishedProperties) {
    EXPECT_EQ(Get(u"TagsCount"), TKXVariant(1));
    EXPECT_EQ(Get(u"PartsCount"), TKXVariant(2));
    EXPECT_EQ(Get(u"DebugInfo"), TKXVariant(u"Body size: 1"));
    EXPECT_EQ(Get(u"PartName"), TKXVariant(u""));
    EXPECT_EQ(Template.GetPart(1)->ClassInfo().FindProperty(u"PartName")->Get(*Template.GetPart(1)),
              TKXVariant(u"ROW"));
    Set(u"LanguageID", u"ru");
    EXPECT_EQ(Get(u"LanguageID"), TKXVariant(u"ru"));
    Set(u"LastError", u"mine");
    EXPECT_EQ(Get(u"LastError"), TKXVariant(u"mine"));
    EXPECT_THROW(Set(u"TagsCount", 1), EIObjectError);
}

TEST_F(LtempltScripts, FillTemplateTakesAListAndNothingElse) {
    TParamsList Params;
    Params.Add(u"title", u"1");
    Get(u"FillTemplate", {PointerAsLVar(&Params)});
    EXPECT_EQ(Get(u"ReCreateTemplate"), TKXVariant(u"a1"));
    Get(u"FillTemplate", {PointerAsLVar(nullptr)});
    EXPECT_THROW(Get(u"FillTemplate", {PointerAsLVar(&Template)}), EIObjectError);
    EXPECT_THROW(Get(u"FillTemplate", {u"text"}), EVariantError);
    Get(u"Clear");
    EXPECT_EQ(Get(u"ReCreateTemplate"), TKXVariant(u"a[[Title]]"));
}

} // namespace
} // namespace zutools::tests
