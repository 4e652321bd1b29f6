// What users see in place of a page that could not be had: why, the way back, and what they had typed. Plain
// text work.

#pragma once

#include "server/web/HttpText.h"

#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

struct TFaultPage {
    std::u16string Title;
    std::u16string Text;
    std::u16string Note;           // below the text; may be empty
    std::u16string Back;           // where the user came from; empty: nowhere
    std::vector<TFormField> Typed; // the form that was sent
    std::string Action;       // where the form can be sent again, escaped for the address; empty: it cannot
    std::u16string FormToken; // for that
    std::u16string BackText, TypedText, AgainText;
};

/// The page's content as HTML. Secrets are not repeated, nor is a form that held one offered again.
[[nodiscard]] std::string FaultContent(const TFaultPage& Page);

/// What whoever works on the application wants to see: the message and its traceback with the lines of the
/// modules around each place, and the last lines of the log, as HTML.
[[nodiscard]] std::string FaultDetail(std::u16string_view What, std::u16string_view Modules,
                                      const std::vector<std::u16string>& Log);

/// The path and query of a Referer header's address when it is on this host, else empty.
[[nodiscard]] std::u16string PathOnHost(std::string_view Referer, std::string_view Host);

/// Whether the browser says that a page of this very host sent the form: only then it may be offered again.
[[nodiscard]] bool SentFromHost(std::string_view FetchSite, std::string_view Origin, std::string_view Host);

} // namespace zutools::server
