// What a running service answers on its administrative endpoint: about its record blocks and its sessions.

#pragma once

#include "server/web/Server.h"

#include <string>
#include <string_view>

namespace zutools::zuhost {

/// Answers one question (JSON both ways) about the process's record blocker and the server's sessions. `User`
/// is the name of the system's user who asks; what he ends is logged with it. Any thread. Says what is wrong
/// with a question in the answer.
[[nodiscard]] std::string AnswerAdmin(server::TWebServer& Server, TLogger& Logger, std::string_view Question,
                                      const std::u16string& User);

} // namespace zutools::zuhost
