// The value checker in front of the modules: every parameter of a request passes through ParamsChecker first.

#pragma once

#include "checking/Chekprms.h"
#include "server/web/PageHandler.h"

#include <string_view>

namespace zutools::server {

/// Makes and seeds nothing; finds the filter by its name ("Medium", letter case of A to Z ignored) or its ID
/// in the database of the calling thread, and puts it into `Checker`, which other threads may be using.
/// @throws Exception naming the filters that there are when there is no such one, or those that it may be
/// when there are several; EDatabaseError.
void LoadValueFilter(TParamsChecker& Checker, std::u16string_view NameOrID);

/// Refuses (400) a request in which a parameter does not pass. The page names the field and never repeats the
/// value; the log has the checker's message. Routes with `filter = false` are not asked. Everything must
/// outlive the filter.
[[nodiscard]] TRequestFilter MakeValueFilter(const TParamsChecker& Checker, TLocalizatorTable& Localizer);

} // namespace zutools::server
