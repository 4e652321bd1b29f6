// Asking a running service through its administrative endpoint.

#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace zutools::zuhost {

using TJson = nlohmann::ordered_json;

class TAdminClient {
public:
    /// Of the service that runs with this configuration. @throws Exception when it has no endpoint.
    explicit TAdminClient(const std::string& ConfigFile);
    /// @throws Exception when nobody answers, or the answer says what is wrong.
    [[nodiscard]] TJson Ask(const TJson& Question) const;

private:
    std::u16string FSocket;
};

/// A text from the service on a terminal: nothing in it steers that.
[[nodiscard]] std::u16string Plain(const TJson& Value);

} // namespace zutools::zuhost
