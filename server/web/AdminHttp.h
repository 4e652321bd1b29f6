// The administrative address: what watches the service asks here, on a thread of its own. It costs no session
// and no worker, so it answers when no page does.

#pragma once

#include "host/Services.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace zutools::server {

struct TAdminAnswer {
    int Status = 404;
    std::string Text; // text/plain
};

class TAdminHttp {
public:
    /// Called on the endpoint's thread with the path of a GET; must not block for long.
    using THandler = std::function<TAdminAnswer(std::string_view Path)>;

    /// Listens. @throws platform::TSystemError when the address or port cannot be had.
    TAdminHttp(const std::string& Address, std::uint16_t Port, THandler Handler, TLogger& Logger);
    ~TAdminHttp();
    TAdminHttp(const TAdminHttp&) = delete;
    TAdminHttp& operator=(const TAdminHttp&) = delete;

    [[nodiscard]] std::uint16_t Port() const;

private:
    struct TImpl;
    std::unique_ptr<TImpl> FImpl;
};

} // namespace zutools::server
