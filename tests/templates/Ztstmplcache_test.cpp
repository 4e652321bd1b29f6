#include "templates/Ztstmplcache.h"

#include "host/Services.h"
#include "host/StringHelpers.h"
#include "platform/File.h"
#include "platform/Text.h"
#include "tests/support/RecordingLogger.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

namespace zutools::tests {
namespace {

class TCountingWords : public TLocalizatorTable {
public:
    std::u16string GetString(std::u16string_view Key, std::u16string_view LanguageID) override {
        ++Asked;
        if (OnAsked) OnAsked();
        return std::u16string(LanguageID) + u":" + std::u16string(Key);
    }
    std::atomic<int> Asked{0};
    std::function<void()> OnAsked;
};

class TemplateCache : public testing::Test {
protected:
    TemplateCache() {
        Cache.SetTemplateDirectory(Folder.Path());
        Cache.SetEnabled(true);
    }
    void Write(std::u16string_view Name, std::string_view Bytes) { Folder.Write(Name, Bytes); }
    [[nodiscard]] std::u16string PathOf(std::u16string_view Name) const {
        return KX_SplitPathName(Folder.Path(), Name);
    }
    std::u16string Load(std::u16string_view Name) {
        TTemplate Template(Environment);
        Template.SetTemplateName(Name);
        return Template.Body();
    }

    TTempFolder Folder;
    std::shared_ptr<TCountingWords> Words = std::make_shared<TCountingWords>();
    std::shared_ptr<TRecordingLogger> Log = std::make_shared<TRecordingLogger>();
    TServices Services{std::make_shared<TSimpleApplicationManager>(u"en"), Words, Log};
    TZTSTemplateCache Cache{&Services};
    TTemplateEnvironment Environment{&Cache, &Services};
};

TEST_F(TemplateCache, OneMasterForEachLanguageAndNameWithoutCase) {
    Write(u"a.html", "{{K}}[[X]]");
    TTemplate Template(Environment);
    Template.SetTemplateName(u"a.html");
    EXPECT_EQ(Template.Body(), u"en:K");
    EXPECT_EQ(Template.FullBody(), u"en:K[[X]]");
    TTemplate Upper(Environment);
    Cache.GetTemplate(u"EN", u"a.html", Upper);
    EXPECT_EQ(Words->Asked, 1) << "en and EN share one";
    EXPECT_EQ(Upper.LanguageID(), u"en") << "the master's";
    Template.SetLanguageID(u"de");
    EXPECT_EQ(Template.Body(), u"de:K");
    EXPECT_EQ(Words->Asked, 2);
}

TEST_F(TemplateCache, CopiesAreIndependentAndHaveTheMastersErrorStyle) {
    Write(u"a.html", "[[X]]");
    TTemplate First(Environment), Second(Environment);
    First.SetRaiseException(true);
    First.SetTemplateName(u"a.html");
    EXPECT_FALSE(First.RaiseException());
    First.SetTagValue(u"X", u"1");
    Second.SetTemplateName(u"a.html");
    EXPECT_EQ(Second.BuildTemplate(), u"");
    EXPECT_EQ(First.BuildTemplate(), u"1");
    First.SetTemplateName(u"A.HTML");
    EXPECT_EQ(First.BuildTemplate(), u"1") << "the same name in another case does not load again";
    EXPECT_EQ(First.Name(), u"a.html");
}

TEST_F(TemplateCache, ChangedFilesAreSeenAfterClearOnly) {
    Write(u"a.html", "old");
    EXPECT_EQ(Load(u"a.html"), u"old");
    Write(u"a.html", "new");
    EXPECT_EQ(Load(u"a.html"), u"old");
    Cache.Clear();
    EXPECT_EQ(Load(u"a.html"), u"new");
}

TEST_F(TemplateCache, DisabledItOnlyGivesTheName) {
    Cache.SetEnabled(false);
    Write(u"a.html", "{{K}}");
    EXPECT_EQ(Load(u"a.html"), u"en:K");
    EXPECT_EQ(Load(u"a.html"), u"en:K");
    EXPECT_EQ(Words->Asked, 2) << "read each time";
    TTemplate Template(Environment);
    Cache.GetTemplate(u"en", u"a.html", Template);
    EXPECT_EQ(Template.Name(), u"a.html");
    Cache.GetTemplate(u"en", u"", Template);
    EXPECT_EQ(Template.Name(), u"");
    EXPECT_EQ(Template.Body(), u"");
}

TEST_F(TemplateCache, LanguageChangeWhileDisabledDoesNotLoadAgain_KeptOnPurpose) {
    Cache.SetEnabled(false);
    Write(u"a.html", "{{K}}");
    TTemplate Template(Environment);
    Template.SetTemplateName(u"a.html");
    Template.SetLanguageID(u"de");
    EXPECT_EQ(Template.Body(), u"en:K");
}

TEST_F(TemplateCache, MissingFilesRaiseEveryTime) {
    for (int Round = 0; Round < 2; ++Round) {
        TTemplate Template(Environment);
        EXPECT_THROW(Template.SetTemplateName(u"none.html"), platform::TSystemError);
    }
    Write(u"none.html", "there");
    EXPECT_EQ(Load(u"none.html"), u"there") << "nothing was kept";
}

TEST_F(TemplateCache, EmptyFileIsAnEmptyTemplateWithoutAnErrorAndStays_KeptOnPurpose) {
    const std::u16string Message = u"Error read template file: \"" + PathOf(u"a.html") + u"\" (empty file).";
    Write(u"a.html", "");
    TTemplate Template(Environment);
    Template.SetTemplateName(u"a.html");
    EXPECT_EQ(Template.LastError(), u"");
    EXPECT_EQ(Log->Last(), platform::Utf16ToUtf8(Message));
    Cache.SetEnabled(false);
    TTemplate Uncached(Environment);
    Uncached.SetTemplateName(u"a.html");
    EXPECT_EQ(Uncached.LastError(), Message);
    Cache.SetEnabled(true);
    Write(u"a.html", "text");
    EXPECT_EQ(Load(u"a.html"), u"");
}

TEST_F(TemplateCache, MissingMarksAreInTheLog) {
    Write(u"a.html", "[[!P]]x[[!Q]]");
    EXPECT_EQ(Load(u"a.html"), u"");
    EXPECT_EQ(Log->Text(), "Not found close tags ([[/...]]) of part: \"P\" in template: a.html.\n"
                           "Not found close tags ([[/...]]) of part: \"Q\" in template: a.html.\n");
}

// A template that takes its time keeps nobody else waiting.
TEST_F(TemplateCache, OtherTemplatesAreReadWhileOneIsBeingRead) {
    Write(u"a.html", "{{K}}");
    Write(u"b.html", "b");
    Words->OnAsked = [this] { std::jthread([this] { EXPECT_EQ(Load(u"b.html"), u"b"); }).join(); };
    EXPECT_EQ(Load(u"a.html"), u"en:K");
}

struct TBadFile {
    const char* Bytes;
    std::u16string_view Reason;
};

TEST_F(TemplateCache, BadContentsNameFileAndPlaceAndAreNotKept) {
    Cache.SetMaxFileSize(20);
    const TBadFile Cases[] = {
        {"\xFF", u"malformed UTF-8 at line 1, column 1, byte offset 0"},
        {"ab\r\n\xD0\x96\xC3(", u"malformed UTF-8 at line 2, column 2, byte offset 6"},
        {"\xEF\xBB\xBFx\xED\xA0\x80", u"malformed UTF-8 at line 1, column 2, byte offset 4"},
        {"\xF0\x9F\x98\x80\xFF",
         u"malformed UTF-8 at line 1, column 2, byte offset 4"}, // characters, as lint counts
        {"twenty-one characters", u"21 bytes, the limit is 20 bytes"},
    };
    for (const bool Cached : {true, false}) {
        Cache.SetEnabled(Cached);
        for (const TBadFile& Case : Cases) {
            Write(u"bad.html", Case.Bytes);
            TTemplate Template(Environment);
            Template.SetTemplateName(u"bad.html");
            EXPECT_EQ(Template.LastError(), u"Error read template file: \"" + PathOf(u"bad.html") + u"\" (" +
                                                std::u16string(Case.Reason) + u").");
            EXPECT_EQ(Template.BuildTemplate(), u"");
            TTemplate Raising(Environment);
            Raising.SetRaiseException(true);
            EXPECT_THROW(Raising.SetTemplateName(u"bad.html"), ETemplate);
        }
        Write(u"bad.html", "mended");
        EXPECT_EQ(Load(u"bad.html"), u"mended");
        Cache.Clear();
    }
}

TEST_F(TemplateCache, NamesThatLeaveTheirFolderAreRefused) {
    for (const bool Cached : {true, false}) {
        Cache.SetEnabled(Cached);
        for (const std::u16string_view Name : {u"../a.html", u"/etc/passwd", u"x\\..\\a", u"C:a", u"NUL"}) {
            TTemplate Template(Environment);
            try {
                Template.SetTemplateName(Name);
                FAIL();
            } catch (const ETemplate& Error) {
                EXPECT_TRUE(
                    Error.Message().starts_with(u"Error template name: \"" + std::u16string(Name) + u"\" ("));
            }
        }
    }
}

TEST_F(TemplateCache, MarkAloneIsACharacter_KeptOnPurpose) {
    Write(u"marked.html", "\xEF\xBB\xBFtext");
    EXPECT_EQ(Load(u"marked.html"), u"text");
    Write(u"mark.html", "\xEF\xBB\xBF");
    EXPECT_EQ(Load(u"mark.html"), u"\uFEFF");
}

TEST_F(TemplateCache, ErrorNamesTheTemplate) {
    Cache.SetEnabled(false);
    Write(u"a.html", "a[[b");
    TTemplate Template(Environment);
    Template.SetTemplateName(u"a.html");
    EXPECT_EQ(Template.LastError(), u"Not found close tags (]]) in template: a.html.");
    Template.SetBody(u"[[X]]{{K}}");
    EXPECT_EQ(Template.Name(), u"");
    EXPECT_EQ(Template.Body(), u"{{K}}") << "keys are replaced in files only";
}

TEST_F(TemplateCache, PlacesOfAFileStartAndEndWithIt) {
    Cache.SetEnabled(false);
    Write(u"a.html", "ab[[!P]]cd[[/]]efgh");
    TTemplate Template(Environment);
    Template.SetTemplateName(u"a.html");
    EXPECT_EQ(Template.BeginPositionX(), 8);
    EXPECT_EQ(Template.EndPositionY(), 2) << "the end of the file";
    Write(u"b.html", "abcdef");
    Template.SetTemplateName(u"b.html");
    EXPECT_EQ(Template.BeginPositionX(), 0);
    EXPECT_EQ(Template.CaretY(), 2);
}

TEST_F(TemplateCache, ManyThreadsReadOnceAndMayClear) {
    Write(u"a.html", "{{K}}[[X]][[!P]]p[[X]][[/]]");
    Write(u"b.html", "b[[X]]");
    EXPECT_EQ(Load(u"a.html"), u"en:K");
    std::vector<std::jthread> Threads;
    std::atomic<int> Wrong{0};
    const auto Work = [&](bool Clears) {
        TTemplate Kept(Environment);
        for (int Round = 0; Round < 300; ++Round) {
            TTemplate Template(Environment);
            Template.SetTemplateName(Round % 3 == 0 ? u"b.html" : u"a.html");
            Template.SetTagValue(u"X", u"1");
            const std::u16string Page = Template.BuildTemplate();
            if (Page != (Round % 3 == 0 ? u"b1" : u"en:K1")) ++Wrong;
            (void)Template.GetTagName(0);
            Kept.Assign(&Template);
            if (Clears && Round % 50 == 0) Cache.Clear();
        }
        if (Kept.ReBuildTemplate() != u"en:K[[X]]") ++Wrong;
    };
    for (int Index = 0; Index < 3; ++Index) Threads.emplace_back(Work, false);
    for (auto& Thread : Threads) Thread.join();
    EXPECT_EQ(Words->Asked, 1);
    Threads.clear();
    for (int Index = 0; Index < 4; ++Index) Threads.emplace_back(Work, true);
    for (auto& Thread : Threads) Thread.join();
    EXPECT_EQ(Wrong, 0);
}

} // namespace
} // namespace zutools::tests
