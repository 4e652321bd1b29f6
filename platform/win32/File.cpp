#include "platform/File.h"

#include "platform/Text.h"
#include "platform/TextRules.h"
#include "platform/win32/DiskName.h"
#include "platform/win32/Wide.h"

#include <windows.h>

#include <algorithm>
#include <cstring>

namespace zutools::platform {

namespace {

constexpr std::u16string_view CannotOpen = u"Cannot open file";
constexpr std::u16string_view LeavesFolder = u"Cannot open a link that leaves its folder";
constexpr std::u16string_view NotRegular = u"Cannot open what is no regular file";
constexpr std::u16string_view CannotRead = u"Cannot read file";
constexpr std::u16string_view CannotReadDirectory = u"Cannot read directory";

constexpr int DirectoryNotSupported = 336; // ERROR_DIRECTORY_NOT_SUPPORTED, which MinGW's headers lack

// Where an open file or directory really stands; empty when the system does not tell. Wine does not for paths
// of more than 260 units.
std::u16string FinalPath(HANDLE Handle) {
    std::u16string Path(32768, u'\0');
    const DWORD Size =
        GetFinalPathNameByHandleW(Handle, Wide(Path.data()), static_cast<DWORD>(Path.size()), VOLUME_NAME_NT);
    Path.resize(Size < Path.size() ? Size : 0);
    return Path;
}

// ---- directories

struct TFindClose {
    HANDLE Handle;
    ~TFindClose() {
        if (Handle != INVALID_HANDLE_VALUE) FindClose(Handle);
    }
};

// Links and mount points of all kinds; files that a cloud service holds have other marks and are files.
bool IsLink(const WIN32_FIND_DATAW& Found) {
    return (Found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           IsReparseTagNameSurrogate(Found.dwReserved0);
}

// Adds the files of one directory to `Names` and its directories to `Pending`. `Prefix` is empty or ends with
// "/".
void ListOne(std::u16string_view Directory, const std::u16string& Prefix, std::vector<std::u16string>& Names,
             std::vector<std::u16string>& Pending) {
    const std::u16string Here = JoinPath(Directory, Prefix);
    const std::u16string Pattern = DiskName(JoinPath(Here, u"*"), CannotReadDirectory);
    WIN32_FIND_DATAW Found = {};
    const TFindClose Search{FindFirstFileExW(Wide(Pattern.c_str()), FindExInfoBasic, &Found,
                                             FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH)};
    if (Search.Handle == INVALID_HANDLE_VALUE) throw TSystemError(CannotReadDirectory, Here, LastError());
    do {
        const std::u16string_view Name = Narrow(Found.cFileName);
        if (Name == u"." || Name == u".." || IsLink(Found)) continue;
        std::u16string Relative = Prefix;
        Relative.append(Name);
        if ((Found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
            Pending.push_back(Relative.append(1, u'/'));
        else
            Names.push_back(std::move(Relative));
    } while (FindNextFileW(Search.Handle, &Found) != 0);
    if (const int Code = LastError(); Code != ERROR_NO_MORE_FILES)
        throw TSystemError(CannotReadDirectory, Here, Code);
}

} // namespace

// The system would cut a name with a NUL; it takes "\\" only in long ones, and no "." parts.
std::u16string DiskName(std::u16string_view Path, std::u16string_view Action) {
    if (Path.find(u'\0') != Path.npos) throw TSystemError(Action, Path, ERROR_INVALID_NAME);
    std::u16string Name(Path);
    constexpr std::size_t SafeLength = 240; // the walk of a directory adds a little
    if (Name.size() < SafeLength || Name.starts_with(u"\\\\?\\") || Name.starts_with(u"\\\\.\\")) return Name;
    DWORD Size = GetFullPathNameW(Wide(Name.c_str()), 0, nullptr, nullptr);
    std::u16string Full(Size, u'\0');
    Size = GetFullPathNameW(Wide(Name.c_str()), Size, Wide(Full.data()), nullptr);
    if (Size == 0 || Size >= Full.size() + 1) throw TSystemError(Action, Path, LastError());
    Full.resize(Size);
    if (Full.starts_with(u"\\\\")) return u"\\\\?\\UNC\\" + Full.substr(2);
    return u"\\\\?\\" + Full;
}

std::u16string SystemErrorText(int Code) {
    // The arguments that some sentences ask for are not at hand: their "%1" stays.
    wchar_t Buffer[1024] = {};
    const DWORD Length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        static_cast<DWORD>(Code), 0, Buffer, 1024, nullptr);
    const std::u16string_view Text = TrimSystemText(std::u16string_view(Narrow(Buffer), Length));
    if (Text.empty()) return u"error " + Utf8ToUtf16(std::to_string(Code));
    return std::u16string(Text);
}

TReadFile::TReadFile(std::u16string_view Path)
    : FHandle(-1)
    , FPath(Path) {
    const std::u16string Name = DiskName(Path, CannotOpen);
    // With FILE_FLAG_BACKUP_SEMANTICS a directory opens and can be told by its own code, not by "access
    // denied".
    const HANDLE Handle =
        CreateFileW(Wide(Name.c_str()), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                    FILE_ATTRIBUTE_NORMAL | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (Handle == INVALID_HANDLE_VALUE) throw TSystemError(CannotOpen, Path, LastError());
    FILE_STANDARD_INFO Info = {};
    int Code =
        GetFileInformationByHandleEx(Handle, FileStandardInfo, &Info, sizeof Info) != 0 ? 0 : LastError();
    if (Code == 0 && Info.Directory != 0) Code = DirectoryNotSupported;
    if (Code != 0) {
        CloseHandle(Handle);
        throw TSystemError(CannotOpen, Path, Code);
    }
    FSize = static_cast<std::uint64_t>(Info.EndOfFile.QuadPart);
    FHandle = reinterpret_cast<std::intptr_t>(Handle);
}

TReadFile::TReadFile(std::u16string_view Directory, std::u16string_view Name)
    : TReadFile(JoinPath(Directory, Name)) {
    const auto File = reinterpret_cast<HANDLE>(FHandle);
    if (GetFileType(File) != FILE_TYPE_DISK) throw TSystemError(NotRegular, FPath, ERROR_NOT_SUPPORTED);
    const std::u16string Folder = DiskName(Directory.empty() ? u"." : Directory, CannotOpen);
    const HANDLE Opened =
        CreateFileW(Wide(Folder.c_str()), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (Opened == INVALID_HANDLE_VALUE) throw TSystemError(CannotOpen, FPath, LastError());
    std::u16string Root = FinalPath(Opened);
    CloseHandle(Opened);
    if (!Root.ends_with(u'\\')) Root += u'\\';
    if (!FinalPath(File).starts_with(Root)) throw TSystemError(LeavesFolder, FPath, ERROR_ACCESS_DENIED);
}

TReadFile::~TReadFile() {
    CloseHandle(reinterpret_cast<HANDLE>(FHandle));
}

std::size_t TReadFile::Read(std::span<char> Buffer) {
    std::size_t Used = 0;
    while (Used < Buffer.size()) {
        const auto Room = static_cast<DWORD>(std::min<std::size_t>(Buffer.size() - Used, 0x40000000));
        DWORD Got = 0;
        if (ReadFile(reinterpret_cast<HANDLE>(FHandle), Buffer.data() + Used, Room, &Got, nullptr) == 0) {
            const int Code = LastError();
            if (Code == ERROR_HANDLE_EOF || Code == ERROR_BROKEN_PIPE) break;
            throw TSystemError(CannotRead, FPath, Code);
        }
        if (Got == 0) break;
        Used += Got;
    }
    return Used;
}

std::vector<std::u16string> ListFiles(std::u16string_view Directory,
                                      std::vector<std::u16string>* /*NotText*/) {
    if (Directory.empty()) throw TSystemError(CannotReadDirectory, Directory, ERROR_PATH_NOT_FOUND);
    std::vector<std::u16string> Names;
    std::vector<std::u16string> Pending{u""};
    while (!Pending.empty()) {
        const std::u16string Prefix = std::move(Pending.back());
        Pending.pop_back();
        ListOne(Directory, Prefix, Names, Pending);
    }
    std::sort(Names.begin(), Names.end());
    return Names;
}

} // namespace zutools::platform
