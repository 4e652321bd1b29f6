#include "platform/File.h"

#include "platform/Text.h"
#include "tests/support/Raised.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace zutools::platform;
using zutools::tests::Raised;
using zutools::tests::TTempFolder;

namespace {

namespace fs = std::filesystem;

std::string OpenRefusal(std::u16string_view Path) {
    return Raised<TSystemError>([Path] { const TReadFile File(Path); });
}

// ---- reading

TEST(ReadFile, ReadsInPartsAndWhole) {
    const TTempFolder Folder;
    const std::string Bytes = std::string("one\r\ntwo\0three", 14) + "\x1A\xFF";
    TReadFile File(Folder.Write(u"папка/имя с пробелом.txt", Bytes));
    EXPECT_EQ(File.Size(), Bytes.size());
    char Part[5] = {};
    EXPECT_EQ(File.Read(Part), 5u);
    EXPECT_EQ(std::string_view(Part, 5), "one\r\n");
    EXPECT_EQ(File.ReadAll(), Bytes.substr(5));
    EXPECT_EQ(File.Read(Part), 0u);
    EXPECT_EQ(File.ReadAll(), "");
}

TEST(ReadFile, ReadsFilesOfEverySizeAroundABlock) {
    const TTempFolder Folder;
    for (const std::size_t Size : {0u, 1u, 4095u, 4096u, 4097u, 8193u, 1'000'000u}) {
        std::string Bytes(Size, '\0');
        for (std::size_t Index = 0; Index < Size; ++Index) Bytes[Index] = static_cast<char>(Index * 31 >> 3);
        EXPECT_TRUE(TReadFile(Folder.Write(u"file", Bytes)).ReadAll() == Bytes) << Size;
    }
}

TEST(ReadFile, TwoReadersShareAFile) {
    const TTempFolder Folder;
    const std::u16string Path = Folder.Write(u"shared", "text");
    TReadFile First(Path);
    TReadFile Second(Path);
    EXPECT_EQ(First.ReadAll(), "text");
    EXPECT_EQ(Second.ReadAll(), "text");
    EXPECT_EQ(TReadFile(Folder.Path(), u"shared").ReadAll(), "text");
}

TEST(ReadFile, LongPathsOpenAndAreListed) {
    const TTempFolder Folder;
    std::u16string Name;
    for (int Part = 0; Part < 6; ++Part) Name += std::u16string(60, u'd') + u"/";
    EXPECT_EQ(TReadFile(Folder.Write(Name + u"file", "deep")).ReadAll(), "deep");
    EXPECT_THAT(ListFiles(Folder.Path()), testing::ElementsAre(Name + u"file"));
    EXPECT_THAT(OpenRefusal(Folder.File(Name + u"none")), testing::StartsWith("Cannot open file"));
}

TEST(ReadFile, RefusalsNameTheFile) {
    const TTempFolder Folder;
    Folder.Write(u"folder/file", "");
    const std::u16string Names[] = {u"none", u"folder", u"folder/file/below",
                                    std::u16string(u"unpaired") + char16_t{0xD800}};
    for (const std::u16string& Name : Names) {
        const std::u16string Path = Folder.File(Name);
        EXPECT_THAT(OpenRefusal(Path),
                    testing::StartsWith("Cannot open file \"" + Utf16ToUtf8(Path) + "\": "));
    }
    EXPECT_THAT(OpenRefusal(u""), testing::StartsWith("Cannot open file \"\": "));
}

TEST(SystemError, MessageNamesActionObjectSentenceAndCode) {
    const TSystemError Error(u"Cannot open file", u"каталог/x", 2);
    EXPECT_EQ(Error.Code(), 2);
    EXPECT_EQ(Error.Message(), u"Cannot open file \"каталог/x\": " + SystemErrorText(2) + u" (2)");
    EXPECT_STREQ(Error.what(), Utf16ToUtf8(Error.Message()).c_str());
}

TEST(SystemError, ControlCharactersOfANameAreShown) {
    const std::u16string Name(u"a\0b\nc", 5);
    EXPECT_THAT(OpenRefusal(Name), testing::StartsWith("Cannot open file \"a\uFFFDb\uFFFDc\": "));
}

TEST(SystemError, TextIsTrimmedAndNeverEmpty) {
    for (const int Code : {1, 2, 5, 13, 17, 32}) {
        const std::u16string Text = SystemErrorText(Code);
        ASSERT_FALSE(Text.empty());
        EXPECT_GT(Text.back(), u' ');
        EXPECT_NE(Text.back(), u'.');
        EXPECT_NE(Text.substr(0, 6), u"error ");
    }
    EXPECT_EQ(SystemErrorText(99999), u"error 99999");
    EXPECT_EQ(SystemErrorText(-7), u"error -7");
}

// ---- directories

TEST(ListFiles, ListsTheTreeInCodeUnitOrder) {
    const TTempFolder Folder;
    for (const char16_t* const Name : {u"b.htm", u"a/z.htm", u"a/b/c.htm", u"Z.htm", u"привет.htm", u"a.htm"})
        Folder.Write(Name, "x");
    fs::create_directories(fs::path(Folder.File(u"empty/folder")));
    const std::vector<std::u16string> Expected{u"Z.htm",   u"a.htm", u"a/b/c.htm",
                                               u"a/z.htm", u"b.htm", u"привет.htm"};
    EXPECT_EQ(ListFiles(Folder.Path()), Expected);
    EXPECT_EQ(ListFiles(Folder.Path() + u"/"), Expected);
    EXPECT_THAT(ListFiles(Folder.File(u"empty")), testing::IsEmpty());
}

TEST(ListFiles, RefusesWhatIsNoDirectory) {
    const TTempFolder Folder;
    const std::u16string File = Folder.Write(u"file", "");
    for (const std::u16string& Path : {File, Folder.File(u"none"), std::u16string()})
        EXPECT_THAT(Raised<TSystemError>([&Path] { return ListFiles(Path); }),
                    testing::StartsWith("Cannot read directory \"" + Utf16ToUtf8(Path)));
}

// ---- names

TEST(Paths, JoinPutsOneSeparatorBetween) {
    EXPECT_EQ(JoinPath(u"d", u"n"), u"d/n");
    EXPECT_EQ(JoinPath(u"d/", u"n"), u"d/n");
    EXPECT_EQ(JoinPath(u"d\\", u"/n"), u"d/n");
    EXPECT_EQ(JoinPath(u"/", u"n"), u"/n");
    EXPECT_EQ(JoinPath(u"C:\\", u"n"), u"C:/n");
    EXPECT_EQ(JoinPath(u"d", u"/etc/passwd"), u"d/etc/passwd");
    EXPECT_EQ(JoinPath(u"d", u""), u"d/");
    EXPECT_EQ(JoinPath(u"", u"n"), u"n");
}

TEST(Paths, SafeNames) {
    for (const char16_t* const Name :
         {u"a",   u"page.htm", u"a/b/c.htm", u"a\\b.htm", u".hidden", u"..a",         u"a..b",
          u"a b", u" a",       u"имя.htm",   u"a//b",     u"con1",    u"xcon",        u"console.htm",
          u"com", u"comx",     u"com10",     u"lpt",      u"nul_",    u"auxiliary/x", u"\u00A0a"})
        EXPECT_EQ(UnsafeNameReason(Name), u"") << testing::PrintToString(Name);
}

TEST(Paths, UnsafeNames) {
    const struct {
        std::u16string_view Reason;
        std::vector<std::u16string> Names;
    } Rows[] = {
        {u"it is empty", {u""}},
        {u"it is an absolute path", {u"/etc/passwd", u"\\windows", u"\\\\server\\share", u"\\\\?\\C:\\x"}},
        {u"it holds a \":\"", {u"C:\\x", u"c:x", u"file.htm:stream", u"a/b:c"}},
        {u"it holds a control character",
         {std::u16string(u"a\0.htm", 6), u"a\nb", u"\x1F", u"a\x7F", u"a\u0085"}},
        {u"a part of it is \".\" or \"..\"",
         {u".", u"..", u"../x", u"a/../../x", u"a\\..\\x", u"a/..", u"./x"}},
        {u"a part of it ends in a dot or a blank", {u"...", u"a.", u"a ", u"a /b", u"a./b", u".. /x", u" "}},
        {u"a part of it is the name of a device",
         {u"CON", u"nul", u"nul.txt", u"Aux.tar.gz", u"prn .txt", u"COM1", u"lpt9.htm", u"com\u00B9",
          u"conin$", u"CONOUT$.x", u"a/con/b", u"a\\com1"}},
    };
    for (const auto& Row : Rows)
        for (const std::u16string& Name : Row.Names)
            EXPECT_EQ(UnsafeNameReason(Name), Row.Reason) << testing::PrintToString(Name);
}

} // namespace
