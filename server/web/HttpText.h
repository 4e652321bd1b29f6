// The text rules of HTTP that the web host answers for itself: escapes, form fields, languages, cookies,
// header values, redirect targets, dates. Every byte here comes from outside.
//
// Pure functions of their arguments: no sockets, no files, any thread. Malformed input gives an empty
// optional, never an exception and never a repaired text.

#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zutools::server {

/// Fields that one query, form or upload may hold; more is refused as malformed.
inline constexpr std::size_t MaxFormFields = 1000;

/// Without the blanks and tabs around it.
[[nodiscard]] std::string_view TrimBlanks(std::string_view Text);
/// Cuts the text before the next `Delimiter` off the front of `Rest`; the whole rest when there is none.
std::string_view CutNext(std::string_view& Rest, char Delimiter);

struct TFormField {
    std::u16string Name;
    std::u16string Value;
};

/// Bytes as text; nothing for malformed UTF-8 or a NUL.
[[nodiscard]] std::optional<std::u16string> DecodeUtf8(std::string_view Bytes);

/// Text with its %XX escapes decoded; `PlusIsBlank` for forms and queries, not for paths. Nothing for an
/// incomplete or wrong escape, malformed UTF-8 after decoding, or a NUL.
[[nodiscard]] std::optional<std::u16string> DecodePercent(std::string_view Raw, bool PlusIsBlank);

/// The same for a path, in which an escaped slash stays as it was sent ("%2F"): it separates nothing, and so
/// meets no slash of a route or of a file's name.
[[nodiscard]] std::optional<std::u16string> DecodePath(std::string_view Raw);

/// The fields of `a=1&b=2`, in order, doubles included; empty pieces are skipped, a piece without "=" has the
/// empty value. Nothing when a name or a value does not decode, or there are more than MaxFormFields.
[[nodiscard]] std::optional<std::vector<TFormField>> ParseFormFields(std::string_view Raw);

/// Path and query of a request target, still escaped; views into `Raw`.
struct TRequestTarget {
    std::string_view Path;
    std::string_view Query;
};

/// Splits "/path?query"; the absolute form "http://host/path" loses scheme and host. Nothing for anything
/// else.
[[nodiscard]] std::optional<TRequestTarget> SplitTarget(std::string_view Raw);

/// The language to answer in by an Accept-Language header: by weight, then by order; "ru-RU" is met by "ru"
/// and "ru" by "ru-RU". `Default` when nothing fits, malformed entries are passed over.
[[nodiscard]] std::u16string ChooseLanguage(std::string_view AcceptLanguage,
                                            std::span<const std::u16string> Languages,
                                            std::u16string_view Default);

/// The value of the first cookie of that name in a Cookie header; empty when it is not there. A view into
/// `Header`.
[[nodiscard]] std::string_view FindCookie(std::string_view Header, std::string_view Name);

/// A token of RFC 9110, as header names are.
[[nodiscard]] bool IsHeaderName(std::string_view Name);
/// Visible ASCII, blanks and tabs, so that no value can begin a new line.
[[nodiscard]] bool IsHeaderValue(std::string_view Value);

/// The Location header for a redirect, other bytes than URL characters escaped. Without `Outside` the target
/// must be relative, or of the same `Host` (as in the Host header). Nothing for a foreign host, a scheme
/// other than http and https, control characters, "\" and an unpaired surrogate.
[[nodiscard]] std::optional<std::string> RedirectLocation(std::u16string_view Url, std::string_view Host,
                                                          bool Outside);

/// True for "/..." on this host: a place to send a browser on to that came with a request. False for
/// "//host",
/// "\" anywhere, control characters and unpaired surrogates.
[[nodiscard]] bool IsLocalPath(std::u16string_view Path);

/// The media type by a file name's suffix; application/octet-stream for an unknown one.
[[nodiscard]] std::string_view ContentTypeOf(std::u16string_view FileName);

/// "Sun, 06 Nov 1994 08:49:37 GMT"; reading takes that form only.
[[nodiscard]] std::string HttpDate(std::time_t Moment);
[[nodiscard]] std::optional<std::time_t> ParseHttpDate(std::string_view Text);

/// True when an If-None-Match header names `Tag` (with its quotes) or is "*".
[[nodiscard]] bool ETagMatches(std::string_view IfNoneMatch, std::string_view Tag);

/// Text for HTML, UTF-8, with & < > " ' escaped.
[[nodiscard]] std::string HtmlText(std::u16string_view Text);

/// Printable ASCII without the quote; every other byte as \xNN. At most 300 bytes of input, then "...".
[[nodiscard]] std::string MaskForLog(std::string_view Bytes);

/// Compares without telling by its time where the texts differ; the length is no secret.
[[nodiscard]] bool EqualSecrets(std::string_view Left, std::string_view Right);

[[nodiscard]] std::string HexText(std::span<const std::byte> Bytes);
[[nodiscard]] std::string Base64Text(std::string_view Bytes);

} // namespace zutools::server
