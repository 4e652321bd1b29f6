// The record blocks of a running service, asked for through its administrative endpoint.

#pragma once

#include <string>
#include <string_view>

namespace zutools::zuhost {

/// The service's side: answers one question (JSON both ways) about the process's record blocker. `User` is
/// the name of the system's user who asks; a release is logged with it. Any thread. Says what is wrong with a
/// question in the answer.
[[nodiscard]] std::string AnswerAboutBlocks(std::string_view Question, const std::u16string& User);

} // namespace zutools::zuhost
