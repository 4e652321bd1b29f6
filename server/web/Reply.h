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

/// A plain page for an answer that no module wrote, free of anything from inside the service. Its texts are
/// the localizer's for the keys `http.STATUS.title` and `http.STATUS.text`, or English ones of our own.
/// `Note` is put below them when it is not empty.
[[nodiscard]] TReply ErrorReply(int Status, TLocalizatorTable& Localizer, std::u16string_view LanguageID,
                                std::u16string_view Note = {});

} // namespace zutools::server
