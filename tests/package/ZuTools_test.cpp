#include "package/ZuTools.h"

#include "host/ScriptObjects.h"
#include "package/Version.h"
#include "templates/Ztstmplcache.h"

#include <gtest/gtest.h>

namespace zutools::tests {
namespace {

TEST(Package, StartMakesAndStopTakesBack) {
    EXPECT_EQ(ZTSTemplateCache, nullptr);
    for (int Round = 0; Round < 2; ++Round) {
        StartZuTools();
        ASSERT_NE(ZTSTemplateCache, nullptr);
        EXPECT_FALSE(ZTSTemplateCache->GetEnabled());
        EXPECT_EQ(ZTSTemplateCache->GetTemplateDirectory(), u"");
        for (const std::u16string_view Class : {u"TTemplate", u"TParamsList"}) {
            const TClassInfo* Found = ScriptRegistry().FindClass(Class);
            ASSERT_NE(Found, nullptr);
            EXPECT_NE(Found->Create(), nullptr);
        }
        StopZuTools();
        EXPECT_EQ(ZTSTemplateCache, nullptr);
        EXPECT_EQ(ScriptRegistry().FindClass(u"TTemplate"), nullptr);
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
