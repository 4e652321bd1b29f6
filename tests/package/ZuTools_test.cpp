#include "package/ZuTools.h"

#include "checking/Chekprms.h"
#include "core/Lthdata.h"
#include "host/Exception.h"
#include "package/Version.h"
#include "recordlock/Zurecblk.h"
#include "templates/Ztstmplcache.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zutools::tests {
namespace {

using testing::ElementsAre;

/// What the library makes for its process, as far as it is there.
std::vector<const void*> Made() {
    std::vector<const void*> Result{ZUThreadDataContainer.get(), ZTSTemplateCache.get(), ParamsChecker.get(),
                                    ZURecordBlocker.get()};
    std::erase(Result, nullptr);
    return Result;
}

/// The classes that scripts see, with the globals that stand for an object; "!" behind a global that gives
/// one.
std::vector<std::string> Seen() {
    std::vector<std::string> Result;
    for (const TClassInfo* Class : ScriptRegistry().Classes()) {
        const TScriptGlobal& Global = Class->Global;
        std::string Line(Class->Name.begin(), Class->Name.end());
        if (!Global.Name.empty()) Line += " " + std::string(Global.Name.begin(), Global.Name.end());
        if (Global.Get != nullptr && Global.Get() != nullptr) Line += "!";
        Result.push_back(Line);
    }
    return Result;
}

class TOwn : public TIObject {
public:
    static const TClassInfo& StaticClass() {
        static constexpr TClassInfo Info{.Name = u"TOwn", .Parent = &TIObject::StaticClass};
        return Info;
    }
};

class TWrong : public TIObject {
public:
    static const TClassInfo& StaticClass() {
        static constexpr TScriptMember Names[] = {ScriptFunction(u"NoHandler", 0, nullptr)};
        static constexpr TClassInfo Info{
            .Name = u"TWrong", .Parent = &TIObject::StaticClass, .Script = Names};
        return Info;
    }
};

TEST(Package, StartMakesEverythingAndStopTakesItBack) {
    const TScriptClass Own[] = {&TOwn::StaticClass};
    const TScriptClass Wrong[] = {&TOwn::StaticClass, &TWrong::StaticClass};
    const auto Logger = std::make_shared<TNullLogger>();
    for (int Round = 0; Round < 2; ++Round) {
        StartZuTools({.Logger = Logger}, Own);
        EXPECT_EQ(Made().size(), 4U);
        EXPECT_THAT(Seen(),
                    ElementsAre("TOwn", "TParamsChecker ParamsChecker!", "TParamsList", "TRecordInterface",
                                "TSession Session", "TTemplate", "TZURecordBlocker",
                                "TZURecordBlockerInterface RecordBlocker!", "TZURecordBlockerObject",
                                "TZURecordBlockerTableObject", "TZUThreadDataInterface ThreadData!"));
        EXPECT_EQ(Services().Logger, Logger);
        EXPECT_FALSE(ZTSTemplateCache->GetEnabled());
        EXPECT_EQ(ZTSTemplateCache->GetTemplateDirectory(), u"");
        StopZuTools();
        EXPECT_EQ(Made().size(), 0U);
        EXPECT_THAT(Seen(), ElementsAre());
        EXPECT_NE(Services().Logger, Logger);
        EXPECT_THROW(StartZuTools({.Logger = Logger}, Wrong), Exception);
        EXPECT_EQ(Made().size(), 0U);
        EXPECT_THAT(Seen(), ElementsAre());
        EXPECT_NE(Services().Logger, Logger);
    }
}

TEST(Package, StartsNestAndSurplusStopsDoNothing) {
    StopZuTools();
    StartZuTools();
    StartZuTools();
    ZTSTemplateCache->SetEnabled(true);
    StopZuTools();
    ASSERT_NE(ZTSTemplateCache, nullptr);
    EXPECT_TRUE(ZTSTemplateCache->GetEnabled()) << "a second start makes nothing anew";
    StopZuTools();
    EXPECT_EQ(ZTSTemplateCache, nullptr);
}

TEST(Package, VersionTextIsMadeOfItsNumbers) {
    std::u16string Wanted;
    for (const char Character : std::to_string(VersionMajor) + "." + std::to_string(VersionMinor) + "." +
                                    std::to_string(VersionPatch)) {
        Wanted += static_cast<char16_t>(Character);
    }
    EXPECT_EQ(ZuToolsVersion(), Wanted);
}

} // namespace
} // namespace zutools::tests
