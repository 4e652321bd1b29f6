// An answer before it is sent: what pages, static files and error pages have in common.

#pragma once

#include "host/Services.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools::server {

/// An open file descriptor; closed when it dies.
class TOpenFile {
public:
    TOpenFile() = default;
    explicit TOpenFile(int Descriptor)
        : FDescriptor(Descriptor) {}
    TOpenFile(TOpenFile&& Other) noexcept
        : FDescriptor(std::exchange(Other.FDescriptor, -1)) {}
    TOpenFile& operator=(TOpenFile&& Other) noexcept {
        std::swap(FDescriptor, Other.FDescriptor);
        return *this;
    }
    ~TOpenFile();

    [[nodiscard]] int Descriptor() const { return FDescriptor; }
    [[nodiscard]] bool IsOpen() const { return FDescriptor >= 0; }
    /// Gives the descriptor away: the caller closes it.
    [[nodiscard]] int Take() { return std::exchange(FDescriptor, -1); }

private:
    int FDescriptor = -1;
};

struct TReply {
    int Status = 200;
    std::string ContentType; // empty: none, as for 304
    std::string Body;
    TOpenFile File;               // sent in place of Body when it is open
    std::uint64_t FileOffset = 0; // of the first byte that is sent
    std::uint64_t FileSize = 0;   // bytes that are sent
    std::vector<std::pair<std::string, std::string>> Headers;
    bool Close = false; // the connection ends with this answer
};

/// What an answer that no module wrote says, in words.
struct TErrorWords {
    std::u16string Title;
    std::u16string Text;
};

/// The localizer's texts for the keys `http.STATUS.title` and `http.STATUS.text`, or English ones of our own.
/// A `Cause` stands between status and word: a 403 for want of rights has `http.403.rights.text`.
[[nodiscard]] TErrorWords ErrorWords(int Status, TLocalizatorTable& Localizer, std::u16string_view LanguageID,
                                     std::u16string_view Cause = {});
/// The localizer's text of a key, or `Default`.
[[nodiscard]] std::u16string TextOr(TLocalizatorTable& Localizer, std::u16string_view LanguageID,
                                    std::u16string_view Key, std::u16string_view Default);

/// A whole page of that title around a content.
[[nodiscard]] TReply PlainPage(int Status, std::u16string_view LanguageID, std::u16string_view Title,
                               std::string_view Content);

/// A plain page for an answer that no module wrote, free of anything from inside the service. Its texts are
/// the localizer's for the keys `http.STATUS.title` and `http.STATUS.text`, or English ones of our own.
/// `Note` is put below them when it is not empty.
[[nodiscard]] TReply ErrorReply(int Status, TLocalizatorTable& Localizer, std::u16string_view LanguageID,
                                std::u16string_view Note = {});

} // namespace zutools::server
