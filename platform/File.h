// Whole files and directory walks for the services that read templates, language files and scripts.
//
// Called on any thread; calls block on the disk. Names are UTF-16; on POSIX they are UTF-8 on the disk.
// Native codes never leave: they are turned into TSystemError with the system's own text and the file's name.

#pragma once

#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::platform {

/// A refused system call. `Code` is errno or GetLastError. `Message()` names the action, the object, the
/// system's sentence and the code: TSystemError(u"Cannot open file", u"x", 2) says
/// `Cannot open file "x": No such file or directory (2)`. Control characters in the object's name are shown
/// as U+FFFD.
class TSystemError : public std::exception {
public:
    TSystemError(std::u16string_view Action, std::u16string_view Object, int Code);
    [[nodiscard]] int Code() const { return FCode; }
    [[nodiscard]] const std::u16string& Message() const { return FMessage; }
    [[nodiscard]] const char* what() const noexcept override { return FUtf8.c_str(); }

private:
    int FCode;
    std::u16string FMessage;
    std::string FUtf8;
};

/// The system's text for one of its error codes, without the full stop and the line end; "error N" when it
/// has none.
[[nodiscard]] std::u16string SystemErrorText(int Code);

/// An open file for reading. Other readers are welcome, writers are denied where the system enforces it
/// (Windows) and told by an advisory lock where it does not (POSIX).
class TReadFile {
public:
    /// @throws TSystemError when the file cannot be opened, or is a directory.
    explicit TReadFile(std::u16string_view Path);
    /// The regular file `Name` below `Directory` (empty: the current one), for files that are served. What is
    /// no regular file, a pipe for one, is refused without waiting for it. So is a link out of the directory.
    /// @throws TSystemError when it cannot be opened or is refused.
    TReadFile(std::u16string_view Directory, std::u16string_view Name);
    ~TReadFile();
    TReadFile(const TReadFile&) = delete;
    TReadFile& operator=(const TReadFile&) = delete;

    /// Size in bytes when the file was opened.
    [[nodiscard]] std::uint64_t Size() const { return FSize; }

    /// Reads from the current position until `Buffer` is full or the file ends; the number of bytes read.
    /// @throws TSystemError when the system refuses.
    std::size_t Read(std::span<char> Buffer);

    /// The rest of the file. @throws TSystemError.
    [[nodiscard]] std::string ReadAll();

private:
    std::intptr_t FHandle;
    std::uint64_t FSize = 0;
    std::u16string FPath;
};

/// The regular files of the whole tree below `Directory`, as names relative to it with "/" between the parts,
/// sorted in code-unit order. Links to directories are not followed. A link to a file is listed when that
/// file stands below `Directory` too (POSIX); never on Windows. A name on the disk that is no well-formed
/// text is left out, because no text asks for it; `NotText`, when given, receives such names for display.
/// @throws TSystemError when a directory cannot be read.
[[nodiscard]] std::vector<std::u16string> ListFiles(std::u16string_view Directory,
                                                    std::vector<std::u16string>* NotText = nullptr);

/// Joins with one "/" between, whatever separators stand at the seam; an absolute or empty `Name` is joined
/// all the same. An empty `Directory` adds nothing.
[[nodiscard]] std::u16string JoinPath(std::u16string_view Directory, std::u16string_view Name);

/// Why a relative name must not be opened below a folder; empty when it may. Refused on every system alike,
/// so that a tree of files is portable: an empty name, NUL and other control characters, an absolute path, a
/// drive letter or any ":", a part that is ".." or ".", parts that end in a blank or a dot, and the reserved
/// device names (CON, NUL, COM1, ...) with or without an extension. Both "/" and "\" separate parts.
[[nodiscard]] std::u16string_view UnsafeNameReason(std::u16string_view Name);

} // namespace zutools::platform
