// What only Windows has: a reader keeps writers out, and both separators open a file.

#include "platform/File.h"

#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <windows.h>

using namespace zutools::platform;
using zutools::tests::TTempFolder;

namespace {

TEST(ReadFile, KeepsWritersOutAndOpensWithBothSeparators) {
    const TTempFolder Folder;
    std::u16string Path = Folder.Write(u"sub/file", "text");
    std::replace(Path.begin(), Path.end(), u'/', u'\\');
    TReadFile File(Path);
    const HANDLE Writer = CreateFileW(reinterpret_cast<const wchar_t*>(Path.c_str()), GENERIC_WRITE,
                                      FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(Writer, INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    EXPECT_EQ(File.ReadAll(), "text");
}

TEST(ReadFile, AFileThatIsBeingWrittenIsRefused) {
    const TTempFolder Folder;
    const std::u16string Path = Folder.Write(u"file", "half");
    const HANDLE Writer = CreateFileW(reinterpret_cast<const wchar_t*>(Path.c_str()), GENERIC_WRITE,
                                      FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(Writer, INVALID_HANDLE_VALUE);
    try {
        const TReadFile File(Path);
        ADD_FAILURE() << "opened";
    } catch (const TSystemError& Error) {
        EXPECT_EQ(Error.Code(), ERROR_SHARING_VIOLATION);
    }
    CloseHandle(Writer);
}

} // namespace
