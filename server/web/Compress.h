// gzip for text answers, for browsers that take it. Pure functions; any thread.

#pragma once

#include "server/web/Reply.h"

#include <string_view>

namespace zutools::server {

/// Whether an Accept-Encoding header takes gzip.
[[nodiscard]] bool AcceptsGzip(std::string_view AcceptEncoding);

/// Packs the body of a text that is worth it, when the client takes that and nothing says otherwise; tells
/// caches that the answer depends on it. The packed bytes are of a slightly random length: from the lengths
/// of many answers nobody can guess the form token that stands in them beside what he sent.
void Compress(TReply& Reply, std::string_view AcceptEncoding);

} // namespace zutools::server
