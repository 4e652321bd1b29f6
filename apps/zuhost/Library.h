// The library in the process of zuhost: started with the services of a command, and with everything that
// scripts see.

#pragma once

#include "host/Services.h"

#include <memory>
#include <string_view>

namespace zutools::zuhost {

/// Records, rights and documents of the database of `Manager`; without a manager the plain defaults. Language
/// files come from the folder `Strings`; empty: no texts.
/// @throws Exception for a folder or file that is none.
[[nodiscard]] TServices MakeServices(std::shared_ptr<TApplicationManager> Manager,
                                     std::shared_ptr<TLogger> Logger, std::u16string_view Strings);

/// Starts the library, and stops it.
class TLibrary {
public:
    /// `Templates` is the folder of the templates; empty: the current folder.
    TLibrary(TServices Services, std::u16string_view Templates);
    ~TLibrary();
    TLibrary(const TLibrary&) = delete;
    TLibrary& operator=(const TLibrary&) = delete;
};

} // namespace zutools::zuhost
